// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "camera/CameraManager.h"

#include <QImage>
#include <QString>

namespace vt {

/// Two cameras that are found at once and film at once: their pictures are drawn, their films are not made.
/// Lives on the cameras' thread.
class StudioCameras final : public CameraManager
{
public:
    static constexpr int Count = 2;
    /// index from 0.
    [[nodiscard]] static QString mac(int index);
    /// What such a camera sees: a cage from above, with a mouse in it. Any thread.
    [[nodiscard]] static QImage picture(int index);

    void setCredentials(const CameraCredentials&) override {}
    void startScan() override;
    void startCamera(const CameraOrder& order) override;
    void stopCamera(const QString& mac) override;
    void stopAll(std::function<void()> done) override { done(); }
};

} // namespace vt
