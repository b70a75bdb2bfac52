// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"

#include <QString>

namespace vt {

/// What the driver says about the last failed call on this thread; empty when it says nothing. At most 2047
/// characters.
[[nodiscard]] QString daqmxExtendedErrorText(DaqmxApi& driver);

/// The driver's text for a status code; at most 511 characters.
[[nodiscard]] QString daqmxErrorText(DaqmxApi& driver, std::int32_t status);

/// The one place where a status is judged: true for success and warnings. A negative status is logged as
/// "<step> failed: <text>" and the extended text. Call on the thread that made the driver call.
[[nodiscard]] bool daqmxSucceeded(DaqmxApi& driver, std::int32_t status, const char* step);

} // namespace vt
