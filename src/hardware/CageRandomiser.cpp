// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/CageRandomiser.h"

#include "hardware/StimulationRules.h"

#include <QRandomGenerator>

namespace vt {

std::uint32_t CageRandomiser::systemSeed()
{
    return QRandomGenerator::system()->generate();
}

QList<VEXIO_NS::CageConfig>
CageRandomiser::draw(const std::array<CageSettings, VexioSettings::CageCount>& cages,
                     const RandomRange& range)
{
    const auto value = [this](quint8 fixed, bool random, quint8 low, quint8 high) {
        if (!random || low > high)
            return fixed;
        return static_cast<quint8>(scaleRandom(low, high, next()));
    };
    QList<VEXIO_NS::CageConfig> configs;
    for (const CageSettings& cage : cages) {
        VEXIO_NS::CageConfig config;
        config.frequency =
            value(cage.frequency, cage.randomFrequency, range.frequencyMin, range.frequencyMax);
        config.amplitude =
            value(cage.amplitude, cage.randomAmplitude, range.amplitudeMin, range.amplitudeMax);
        config.duration = value(cage.duration, cage.randomDuration, range.durationMin, range.durationMax);
        config.waveShape = cage.waveShape;
        configs << config;
    }
    return configs;
}

} // namespace vt
