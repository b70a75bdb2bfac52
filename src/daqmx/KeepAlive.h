// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

namespace vt {

/// Keeps an object for the rest of the process, static destruction included. For what a driver call that
/// does not return may still touch: its thread, its buffers. Any thread.
void keepAliveForever(std::shared_ptr<void> object);

/// True once something has been kept: then what it uses has to be kept, too.
[[nodiscard]] bool isAnythingKeptAlive();

} // namespace vt
