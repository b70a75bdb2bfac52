// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QTime>
#include <QtGlobal>
#include <array>
#include <vector>

/// How a recording stimulates: plain values, as the user sets them and the setup file keeps them.
namespace vt {

enum class StimulationProtocol { SleepBased = 0, ActivityBased = 1, ManualTrigger = 2, OpenLoop = 3 };

/// A daily window in which cages may be stimulated. With startTime after endTime it runs across midnight.
struct StimulationWindow
{
    QTime startTime;
    QTime endTime;
    std::array<bool, 7> days{}; ///< Monday first
    bool operator==(const StimulationWindow&) const = default;
};

/// Waveform of one cage of the stimulation unit, in register values: frequency 14 r + 43 Hz,
/// amplitude 0.039322 r V, duration 0.5 r s, waveShape 0 sine, 1 square, 2 single pulse.
struct CageSettings
{
    quint8 frequency = 0;
    quint8 amplitude = 0;
    quint8 duration = 0;
    quint8 waveShape = 0;
    bool randomFrequency = false;
    bool randomAmplitude = false;
    bool randomDuration = false;
    bool operator==(const CageSettings&) const = default;
};

/// Bounds of randomised cage values, in register values.
struct RandomRange
{
    quint8 frequencyMin = 0;
    quint8 frequencyMax = 255;
    quint8 amplitudeMin = 0;
    quint8 amplitudeMax = 255;
    quint8 durationMin = 0;
    quint8 durationMax = 255;
    bool operator==(const RandomRange&) const = default;
};

/// Settings of the stimulation unit.
struct VexioSettings
{
    static constexpr int CageCount = 8;
    bool enabled = false;
    StimulationProtocol protocol = StimulationProtocol::ManualTrigger;
    int minIntervalMs = 60000;
    int maxIntervalMs = 120000;
    bool randomInterval = false;
    int sleepDurationSec = 2;
    double activityThreshold = 0.0;
    quint16 cageEnableMask = 0; ///< bit i: cage i + 1
    quint16 extTriggerMask = 0;
    std::vector<StimulationWindow> schedule; ///< empty: at any time
    std::array<CageSettings, CageCount> cages{};
    RandomRange randomRange;
    bool operator==(const VexioSettings&) const = default;
};

/// Settings of the port expanders' outputs.
struct DioSettings
{
    bool enabled = false;
    bool openLoop = false;
    double stimIntervalMin = 1.0;
    int sleepDurationSec = 2;
    std::vector<StimulationWindow> schedule;
    bool operator==(const DioSettings&) const = default;
};

} // namespace vt
