// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/CageConfig.h"

#include <QDateTime>
#include <QString>
#include <cstdint>

/// The rows of "_Stim.csv": each one line with its "\n". Date-times are local, "M/d/yyyy h:mm:ss AP",
/// whatever the system's language. Any thread.
namespace vt {

/// "0b" and 16 binary digits, cage 16 first: how masks look in the program's log.
[[nodiscard]] QString maskText(std::uint16_t mask);

[[nodiscard]] QString stimulationHeaderRow();

/// A stimulation of the stimulation unit.
struct StimulationRow
{
    QDateTime when;
    QString reason;
    int intervalMs = 0; ///< of the open-loop protocol, the one that is in force
    int sleepDurationSec = 0;
    int channelCount = 0;
    std::uint16_t mask = 0;
    QList<VEXIO_NS::CageConfig> cages; ///< a stimulated cage beyond them shows "0/0.00/0.0"
};
/// Half seconds of a duration are rounded up to whole ones.
[[nodiscard]] QString stimRow(const StimulationRow& row);

/// A stimulation by digital outputs alone.
[[nodiscard]] QString digOutputRow(const QDateTime& when, int channelCount, std::uint16_t mask);

enum class InputEdge { High, Low };
/// External triggers: "1" for the cages whose inputs have changed.
[[nodiscard]] QString digInputRow(const QDateTime& when, InputEdge edge, int channelCount,
                                  std::uint16_t mask);

/// Status bytes of the stimulation unit, registers 0x0A to 0x0D.
struct DiagBytes
{
    std::uint8_t sysStatus = 0;
    std::uint8_t sysExtraStatus = 0;
    std::uint8_t speakerFaults0C = 0;
    std::uint8_t speakerFaults0D = 0;
};
[[nodiscard]] QString diagRow(const QDateTime& when, const DiagBytes& bytes);

} // namespace vt
