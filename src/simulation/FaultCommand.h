// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <cstdint>
#include <optional>

namespace vt {

/// One line of the fault language, words separated by blanks; numbers decimal or 0x hexadecimal:
///
///   unplug                           the unit vanishes
///   replug [serial N]                it comes back, optionally as another unit
///   read-error CODE [COUNT|forever]  the next COUNT (1) analog reads fail with CODE; 0 ends it
///   stall on|off                     no callbacks, while the device goes on acquiring
///   delay MS                         each callback comes MS late; 0 ends it
///   hang MS                          the next analog read blocks for MS
///   bus-nak on|off                   the microcontroller acknowledges nothing
///   fail-call N CODE [once|forever]  the N-th driver call from now (0: the next) fails with CODE;
///                                    a CODE of 0 ends it
///   register ADDRESS VALUE           sets a byte of the microcontroller's register file
///   # anything                       remark
struct FaultCommand
{
    enum class Kind { None, Unplug, Replug, ReadError, Stall, Delay, Hang, BusNak, FailCall, SetRegister };
    Kind kind = Kind::None;
    std::int32_t code = 0;
    std::uint64_t number = 0; ///< count, milliseconds, call, serial (0: the same) or register address
    std::uint8_t value = 0;
    bool on = false; ///< on, or forever
};

/// Empty, with *error set, for a line that is not understood.
[[nodiscard]] std::optional<FaultCommand> parseFaultCommand(const QString& line, QString* error);

} // namespace vt
