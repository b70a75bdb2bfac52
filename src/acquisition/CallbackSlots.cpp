// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/CallbackSlots.h"

#include "daqmx/NeverDestroyed.h"

#include <array>
#include <bit>

namespace vt {

namespace {

constexpr unsigned SlotBits = 8;
constexpr std::uintptr_t SlotMask = (std::uintptr_t{1} << SlotBits) - 1;
static_assert(sizeof(void*) == 8, "callbackData carries a slot and a 48-bit generation");

using SlotTable = std::array<CallbackSlot, std::size_t{1} << SlotBits>;

SlotTable& slotTable()
{
    static NeverDestroyed<SlotTable> table;
    return table.get();
}

} // namespace

CallbackSlot* takeCallbackSlot(AcquisitionCore* core)
{
    for (CallbackSlot& slot : slotTable()) {
        if (slot.taken.exchange(true))
            continue;
        slot.core = core;
        return &slot;
    }
    return nullptr;
}

void returnCallbackSlot(CallbackSlot* slot)
{
    slot->core = nullptr;
    slot->taken.store(false);
}

std::uint64_t nextGeneration()
{
    static std::atomic<std::uint64_t> last{0};
    return last.fetch_add(1) + 1;
}

void* encodeTicket(const CallbackTicket& ticket)
{
    const auto index = static_cast<std::uintptr_t>(ticket.slot - slotTable().data());
    // Only carried through the driver and taken apart again, never followed.
    return std::bit_cast<void*>((static_cast<std::uintptr_t>(ticket.generation) << SlotBits) | index);
}

CallbackTicket decodeTicket(void* callbackData)
{
    const auto value = std::bit_cast<std::uintptr_t>(callbackData);
    return {&slotTable()[value & SlotMask], static_cast<std::uint64_t>(value >> SlotBits)};
}

} // namespace vt
