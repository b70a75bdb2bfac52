// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/DamagedSettings.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

namespace vt {

namespace {

constexpr int MostCopies = 99;

std::optional<QByteArray> contentsOf(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

QString copyName(const QString& file, int number)
{
    const QString name = file + QStringLiteral(".damaged");
    return number == 1 ? name : name + QString::number(number);
}

/// Name of the copy, empty when none could be made.
QString keepCopy(const QString& file)
{
    const std::optional<QByteArray> contents = contentsOf(file);
    if (!contents)
        return {};
    for (int number = 1; number <= MostCopies; ++number) {
        QString copy = copyName(file, number);
        // Never replaces a file; another instance may make the same copy at this moment.
        if (QFile::copy(file, copy) || contentsOf(copy) == contents)
            return copy;
        if (!QFileInfo::exists(copy))
            return {};
    }
    return {};
}

} // namespace

QString DamagedSettings::message() const
{
    const auto tr = [](const char* text) { return QCoreApplication::translate("DamagedSettings", text); };
    const QString native = QDir::toNativeSeparators(file);
    if (!isReadable)
        return tr("The settings in %1 could not be read. The program starts with the defaults.").arg(native);
    const QString read =
        tr("The settings in %1 were damaged. What could be read of them is used, the rest has its "
           "default value.")
            .arg(native);
    return copy.isEmpty() ? read + QLatin1Char(' ') + tr("No copy of the damaged file could be made.")
                          : read + QLatin1Char(' ') +
                                tr("The damaged file was copied to %1.").arg(QDir::toNativeSeparators(copy));
}

std::optional<DamagedSettings> keepIfDamaged(const QSettings& store)
{
    const QString file = store.fileName();
    if (!QFileInfo(file).isFile())
        return std::nullopt;
    (void)store.allKeys(); // reads the sections: until then only their titles have been looked at
    if (store.status() == QSettings::NoError)
        return std::nullopt;
    const bool isReadable = store.status() == QSettings::FormatError;
    DamagedSettings damaged{file, isReadable ? keepCopy(file) : QString(), isReadable};
    qWarning().noquote() << damaged.message();
    return damaged;
}

} // namespace vt
