// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/DiskThread.h"
#include "platform/DaqClaim.h"
#include "session/AppSettings.h"
#include "session/PowerGuard.h"
#include "session/SessionController.h"
#include "session/UnclosedRecordings.h"

#include <memory>

namespace vt {

class TimeSource;
class UserInteraction;

/// What keeps recordings safe from the world around the program: the claim of the device, the computer's
/// power management, and the note of what is being recorded. Interface thread.
class Safeguards
{
public:
    Safeguards();
    /// Options of the controller, which this object outlives.
    [[nodiscard]] SessionController::Options sessionOptions();
    /// Protects the recordings of this controller for as long as the result lives, which session, time, user
    /// and this object outlive.
    [[nodiscard]] std::unique_ptr<PowerGuard> protect(SessionController& session, TimeSource& time,
                                                      UserInteraction& user);
    /// Tells the user, who outlives this object, of recordings that an earlier run could not close; as soon
    /// as the disk has answered. Once.
    void tellUnclosed(UserInteraction& user);

    /// Changes the settings without waiting for the disk; what is still to be done at the end of this object
    /// gets 5 s.
    [[nodiscard]] AppSettings::StoreThread store();

private:
    DiskThread m_settings;
    bool m_showsLidWarning;
    DaqClaim m_claim;
    UnclosedRecordings m_unclosed;
};

} // namespace vt
