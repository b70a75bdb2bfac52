// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/AppSettings.h"

#include <QCryptographicHash>
#include <QDebug>
#include <QSettings>
#include <atomic>
#include <memory>
#include <utility>

namespace vt::AppSettings {

using namespace Qt::StringLiterals;

namespace {

struct Stores
{
    QString currentFile; ///< empty: the platform's store
    QString legacyFile;
    std::atomic<bool> failureTold = false;
};

Stores& stores()
{
    static Stores instance;
    return instance;
}

std::unique_ptr<QSettings> currentStore()
{
    if (!stores().currentFile.isEmpty())
        return std::make_unique<QSettings>(stores().currentFile, QSettings::IniFormat);
    return std::make_unique<QSettings>();
}

std::unique_ptr<QSettings> legacyStore()
{
    if (!stores().legacyFile.isEmpty())
        return std::make_unique<QSettings>(stores().legacyFile, QSettings::IniFormat);
    return std::make_unique<QSettings>(u"Orrin Dale"_s, u"Vellumtide5"_s);
}

bool sync(QSettings& store)
{
    store.sync();
    if (store.status() == QSettings::NoError)
        return true;
    if (!stores().failureTold.exchange(true))
        qWarning().noquote() << "Settings cannot be stored in" << store.fileName()
                             << "- changes are forgotten when the program ends";
    return false;
}

QVariant value(const QString& key, const QVariant& otherwise = {})
{
    return currentStore()->value(key, otherwise);
}

void setValue(const QString& key, const QVariant& newValue)
{
    const auto store = currentStore();
    store->setValue(key, newValue);
    sync(*store);
}

const QString OpenRecordingsGroup = u"openRecordings"_s;

/// A path is no key: it may be longer than the registry allows, and holds separators.
QString openRecordingKey(const QString& rawFile)
{
    const QByteArray hash = QCryptographicHash::hash(rawFile.toUtf8(), QCryptographicHash::Sha1).toHex();
    return QString::fromLatin1(hash);
}

/// Beside the raw file, where earlier releases do not take it for one.
const QString WritersGroup = u"writers/"_s;

} // namespace

QString saveFileName()
{
    return value(u"saveFileName"_s).toString();
}

void setSaveFileName(const QString& basePath)
{
    setValue(u"saveFileName"_s, basePath);
}

bool autoResumeOnDaqDisconnect()
{
    return value(u"autoResumeOnDaqDisconnect"_s, false).toBool();
}

void setAutoResumeOnDaqDisconnect(bool enabled)
{
    setValue(u"autoResumeOnDaqDisconnect"_s, enabled);
}

QByteArray geometry()
{
    return value(u"geometry"_s).toByteArray();
}

void setGeometry(const QByteArray& geometry)
{
    setValue(u"geometry"_s, geometry);
}

QString lastConfigDir()
{
    return value(u"SetupDialog/lastConfigDir"_s).toString();
}

void setLastConfigDir(const QString& folder)
{
    setValue(u"SetupDialog/lastConfigDir"_s, folder);
}

QString lastAnimalIdDir()
{
    return value(u"ChannelConfig/lastAnimalIDDir"_s).toString();
}

void setLastAnimalIdDir(const QString& folder)
{
    setValue(u"ChannelConfig/lastAnimalIDDir"_s, folder);
}

QString temperatureUnit()
{
    return value(u"Environment/temperatureUnit"_s).toString();
}

QString pressureUnit()
{
    return value(u"Environment/pressureUnit"_s).toString();
}

void setEnvironmentUnits(const QString& temperature, const QString& pressure)
{
    setValue(u"Environment/temperatureUnit"_s, temperature);
    setValue(u"Environment/pressureUnit"_s, pressure);
}

int environmentHours()
{
    return value(u"Environment/hours"_s, 0).toInt();
}

void setEnvironmentHours(int hours)
{
    setValue(u"Environment/hours"_s, hours);
}

bool showLidWarning()
{
    return value(u"PowerWarnings/showLidWarning"_s, true).toBool();
}

void setShowLidWarning(bool show)
{
    setValue(u"PowerWarnings/showLidWarning"_s, show);
}

std::vector<OpenRecording> openRecordings()
{
    const auto store = currentStore();
    store->setFallbacksEnabled(false);
    store->beginGroup(OpenRecordingsGroup);
    std::vector<OpenRecording> noted;
    for (const QString& key : store->childKeys())
        noted.push_back({store->value(key).toString(), store->value(WritersGroup + key).toString()});
    return noted;
}

void noteOpenRecording(const OpenRecording& recording)
{
    const auto store = currentStore();
    const QString key = openRecordingKey(recording.rawFile);
    store->beginGroup(OpenRecordingsGroup);
    store->setValue(key, recording.rawFile);
    if (recording.writer.isEmpty())
        store->remove(WritersGroup + key);
    else
        store->setValue(WritersGroup + key, recording.writer);
    sync(*store);
}

void forgetOpenRecording(const QString& rawFile)
{
    const auto store = currentStore();
    const QString key = openRecordingKey(rawFile);
    store->beginGroup(OpenRecordingsGroup);
    store->remove(key);
    store->remove(WritersGroup + key);
    sync(*store);
}

std::vector<DamagedSettings> keepDamagedFiles()
{
    std::vector<DamagedSettings> damaged;
    for (const auto& store : {currentStore(), legacyStore()})
        if (auto found = keepIfDamaged(*store))
            damaged.push_back(*std::move(found));
    return damaged;
}

void migrateLegacySettings()
{
    const auto legacy = legacyStore();
    legacy->setFallbacksEnabled(false); // what the organisation's other programs keep is not ours
    const QStringList keys = legacy->allKeys();
    if (keys.isEmpty())
        return;
    const auto current = currentStore();
    current->setFallbacksEnabled(false);
    int copied = 0;
    for (const QString& key : keys) {
        if (current->contains(key))
            continue;
        current->setValue(key, legacy->value(key));
        ++copied;
    }
    if (!sync(*current))
        return; // the old store is still the only one that holds them
    legacy->clear();
    if (sync(*legacy))
        qInfo().noquote() << "Settings migration: copied" << copied << "of" << keys.size() << "keys into"
                          << current->fileName() << "and removed the legacy store";
}

void clearAll()
{
    qInfo().noquote() << QString(60, u'=');
    qInfo().noquote() << "DEBUG: Clearing all application settings (OOB test mode)";
    const auto store = currentStore();
    store->setFallbacksEnabled(false);
    for (const QString& key : store->allKeys())
        if (!key.startsWith(OpenRecordingsGroup + u'/'))
            store->remove(key);
    if (sync(*store))
        qInfo().noquote() << "All settings cleared. Application will start with defaults.";
}

std::unique_ptr<QSettings> openStore()
{
    return currentStore();
}

void useFiles(const QString& currentFile, const QString& legacyFile)
{
    stores().currentFile = currentFile;
    stores().legacyFile = legacyFile;
    stores().failureTold = false;
}

} // namespace vt::AppSettings
