// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QtGlobal>
#include <memory>
#include <optional>

namespace vt {

/// Keeps an acquisition device for this instance of the program, so that two running instances never drive
/// the same one. At most one device is claimed at a time; the claim ends with the object or with the process,
/// however that dies. Interface thread; no call waits.
///
/// Windows: a named mutex in the session's namespace. Linux: locked files with the owner's process id in the
/// user's runtime folder and in a private one below the temporary folder. A claim that can be taken although
/// its owner never gave it up is called "abandoned".
class DaqClaim
{
public:
    DaqClaim();
    ~DaqClaim();
    DaqClaim(const DaqClaim&) = delete;
    DaqClaim& operator=(const DaqClaim&) = delete;

    /// True when the device with this serial number is this instance's now; a claim held on another device is
    /// given up then. On failure the claim held so far stays. Each outcome is logged.
    [[nodiscard]] bool tryClaim(const QString& serial);
    void release();
    /// Serial number of the claimed device, empty when none is.
    [[nodiscard]] QString serial() const;

    /// Process id of another instance that holds the device at this moment; 0 when it is held by someone
    /// whose id cannot be read; nothing when it is free or this object's own. Takes no claim.
    [[nodiscard]] std::optional<qint64> otherHolder(const QString& serial) const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace vt
