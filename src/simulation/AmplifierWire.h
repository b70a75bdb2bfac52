// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <optional>

namespace vt {

/// The serial amplifier's side of its wire.

/// One packet of three bytes. Each channel is quantised to the nearest step and held at the ends of its
/// range: channel 1 in 2048 steps of 3.3 V / 2048 around step 1024, channel 2 in 1024 steps of 3.3 V / 1024
/// around 511.
[[nodiscard]] QByteArray amplifierPacket(double channel1Volts, double channel2Volts);

/// Understands what the program sends, one byte at a time.
class AmplifierCommands
{
public:
    enum class Command { Stop, Identify, Prepare, SetTimer, Stream };

    /// The command that this byte completes, if any. Line ends and bytes that mean nothing are passed over.
    [[nodiscard]] std::optional<Command> feed(char byte);
    /// Of the last SetTimer; 0 before.
    [[nodiscard]] int timerValue() const { return m_timerValue; }

private:
    bool m_isInNumber = false;
    QByteArray m_number;
    int m_timerValue = 0;
};

} // namespace vt
