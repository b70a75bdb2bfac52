// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "camera/CameraSettings.h"

#include <QSettings>
#include <QString>
#include <functional>
#include <memory>

namespace vt {

/// What the program remembers of its cameras, in the group "CameraSettings" of a settings store: the length
/// of video files, channel, enable, resolution and rotation of each camera by its MAC address, and the
/// cameras' password. Changes are on the disk when a function returns. One thread at a time.
///
/// Where the store is a file it belongs to the user alone from the moment at which it holds a password. In
/// the Windows registry it lies in the user's own part, which other users cannot read.
class CameraSettingsStore
{
public:
    using OpenStore = std::function<std::unique_ptr<QSettings>()>;

    explicit CameraSettingsStore(OpenStore openStore);

    /// What is not valid is left out, or has its default.
    [[nodiscard]] VideoSettings load() const;
    void save(const VideoSettings& settings) const;

    /// Empty: none was set, or it was forgotten.
    [[nodiscard]] QString password() const;
    /// An empty one is forgotten. False, and nothing is stored, when it could not be kept to the user.
    [[nodiscard]] bool setPassword(const QString& password) const;

private:
    const OpenStore m_openStore;
};

} // namespace vt
