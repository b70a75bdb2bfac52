// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "acquisition/CallGate.h"

#include <atomic>
#include <cstdint>

namespace vt {

class AcquisitionCore;

/// Where a driver callback finds its object. The driver may call back late, after the task was cleared and
/// the object destroyed, so what it carries as callbackData is no pointer but a number: slot and task
/// generation. Slots live as long as the process; a generation is never used twice.
struct CallbackSlot
{
    CallGate task;     ///< inside: a callback of the current task, which may use the task's handle
    CallGate delivery; ///< inside: a frame is being handed to the owner, who must not be destroyed
    AcquisitionCore* core = nullptr; ///< valid inside either gate
    std::atomic<bool> taken{false};
};

/// A free slot, or null when all 256 are taken by objects that still exist. Any thread.
[[nodiscard]] CallbackSlot* takeCallbackSlot(AcquisitionCore* core);
/// Both gates must be quiet.
void returnCallbackSlot(CallbackSlot* slot);

[[nodiscard]] std::uint64_t nextGeneration();

/// callbackData and back.
struct CallbackTicket
{
    CallbackSlot* slot;
    std::uint64_t generation;
};
[[nodiscard]] void* encodeTicket(const CallbackTicket& ticket);
[[nodiscard]] CallbackTicket decodeTicket(void* callbackData);

} // namespace vt
