// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <functional>

class QObject;

namespace vt::PowerSchemeQuery {

enum class LidAction { DoNothing, Sleep, Hibernate, ShutDown, Other };

/// What the computer does when its lid is closed.
struct Result
{
    bool hasBattery = false;
    LidAction lidAC = LidAction::DoNothing; ///< on mains
    LidAction lidDC = LidAction::DoNothing; ///< on battery
    bool queryFailed = false;
};

/// Asks the system and logs the result; answered comes on the caller's thread, unless receiver is gone by
/// then: at once on Windows, when logind has answered (2 s at most) on Linux.
void query(QObject* receiver, std::function<void(const Result&)> answered);

/// Writes a result to the log.
void log(const Result& result);

/// Closing the lid would end a recording: there is a battery, and an action other than "do nothing".
[[nodiscard]] bool lidStopsRecording(const Result& result);
/// "sleep", "hibernate", "shut down", ... as in "configured to %1 when the lid is closed".
[[nodiscard]] QString lidActionText(LidAction action);
/// Opens the system's power settings; false when it has none that this program knows.
bool openPowerSettings();

} // namespace vt::PowerSchemeQuery
