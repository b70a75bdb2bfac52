// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

namespace vt::windows {

/// When the process was started, in units of 100 ns since 1601; nothing when none of that id runs any more or
/// the system does not tell. Any thread; does not wait.
[[nodiscard]] std::optional<std::uint64_t> processStart(unsigned long processId);

} // namespace vt::windows
