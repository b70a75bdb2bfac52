// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/DriverSetup.h"

#include "app/DriverMux.h"
#include "daqmx/DaqmxLibrary.h"
#include "simulation/SimulatedUnit.h"

#include <array>

namespace vt {

DriverSetup::DriverSetup(const CommandLine& line)
{
    QString libraryError;
    m_real = DaqmxLibrary::load(line.nidaqmxLibrary, &libraryError);
    if (!m_real && !line.nidaqmxLibrary.isEmpty()) {
        m_error = libraryError;
        return;
    }
    const bool asked = line.simulate || line.device == QLatin1String(SimulatedName);
    if (asked || !realUnitPresent())
        makeSimulatedUnit(line);
    if (m_real && m_simulated)
        m_mux = std::make_unique<DriverMux>(*m_real, *m_simulated, QLatin1String(SimulatedName));
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

void DriverSetup::makeSimulatedUnit(const CommandLine& line)
{
    SimulatedUnit::Config config;
    config.deviceName = QLatin1String(SimulatedName);
    if (line.channels > 0)
        config.channels = line.channels;
    if (line.animalType > 0)
        config.animalType = line.animalType;
    config.seed = line.simulateSeed;
    config.playbackFile = line.simulateFile;
    config.speed = line.simulateSpeed;
    config.clock = line.simulateSpeed > 1.0 ? SimulatedUnit::Clock::AsReady : SimulatedUnit::Clock::RealTime;
    config.faultControlFile = line.simulateFaults;
    m_simulated = std::make_unique<SimulatedUnit>(config);
    m_error = m_simulated->configurationError();
}

DaqmxApi& DriverSetup::driver()
{
    if (m_mux)
        return *m_mux;
    if (m_simulated)
        return *m_simulated;
    return *m_real;
}

void DriverSetup::setReadyForMore(std::function<bool()> ready)
{
    if (m_simulated)
        m_simulated->setReadyForMore(std::move(ready));
}

} // namespace vt
