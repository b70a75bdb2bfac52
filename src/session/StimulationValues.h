// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/StimulationSettings.h"

#include <QString>
#include <QtGlobal>
#include <array>

/// What the stimulation unit's register values mean, for those who may not know its registers. Plain
/// functions, any thread.
namespace vt {

enum class CageValue { Frequency, Amplitude, Duration };

/// In Hz, V and s.
[[nodiscard]] double cageNumber(CageValue what, quint8 registerValue);
/// The nearest that the register can hold; what is out of range is clamped.
[[nodiscard]] quint8 cageRegister(CageValue what, double number);
[[nodiscard]] QString cageUnit(CageValue what); ///< "Hz", "V", "s"
/// Enough to tell neighbouring register values apart.
[[nodiscard]] int cageDecimals(CageValue what);

[[nodiscard]] QString waveShapeText(quint8 waveShape);

/// What the unit says of one cage's speaker: 0 OK, 1 open, 2 shorted, 3 short to ground or power. cage: 0
/// to 7.
[[nodiscard]] int speakerFault(quint8 faults0C, quint8 faults0D, int cage);
[[nodiscard]] QString speakerFaultWords(int fault);

/// The system status register.
struct UnitStatus
{
    bool hasPower = false; ///< 12 V
    bool isTooHot = false; ///< means nothing without power
    bool hasSpeakerFault = false;
};
[[nodiscard]] UnitStatus unitStatus(quint8 systemStatus);

} // namespace vt
