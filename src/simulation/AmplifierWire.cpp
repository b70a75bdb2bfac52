// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/AmplifierWire.h"

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr double FullScaleVolts = 3.3;
constexpr qsizetype LongestNumber = 8;

int quantise(double volts, int steps, int zeroStep)
{
    const double step = std::round(volts * steps / FullScaleVolts) + zeroStep;
    return static_cast<int>(std::clamp(step, 0.0, steps - 1.0));
}

} // namespace

QByteArray amplifierPacket(double channel1Volts, double channel2Volts)
{
    const int first = quantise(channel1Volts, 2048, 1024); // 7 + 4 bits
    const int second = quantise(channel2Volts, 1024, 511); // 7 + 3 bits
    QByteArray packet(3, '\0');
    packet[0] = static_cast<char>(128 + first / 16);
    packet[1] = static_cast<char>(second / 8);
    packet[2] = static_cast<char>(second % 8 * 16 + first % 16);
    return packet;
}

std::optional<AmplifierCommands::Command> AmplifierCommands::feed(char byte)
{
    if (m_isInNumber && byte >= '0' && byte <= '9' && m_number.size() < LongestNumber) {
        m_number += byte;
        return std::nullopt;
    }
    if (m_isInNumber && byte == '\r')
        return std::nullopt;
    if (m_isInNumber && byte == '\n') {
        m_isInNumber = false;
        m_timerValue = m_number.toInt();
        return Command::SetTimer;
    }
    m_isInNumber = byte == 'f';
    m_number.clear();
    switch (byte) {
    case 's':
        return Command::Stop;
    case '?':
        return Command::Identify;
    case 'b':
        return Command::Prepare;
    case 'c':
        return Command::Stream;
    default:
        return std::nullopt;
    }
}

} // namespace vt
