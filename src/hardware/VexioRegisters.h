// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/CageConfig.h"

#include <QString>
#include <algorithm>
#include <cmath>
#include <cstdint>

/// Register map of the stimulation unit and what its numbers mean. Multi-byte values are little-endian.
namespace vt::VEXIO_NS {

inline constexpr std::uint8_t UnitAddress8 = 0x10;

inline constexpr std::uint8_t REG_BSACTIVATE = 0x00;    ///< bit c starts cage c+1's profile once
inline constexpr std::uint8_t REG_BSSTOP = 0x04;        ///< bit c stops cage c+1
inline constexpr std::uint8_t REG_BSCONFIG = 0x08;      ///< enabled cages; also powers their amplifiers
inline constexpr std::uint8_t REG_BSACTIVE = 0x09;      ///< cages that run a profile now
inline constexpr std::uint8_t REG_SYSTEM_STATUS = 0x0A; ///< write 1 to clear sticky bits
inline constexpr std::uint8_t REG_SYS_EXTRA_STATUS = 0x0B;
inline constexpr std::uint8_t REG_SPEAKER_FAULTS_1_4 = 0x0C; ///< two bits per cage; write 0 to clear
inline constexpr std::uint8_t REG_SPEAKER_FAULTS_5_8 = 0x0D;
inline constexpr std::uint8_t REG_50 = 0x32; ///< bit 6: speaker diagnostics; other bits are kept
inline constexpr std::uint8_t REG_52 = 0x34; ///< diagnostic cycles, counts modulo 256
inline constexpr std::uint8_t REG_CAGES = 0x38;
inline constexpr std::uint8_t AllCages = 0xFF;    ///< as a mask
inline constexpr std::uint8_t REG_TEST = 0x77;    ///< last byte of cage 8's block
inline constexpr std::uint8_t TestPattern = 0xAA; ///< what it is to hold
inline constexpr std::uint8_t REG_UNIT_INFO = 0x78;

inline constexpr int CageBlockSize = 8;
inline constexpr int CageProfileSize = 4; ///< frequency, amplitude, duration, wave shape
inline constexpr int CageDurationAt = 2;
inline constexpr int CageActivationsAt = 4; ///< unsigned 16-bit; written as 0 to clear
inline constexpr int UnitInfoSize = 7;

inline constexpr std::uint8_t StatusOverTemperature = 0x01;
inline constexpr std::uint8_t StatusSpeakerFault = 0x04;
inline constexpr std::uint8_t StatusNoPower = 0x80; ///< 12 V NOT present
inline constexpr std::uint8_t StatusStickyBits = 0x79;
inline constexpr std::uint8_t ExtraStatusStickyBits = 0x90;
inline constexpr std::uint8_t DiagnosticsEnable = 0x40; ///< in REG_50

/// Address of a byte in the block of a cage, 0 to 7.
[[nodiscard]] constexpr std::uint8_t cageRegister(int cage, int offset)
{
    return static_cast<std::uint8_t>(REG_CAGES + CageBlockSize * cage + offset);
}

// ---- conversions; values out of range are clamped ----

[[nodiscard]] inline std::uint8_t frequencyHzToRegister(double hertz)
{
    return static_cast<std::uint8_t>(std::lround(std::clamp((hertz - 43.0) / 14.0, 0.0, 255.0)));
}
[[nodiscard]] inline std::uint8_t frequencyKHzToRegister(double kilohertz)
{
    return static_cast<std::uint8_t>(std::lround(std::clamp((kilohertz - 0.043) / 0.014, 0.0, 255.0)));
}
/// Volts up to 10.027.
[[nodiscard]] inline std::uint8_t amplitudeVoltsToRegister(double volts)
{
    return static_cast<std::uint8_t>(std::lround(std::clamp(volts, 0.0, 10.027) / 0.039322));
}
/// Seconds up to 127.5.
[[nodiscard]] inline std::uint8_t durationSecToRegister(double seconds)
{
    return static_cast<std::uint8_t>(std::lround(2.0 * std::clamp(seconds, 0.0, 127.5)));
}
[[nodiscard]] constexpr double registerToFrequencyHz(std::uint8_t value)
{
    return 14.0 * value + 43.0;
}
[[nodiscard]] constexpr double registerToFrequencyKHz(std::uint8_t value)
{
    return 0.014 * value + 0.043;
}
[[nodiscard]] constexpr double registerToAmplitudeVolts(std::uint8_t value)
{
    return 0.039322 * value;
}
[[nodiscard]] constexpr double registerToDurationSec(std::uint8_t value)
{
    return 0.5 * value;
}

[[nodiscard]] inline QString waveShapeName(std::uint8_t waveShape)
{
    switch (waveShape) {
    case 0:
        return QStringLiteral("Sine");
    case 1:
        return QStringLiteral("Square");
    case 2:
        return QStringLiteral("Single Pulse");
    default:
        return QStringLiteral("Unknown");
    }
}

// ---- speaker faults ----

/// Two-bit code of a cage (0 to 7) from the two fault registers; 0 is no fault.
[[nodiscard]] constexpr int speakerFaultCode(std::uint8_t faults0C, std::uint8_t faults0D, int cage)
{
    return ((cage < 4 ? faults0C : faults0D) >> (2 * (cage % 4))) & 3;
}
[[nodiscard]] inline QString speakerFaultText(int code)
{
    switch (code) {
    case 0:
        return QStringLiteral("OK (connected)");
    case 1:
        return QStringLiteral("FAULT - Open speaker (disconnected)");
    case 2:
        return QStringLiteral("FAULT - Shorted terminals (+ to -)");
    default:
        return QStringLiteral("FAULT - Short to ground/power");
    }
}
/// For warnings; code 1 to 3.
[[nodiscard]] inline QString speakerFaultShortText(int code)
{
    return code == 1   ? QStringLiteral("Open")
           : code == 2 ? QStringLiteral("Shorted")
                       : QStringLiteral("Short-GND");
}

} // namespace vt::VEXIO_NS
