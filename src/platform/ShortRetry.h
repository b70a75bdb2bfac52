// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "platform/ExclusiveOpen.h"

#include <chrono>
#include <thread>

namespace vt::platform {

/// open(), and again for up to 20 ms while it answers "in use": isHeldByWriter() of another instance holds a
/// file for some microseconds, a writer for hours.
template <typename Open>
[[nodiscard]] ExclusiveOpenResult openDespiteProbes(Open open)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(20);
    ExclusiveOpenResult result = open();
    while (result.outcome == ExclusiveOpenResult::Outcome::InUse && Clock::now() < deadline) {
        std::this_thread::yield();
        result = open();
    }
    return result;
}

} // namespace vt::platform
