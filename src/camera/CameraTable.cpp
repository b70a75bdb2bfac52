// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/CameraTable.h"

#include <QStringList>
#include <algorithm>

namespace vt {

namespace {

constexpr int MaxPixels = 16384; ///< of one side

bool isRotation(int degrees)
{
    return degrees == 0 || degrees == 90 || degrees == 180 || degrees == 270;
}

} // namespace

QString CameraTable::setSettings(const VideoSettings& settings)
{
    QStringList problems;
    VideoSettings accepted = settings;
    accepted.cameras.clear();
    for (CameraEntry camera : settings.cameras) {
        const auto clashes = [&](const CameraEntry& earlier) {
            return earlier.mac == camera.mac || (camera.channel > 0 && earlier.channel == camera.channel);
        };
        const auto earlier = std::find_if(accepted.cameras.begin(), accepted.cameras.end(), clashes);
        if (earlier != accepted.cameras.end() && earlier->mac == camera.mac) {
            problems << QStringLiteral("Camera %1 is listed twice; its first entry holds.").arg(camera.mac);
            continue;
        }
        if (earlier != accepted.cameras.end()) {
            problems << QStringLiteral(
                            "Channel %1 has camera %2 already; camera %3 was left without a channel.")
                            .arg(camera.channel)
                            .arg(earlier->mac, camera.mac);
            camera.channel = 0;
        }
        camera.channel = std::max(camera.channel, 0);
        if (camera.enabled && camera.channel == 0) {
            if (earlier == accepted.cameras.end())
                problems << QStringLiteral("Camera %1 has no channel and was disabled.").arg(camera.mac);
            camera.enabled = false;
        }
        accepted.cameras.push_back(camera);
    }
    m_settings = accepted;
    return problems.join(QLatin1Char(' '));
}

const CameraEntry* CameraTable::find(const QString& mac) const
{
    const auto found = std::find_if(m_settings.cameras.begin(), m_settings.cameras.end(),
                                    [&](const CameraEntry& camera) { return camera.mac == mac; });
    return found == m_settings.cameras.end() ? nullptr : &*found;
}

CameraEntry& CameraTable::entry(const QString& mac)
{
    const auto found = std::find_if(m_settings.cameras.begin(), m_settings.cameras.end(),
                                    [&](const CameraEntry& camera) { return camera.mac == mac; });
    if (found != m_settings.cameras.end())
        return *found;
    CameraEntry added;
    added.mac = mac;
    return m_settings.cameras.emplace_back(added);
}

QString CameraTable::setChannel(const QString& mac, int channel)
{
    if (channel < 0)
        return QStringLiteral("There is no channel %1.").arg(channel);
    for (const CameraEntry& other : m_settings.cameras)
        if (channel > 0 && other.channel == channel && other.mac != mac)
            return QStringLiteral("Channel %1 has camera %2 already. Take that camera off the channel first.")
                .arg(channel)
                .arg(other.mac);
    CameraEntry& camera = entry(mac);
    camera.channel = channel;
    camera.enabled = camera.enabled && channel > 0;
    return {};
}

QString CameraTable::setEnabled(const QString& mac, bool isEnabled)
{
    const CameraEntry* known = find(mac);
    if (isEnabled && (!known || known->channel == 0))
        return QStringLiteral("Camera %1 has no channel. Assign one before you enable it.").arg(mac);
    entry(mac).enabled = isEnabled;
    return {};
}

QString CameraTable::setResolution(const QString& mac, int width, int height)
{
    const bool isAsTheCameraIs = width == 0 && height == 0;
    if ((!isAsTheCameraIs && (width < 1 || height < 1)) || width > MaxPixels || height > MaxPixels)
        return QStringLiteral("%1 x %2 is no resolution.").arg(width).arg(height);
    CameraEntry& camera = entry(mac);
    camera.width = width;
    camera.height = height;
    return {};
}

QString CameraTable::setRotation(const QString& mac, int degrees)
{
    if (!isRotation(degrees))
        return QStringLiteral("A camera can be turned by 0, 90, 180 or 270 degrees.");
    entry(mac).rotation = degrees;
    return {};
}

} // namespace vt
