// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationSummary.h"

#include "hardware/StimulationMasks.h"
#include "hardware/StimulationRules.h"

#include <QLocale>
#include <algorithm>

namespace vt {

namespace {

double hertz(quint8 value)
{
    return 14.0 * value + 43.0;
}

double volts(quint8 value)
{
    return 0.039322 * value;
}

double seconds(quint8 value)
{
    return 0.5 * value;
}

std::vector<ConfigSummary::Slot> slotsOf(const std::vector<StimulationWindow>& schedule)
{
    std::vector<ConfigSummary::Slot> result;
    for (const StimulationWindow& window : schedule) {
        ConfigSummary::Slot slot{window.startTime, window.endTime, {}};
        for (std::size_t day = 0; day < window.days.size(); ++day)
            if (window.days[day])
                slot.days << QLocale::c().dayName(static_cast<int>(day) + 1);
        result.push_back(slot);
    }
    return result;
}

void describeUnit(ConfigSummary& summary, const VexioSettings& settings, bool hasOutputs)
{
    summary.activationMode = {stimulationProtocolName(settings.protocol),
                              QString::number(settings.minIntervalMs / 60000.0),
                              QString::number(settings.sleepDurationSec),
                              QString::number(settings.maxIntervalMs / 60000.0),
                              settings.randomInterval ? QStringLiteral("1") : QStringLiteral("0"),
                              QString::number(settings.activityThreshold)};
    const RandomRange& range = settings.randomRange;
    summary.randomizationRange = {hertz(range.frequencyMin),  hertz(range.frequencyMax),
                                  volts(range.amplitudeMin),  volts(range.amplitudeMax),
                                  seconds(range.durationMin), seconds(range.durationMax)};
    summary.schedule = slotsOf(settings.schedule);
    const unsigned stimulated = (unsigned{settings.cageEnableMask} | settings.extTriggerMask) &
                                reachableCages(summary.channelCount, hasOutputs);
    for (std::size_t cage = 0; cage < summary.stimCages.size(); ++cage)
        summary.stimCages[cage] = cage < MaxStimulationChannels && ((stimulated >> cage) & 1U) != 0;
    summary.cageParameters.clear();
    for (const CageSettings& cage : settings.cages) {
        ConfigSummary::Cage row;
        row.present = true;
        if (!cage.randomFrequency)
            row.frequency = hertz(cage.frequency);
        if (!cage.randomAmplitude)
            row.amplitudeVolts = volts(cage.amplitude);
        if (!cage.randomDuration)
            row.durationSeconds = seconds(cage.duration);
        summary.cageParameters.push_back(row);
    }
}

void describeOutputs(ConfigSummary& summary, const DioSettings& settings)
{
    summary.activationMode = {stimulationProtocolName(settings.openLoop ? StimulationProtocol::OpenLoop
                                                                        : StimulationProtocol::SleepBased),
                              QString::number(settings.stimIntervalMin),
                              QString::number(settings.sleepDurationSec)};
    summary.schedule = slotsOf(settings.schedule);
    std::fill_n(summary.stimCages.begin(),
                std::clamp(summary.channelCount, 0, static_cast<int>(summary.stimCages.size())), true);
}

} // namespace

void describeStimulation(ConfigSummary& summary, StimulationSource source, const VexioSettings& vexio,
                         const DioSettings& dio)
{
    summary.stimCages.assign(
        static_cast<std::size_t>(std::max(summary.channelCount, VexioSettings::CageCount)), false);
    if (source == StimulationSource::Unit)
        describeUnit(summary, vexio, dio.enabled);
    else if (source == StimulationSource::Outputs)
        describeOutputs(summary, dio);
}

} // namespace vt
