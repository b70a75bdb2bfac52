// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "camera/CameraSettings.h"

#include <QString>

namespace vt {

/// Which camera films which cage: a cage has one camera at most, and a camera one cage. Plain state. Changes
/// return why they are refused, in words for the user; empty when they are made.
class CameraTable
{
public:
    /// Entries that contradict earlier ones stay, without a channel and disabled; the text says which.
    QString setSettings(const VideoSettings& settings);
    [[nodiscard]] const VideoSettings& settings() const { return m_settings; }
    /// Null when nothing was set for it.
    [[nodiscard]] const CameraEntry* find(const QString& mac) const;

    /// channel 0 takes the camera off its cage, which also disables it.
    [[nodiscard]] QString setChannel(const QString& mac, int channel);
    [[nodiscard]] QString setEnabled(const QString& mac, bool isEnabled);
    /// 0 x 0: as the camera is set.
    [[nodiscard]] QString setResolution(const QString& mac, int width, int height);
    [[nodiscard]] QString setRotation(const QString& mac, int degrees);

private:
    [[nodiscard]] CameraEntry& entry(const QString& mac);

    VideoSettings m_settings;
};

} // namespace vt
