// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLatin1String>

namespace vt {

/// Outcome of a signal operation; its text follows the log line that names the operation.
enum class SignalStatus { Ok, OutOfMemory, NotInitialised, BadChannel, NotFinite, PlanFailed };

[[nodiscard]] constexpr QLatin1String statusText(SignalStatus status)
{
    switch (status) {
    case SignalStatus::Ok:
        return QLatin1String("no error");
    case SignalStatus::OutOfMemory:
        return QLatin1String("not enough memory");
    case SignalStatus::NotInitialised:
        return QLatin1String("not initialised");
    case SignalStatus::BadChannel:
        return QLatin1String("channel out of range");
    case SignalStatus::NotFinite:
        return QLatin1String("a value is infinite or not a number");
    case SignalStatus::PlanFailed:
        return QLatin1String("no transform for this length");
    }
    return QLatin1String("unknown status");
}

} // namespace vt
