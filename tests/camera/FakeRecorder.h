// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "camera/CameraRecorder.h"

#include <QStringList>
#include <utility>

namespace vt::test {

/// Notes what it is told to record.
class FakeRecorder : public CameraRecorder
{
public:
    void startCamera(const CameraStream& stream) override
    {
        streams.push_back(stream);
        calls << QStringLiteral("start ") + stream.mac + QLatin1Char(' ') + stream.address.toString();
    }
    void changeAddress(const QString& mac, const QHostAddress& address) override
    {
        calls << QStringLiteral("move ") + mac + QLatin1Char(' ') + address.toString();
    }
    void setCredentials(const QString& user, const QString& password) override
    {
        calls << QStringLiteral("credentials ") + user + QLatin1Char(' ') + password;
    }
    void stopCamera(const QString& mac) override { calls << QStringLiteral("stop ") + mac; }
    void stopAll(std::function<void()> done) override
    {
        calls << QStringLiteral("stop all");
        whenStopped = std::move(done);
    }
    [[nodiscard]] bool isRecording(const QString&) const override { return false; }

    QStringList calls;
    std::vector<CameraStream> streams;
    std::function<void()> whenStopped; ///< called by the test
};

} // namespace vt::test
