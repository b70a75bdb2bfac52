// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationRows.h"

#include <QLocale>
#include <QStringList>

namespace vt {

namespace {

QString timeCell(const QDateTime& when)
{
    return QLocale::c().toString(when, QStringLiteral("M/d/yyyy h:mm:ss AP"));
}

QString line(const QStringList& cells)
{
    return cells.join(QLatin1Char(',')) + QLatin1Char('\n');
}

bool isIn(std::uint16_t mask, int channel)
{
    return channel < 16 && ((mask >> channel) & 1) != 0;
}

void appendBits(QStringList& cells, int channelCount, std::uint16_t mask)
{
    for (int channel = 0; channel < channelCount; ++channel)
        cells << (isIn(mask, channel) ? QStringLiteral("1") : QStringLiteral("0"));
}

/// Seconds, kHz and V of a profile.
QString profileCell(const VEXIO_NS::CageConfig& cage)
{
    return QStringLiteral("%1/%2/%3")
        .arg(QString::number((cage.duration + 1) / 2),
             QString::number(cage.frequency * 0.014 + 0.043, 'f', 2),
             QString::number(cage.amplitude * 0.039322, 'f', 1));
}

QString hexCell(std::uint8_t byte)
{
    return QStringLiteral("0x%1").arg(byte, 2, 16, QLatin1Char('0'));
}

} // namespace

QString maskText(std::uint16_t mask)
{
    return QStringLiteral("0b%1").arg(mask, 16, 2, QLatin1Char('0'));
}

QString stimulationHeaderRow()
{
    return QStringLiteral(
        "EventType,DateTime,StimControlType,StimInterval(min),SleepDuration(sec),nCh,Stim[ch1-N]\n");
}

QString stimRow(const StimulationRow& row)
{
    QStringList cells{QStringLiteral("Stim"),
                      timeCell(row.when),
                      row.reason,
                      QString::number(row.intervalMs / 60000.0),
                      QString::number(row.sleepDurationSec),
                      QString::number(row.channelCount)};
    for (int channel = 0; channel < row.channelCount; ++channel) {
        if (!isIn(row.mask, channel))
            cells << QStringLiteral("-/-/-");
        else if (channel < row.cages.size())
            cells << profileCell(row.cages[channel]);
        else
            cells << QStringLiteral("0/0.00/0.0");
    }
    return line(cells);
}

QString digOutputRow(const QDateTime& when, int channelCount, std::uint16_t mask)
{
    const QString none = QStringLiteral("n/a");
    QStringList cells{QStringLiteral("digOutput"),  timeCell(when), none, none, none,
                      QString::number(channelCount)};
    appendBits(cells, channelCount, mask);
    return line(cells);
}

QString digInputRow(const QDateTime& when, InputEdge edge, int channelCount, std::uint16_t mask)
{
    QStringList cells{QStringLiteral("digInput"), timeCell(when),
                      edge == InputEdge::High ? QStringLiteral("Ext.Trig_High")
                                              : QStringLiteral("Ext.Trig_Low")};
    appendBits(cells, channelCount, mask);
    return line(cells);
}

QString diagRow(const QDateTime& when, const DiagBytes& bytes)
{
    return line({QStringLiteral("Diag"), timeCell(when), hexCell(bytes.sysStatus),
                 hexCell(bytes.sysExtraStatus), hexCell(bytes.speakerFaults0C),
                 hexCell(bytes.speakerFaults0D)});
}

} // namespace vt
