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
///   slow MS                          each call on the digital lines takes MS, as on a real unit; 0 ends it
///   bus-nak on|off                   the microcontroller acknowledges nothing
///   fail-call N CODE [once|forever]  the N-th driver call from now (0: the next) fails with CODE;
///                                    a CODE of 0 ends it
///   register ADDRESS VALUE           sets a byte of the microcontroller's register file
///   button                           the unit's push button is pressed
///   sensors N                        the number of connected sensors becomes N (0 to 16)
///   shorted MASK                     these sensors are shorted (bit i: channel i); 0 ends it
///   vexio absent|present             the stimulation unit is taken away, or comes back
///   vexio 12v on|off                 its 12 V supply
///   vexio overtemp on|off            it is too hot
///   vexio speaker CAGE ok|open|short|shortgnd   the speaker of cage 1 to 8
///   vexio brownout                   its supply dips: it stops and forgets which cages are enabled
///   dio absent|present               the port expanders are taken away, or come back
///   dio input CAGE high|low          level on the input of cage 1 to 16
///   nak mcu|vexio|dio BYTE           once, a device on this bus does not acknowledge byte number BYTE of a
///                                    transfer (1: address, 2: register, 3: data or second address); 0 ends
///                                    it
///   hold mcu|vexio|dio CLOCKS        the bus's data line is held low until CLOCKS clock pulses have come
///   # anything                       remark
struct FaultCommand
{
    enum class Kind {
        None,
        Unplug,
        Replug,
        ReadError,
        Stall,
        Delay,
        Hang,
        SlowLines,
        BusNak,
        FailCall,
        SetRegister,
        Button,
        Sensors,
        Shorted,
        VexioPresence,
        VexioSupply,
        VexioOverTemperature,
        VexioSpeaker,
        VexioBrownOut,
        DioPresence,
        DioInput,
        NakByte,
        HoldSda
    };
    Kind kind = Kind::None;
    std::int32_t code = 0;
    /// Count, milliseconds, call, serial (0: the same), register address, mask, cage, byte or clocks.
    std::uint64_t number = 0;
    std::uint8_t value =
        0;           ///< register value, speaker's fault code 0..3, or bus 0..2 as the words stand above
    bool on = false; ///< on, high, present, or forever
};

/// Empty, with *error set, for a line that is not understood.
[[nodiscard]] std::optional<FaultCommand> parseFaultCommand(const QString& line, QString* error);

} // namespace vt
