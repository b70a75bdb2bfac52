// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/CameraSettingsStore.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <algorithm>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

const QString Group = u"CameraSettings"_s;
const QString CamerasGroup = u"cameras"_s;
const QString PasswordKey = u"password"_s;
const QString SegmentKey = u"segmentMinutes"_s;

constexpr int MostChannels = 16;
constexpr int MostPixels = 16384; ///< of one side
constexpr int MostSegmentMinutes = 1440;
constexpr auto OwnerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
constexpr auto Others = QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ExeGroup |
                        QFileDevice::ReadOther | QFileDevice::WriteOther | QFileDevice::ExeOther;

int wholeNumber(const QSettings& store, const QString& key, int smallest, int largest, int otherwise)
{
    bool isNumber = false;
    const int value = store.value(key).toInt(&isNumber);
    return isNumber && value >= smallest && value <= largest ? value : otherwise;
}

CameraEntry readCamera(const QSettings& store, const QString& mac)
{
    CameraEntry camera;
    camera.mac = mac;
    camera.channel = wholeNumber(store, u"channel"_s, 0, MostChannels, 0);
    camera.enabled = store.value(u"enabled"_s, false).toBool();
    camera.width = wholeNumber(store, u"width"_s, 0, MostPixels, 0);
    camera.height = wholeNumber(store, u"height"_s, 0, MostPixels, 0);
    const int rotation = wholeNumber(store, u"rotation"_s, 0, 270, 0);
    camera.rotation = rotation % 90 == 0 ? rotation : 0;
    return camera;
}

void writeCamera(QSettings& store, const CameraEntry& camera)
{
    store.setValue(u"channel"_s, camera.channel);
    store.setValue(u"enabled"_s, camera.enabled);
    store.setValue(u"width"_s, camera.width);
    store.setValue(u"height"_s, camera.height);
    store.setValue(u"rotation"_s, camera.rotation);
}

bool isStored(QSettings& store)
{
    store.sync();
    if (store.status() == QSettings::NoError)
        return true;
    qWarning().noquote() << "Camera settings cannot be stored in" << store.fileName();
    return false;
}

bool isFile(const QSettings& store)
{
    return !store.fileName().startsWith("\\HKEY_"_L1);
}

bool isPrivate(const QString& path)
{
    return (QFileInfo(path).permissions() & Others) == QFileDevice::Permissions();
}

/// The store's file is there and the user's alone. The settings keep an existing file's permissions when they
/// replace it; one that they create themselves could be read by others for a moment.
bool makePrivate(const QString& path)
{
    if (!QFileInfo::exists(path)) {
        QFile file(path);
        if (!QDir().mkpath(QFileInfo(path).absolutePath()) ||
            !file.open(QIODevice::WriteOnly | QIODevice::NewOnly, OwnerOnly))
            return false;
    }
    return isPrivate(path) || (QFile::setPermissions(path, OwnerOnly) && isPrivate(path));
}

} // namespace

CameraSettingsStore::CameraSettingsStore(OpenStore openStore) : m_openStore(std::move(openStore))
{
    const std::unique_ptr<QSettings> store = m_openStore();
    store->setFallbacksEnabled(false);
    if (store->contains(Group + u'/' + PasswordKey) && isFile(*store) && !makePrivate(store->fileName()))
        qCritical().noquote() << "Other users can read" << store->fileName()
                              << "which holds the cameras' password";
}

VideoSettings CameraSettingsStore::load() const
{
    static const QRegularExpression macPattern(u"^[0-9A-F]{2}(-[0-9A-F]{2}){5}$"_s);
    const std::unique_ptr<QSettings> store = m_openStore();
    store->setFallbacksEnabled(false);
    store->beginGroup(Group);
    VideoSettings settings;
    settings.segmentMinutes =
        wholeNumber(*store, SegmentKey, 1, MostSegmentMinutes, VideoSettings{}.segmentMinutes);
    store->beginGroup(CamerasGroup);
    const QStringList macs = store->childGroups();
    for (const QString& mac : macs) {
        if (!macPattern.match(mac).hasMatch())
            continue;
        store->beginGroup(mac);
        settings.cameras.push_back(readCamera(*store, mac));
        store->endGroup();
    }
    return settings;
}

void CameraSettingsStore::save(const VideoSettings& settings) const
{
    const std::unique_ptr<QSettings> store = m_openStore();
    store->beginGroup(Group);
    store->setValue(SegmentKey, settings.segmentMinutes);
    store->remove(CamerasGroup);
    store->beginGroup(CamerasGroup);
    for (const CameraEntry& camera : settings.cameras) {
        store->beginGroup(camera.mac);
        writeCamera(*store, camera);
        store->endGroup();
    }
    (void)isStored(*store); // told; the program goes on with what it knows
}

QString CameraSettingsStore::password() const
{
    const std::unique_ptr<QSettings> store = m_openStore();
    store->setFallbacksEnabled(false);
    return store->value(Group + u'/' + PasswordKey).toString();
}

bool CameraSettingsStore::setPassword(const QString& password) const
{
    const std::unique_ptr<QSettings> store = m_openStore();
    const QString key = Group + u'/' + PasswordKey;
    if (password.isEmpty()) {
        store->remove(key);
        return isStored(*store);
    }
    if (isFile(*store) && !makePrivate(store->fileName())) {
        qCritical().noquote() << "The cameras' password is not stored: other users could read"
                              << store->fileName();
        return false;
    }
    store->setValue(key, password);
    if (!isStored(*store))
        return false;
    if (!isFile(*store) || isPrivate(store->fileName()))
        return true;
    qCritical().noquote() << "The cameras' password is not stored: other users could read"
                          << store->fileName();
    store->remove(key);
    (void)isStored(*store);
    return false;
}

} // namespace vt
