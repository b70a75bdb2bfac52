// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QtGlobal>
#include <memory>
#include <optional>

namespace vt::platform {

/// One device's claim as the operating system keeps it; given up when destroyed, on the thread that took it.
class SystemClaim
{
public:
    SystemClaim() = default;
    virtual ~SystemClaim() = default;
    SystemClaim(const SystemClaim&) = delete;
    SystemClaim& operator=(const SystemClaim&) = delete;
};

struct ClaimAttempt
{
    enum class Outcome {
        Claimed,
        ClaimedAbandoned, ///< its last owner ended without giving it up
        HeldElsewhere,    ///< by another process, or by another claim of this one
        Failed
    };
    Outcome outcome = Outcome::Failed;
    std::unique_ptr<SystemClaim> claim; ///< set in both cases of success
    QString failedCall;                 ///< the system call that failed
    qint64 errorCode = 0;               ///< errno or the Win32 error
};

/// Never waits for another owner.
[[nodiscard]] ClaimAttempt takeClaim(const QString& serial);
/// Process id of the holder, 0 when it cannot be read, nothing when the device is free.
[[nodiscard]] std::optional<qint64> claimHolder(const QString& serial);

} // namespace vt::platform
