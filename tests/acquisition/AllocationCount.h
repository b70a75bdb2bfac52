// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vt::test {

/// Calls of operator new on the calling thread so far; the test program counts them.
[[nodiscard]] long allocationsOnThisThread();

} // namespace vt::test
