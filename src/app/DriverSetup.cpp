// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/DriverSetup.h"

#include "app/DriverMux.h"
#include "daqmx/DaqmxLibrary.h"
#include "session/AmplifierPort.h"
#include "simulation/SimulatedUnit.h"

#include <array>

namespace vt {

namespace {

/// What both units get from the command line, and what makes them two.
SimulatedUnit::Config unitConfig(const CommandLine& line, QLatin1String name)
{
    SimulatedUnit::Config config;
    config.deviceName = name;
    config.seed = line.simulateSeed;
    if (name == QLatin1String(DriverSetup::Simulated16Name)) {
        constexpr std::uint32_t Serial = 20016;
        constexpr std::uint64_t OtherAnimals = 1000;
        config.serial = Serial;
        config.channels = 16;
        config.seed += OtherAnimals;
    } else {
        config.playbackFile = line.simulateFile;
    }
    if (line.animalType > 0)
        config.animalType = line.animalType;
    config.speed = line.simulateSpeed;
    config.clock = line.simulateSpeed > 1.0 ? SimulatedUnit::Clock::AsReady : SimulatedUnit::Clock::RealTime;
    return config;
}

} // namespace

DriverSetup::DriverSetup(const CommandLine& line)
{
    QString libraryError;
    m_real = DaqmxLibrary::load(line.nidaqmxLibrary, &libraryError);
    if (!m_real && !line.nidaqmxLibrary.isEmpty()) {
        m_error = libraryError;
        return;
    }
    makeSimulatedUnits(line);
    std::vector<DriverMux::Side> sides;
    for (const auto& unit : m_simulated)
        sides.push_back({unit->deviceName().toStdString(), unit.get()});
    if (!m_real && !sides.empty())
        sides.erase(sides.begin());
    if (!sides.empty())
        m_mux = std::make_unique<DriverMux>(m_real ? *m_real : *m_simulated.front(), std::move(sides));
}

DriverSetup::~DriverSetup() = default;

bool DriverSetup::realUnitPresent() const
{
    if (!m_real)
        return false;
    std::array<char, 1024> names{};
    return m_real->DAQmxGetSysDevNames(names.data(), static_cast<std::uint32_t>(names.size())) >= 0 &&
           names[0] != '\0';
}

void DriverSetup::makeSimulatedUnits(const CommandLine& line)
{
    const bool small = line.device == QLatin1String(SimulatedName);
    const bool large = line.device == QLatin1String(Simulated16Name);
    const bool amplifier = line.device.startsWith(amplifierPrefix());
    std::vector<SimulatedUnit::Config> configs;
    if (line.simulate || small || (!large && !realUnitPresent()))
        configs.push_back(unitConfig(line, QLatin1String(SimulatedName)));
    if (line.simulate || large)
        configs.push_back(unitConfig(line, QLatin1String(Simulated16Name)));
    for (SimulatedUnit::Config& config : configs) {
        const bool chosen = !amplifier && large == (config.deviceName == QLatin1String(Simulated16Name));
        if (chosen && line.channels > 0)
            config.channels = line.channels;
        if (chosen)
            config.faultControlFile = line.simulateFaults;
        m_simulated.push_back(std::make_unique<SimulatedUnit>(config));
        if (m_error.isEmpty())
            m_error = m_simulated.back()->configurationError();
    }
}

DaqmxApi& DriverSetup::driver()
{
    if (m_mux)
        return *m_mux;
    return m_real ? *m_real : *m_simulated.front();
}

void DriverSetup::setReadyForMore(const std::function<bool()>& ready)
{
    for (const auto& unit : m_simulated)
        unit->setReadyForMore(ready);
}

} // namespace vt
