// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>

namespace vt {

/// The time that the devices on a simulated unit's lines live by: microseconds since an arbitrary origin,
/// never going back. Called from any thread, with the lines' lock held: it must not call into the unit.
using UnitClock = std::function<std::int64_t()>;

} // namespace vt
