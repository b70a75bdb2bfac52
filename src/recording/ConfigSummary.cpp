// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/ConfigSummary.h"

#include "recording/BlockWrite.h"
#include "recording/DataFile.h"
#include "recording/MarkerFile.h"

#include <QDebug>

namespace vt {

namespace {

constexpr int ListedLabels = 8; ///< fixed: later channels' labels stand in the recording's header only

/// A text cell that stays within its line.
QString cell(QString text)
{
    text.replace(QLatin1Char('\r'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
    return csvField(text);
}

QString row(const QString& title, QStringList cells)
{
    cells.prepend(title);
    return cells.join(QLatin1Char(',')) + QLatin1Char('\n');
}

QString lightDarkRow(const ConfigSummary& summary)
{
    QStringList cells;
    for (const QTime& time : {summary.lightOnset, summary.darkOnset})
        cells << QString::number(time.hour()) << QString::number(time.minute())
              << QString::number(time.second());
    return row(QStringLiteral("Light Dark Times:"), cells);
}

QString labelRow(const ConfigSummary& summary)
{
    QStringList cells;
    for (int channel = 0; channel < ListedLabels; ++channel)
        cells << (channel < summary.channelCount ? cell(summary.animalIds.value(channel)) : QString());
    return row(QStringLiteral("Animal IDs:"), cells);
}

QString scheduleRows(const ConfigSummary& summary)
{
    if (summary.schedule.empty())
        return QStringLiteral("Activation Schedule:,Always Active\n");
    const QString clock = QStringLiteral("HH:mm");
    QString rows;
    int number = 0;
    for (const ConfigSummary::Slot& slot : summary.schedule)
        rows += row(QStringLiteral("Activation Schedule Slot %1:").arg(++number),
                    {slot.start.toString(clock), slot.end.toString(clock), slot.days.join(QLatin1Char(' '))});
    return rows;
}

QString parameterRows(const ConfigSummary& summary)
{
    const QString random = QStringLiteral("Random");
    QString rows = QStringLiteral("Stimulation Parameters,,Frequency,Amplitude (V),Duration (s)\n");
    int number = 0;
    for (const ConfigSummary::Cage& cage : summary.cageParameters) {
        QStringList cells{QStringLiteral("Cage %1").arg(++number)};
        if (cage.present) {
            cells << (cage.frequency ? QString::number(*cage.frequency) : random)
                  << (cage.amplitudeVolts ? QString::number(*cage.amplitudeVolts, 'f', 2) : random)
                  << (cage.durationSeconds ? QString::number(*cage.durationSeconds, 'f', 1) : random);
        } else {
            cells << QStringLiteral("-") << QStringLiteral("-") << QStringLiteral("-");
        }
        rows += row(QString(), cells);
    }
    return rows;
}

} // namespace

QByteArray ConfigSummary::toCsv() const
{
    QString text = row(QStringLiteral("Data File:"), {cell(basePath)});
    text += row(QStringLiteral("Number of Recording Channels:"), {QString::number(channelCount)});
    text += row(QStringLiteral("Device Information:"),
                {cell(deviceSummary), cell(deviceName), cell(deviceDescription)});
    text += lightDarkRow(*this);
    text += labelRow(*this);
    QStringList modeCells;
    for (const QString& value : activationMode)
        modeCells << cell(value);
    text += row(QStringLiteral("Activation Mode:"), modeCells.isEmpty() ? QStringList{QString()} : modeCells);
    QStringList rangeCells;
    for (const double bound : randomizationRange)
        rangeCells << QString::number(bound);
    text += row(QStringLiteral("Randomization Range:"), rangeCells);
    text += scheduleRows(*this);
    QStringList cageCells;
    for (const bool stimulated : stimCages)
        cageCells << (stimulated ? QStringLiteral("1") : QStringLiteral("0"));
    text += row(QStringLiteral("Stim Cages:"), cageCells);
    text += parameterRows(*this);
    return text.toUtf8();
}

bool writeConfigSummary(const QString& path, const ConfigSummary& summary)
{
    // A pipe of that name would hold a plain open for ever.
    DataFile file;
    if (FileUtils::isWriteProtected(path) || file.openForWriting(path) != FileUtils::OpenResult::Opened) {
        qWarning().noquote() << "MainWindow::writeConfigFile - Failed to open:" << path;
        return false;
    }
    if (!writeBlock(file, summary.toCsv()).complete) {
        qWarning().noquote() << "MainWindow::writeConfigFile - Failed to write:" << path
                             << file.errorString();
        return false;
    }
    qDebug().noquote() << "MainWindow::writeConfigFile - Written:" << path;
    return true;
}

} // namespace vt
