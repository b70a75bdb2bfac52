// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QMetaType>
#include <cstdint>

namespace vt::VEXIO_NS {

inline constexpr int CageCount = 8;

/// Profile of one cage of the stimulation unit, in register values: frequency 14 r + 43 Hz,
/// amplitude 0.039322 r V, duration 0.5 r s, waveShape 0 sine, 1 square, 2 single pulse.
struct CageConfig
{
    std::uint8_t frequency = 0;
    std::uint8_t amplitude = 0;
    std::uint8_t duration = 0;
    std::uint8_t waveShape = 0;
    std::uint16_t activations = 0; ///< how often the cage was stimulated, as the unit counts
    bool operator==(const CageConfig&) const = default;
};

} // namespace vt::VEXIO_NS

Q_DECLARE_METATYPE(vt::VEXIO_NS::CageConfig)
Q_DECLARE_METATYPE(QList<vt::VEXIO_NS::CageConfig>)
