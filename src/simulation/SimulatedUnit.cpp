// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/SimulatedUnit.h"

#include "simulation/AnimalSource.h"
#include "simulation/FilePlayback.h"
#include "simulation/SimulatedUnitPrivate.h"

#include <QDebug>
#include <algorithm>

namespace vt {

namespace {

AnalogInput::Pacing pacingOf(SimulatedUnit::Clock clock)
{
    switch (clock) {
    case SimulatedUnit::Clock::RealTime:
        return AnalogInput::Pacing::RealTime;
    case SimulatedUnit::Clock::AsReady:
        return AnalogInput::Pacing::AsReady;
    case SimulatedUnit::Clock::Manual:
        break;
    }
    return AnalogInput::Pacing::Manual;
}

McuIdentity identityOf(const SimulatedUnit::Config& config)
{
    McuIdentity identity;
    identity.animalType = config.animalType;
    identity.sensorCount = config.channels;
    identity.gain = config.gain;
    return identity;
}

DigitalLines::Setup linesOf(const SimulatedUnit::Config& config)
{
    constexpr std::uint32_t VexioSerialBase = 5'000'000;
    DigitalLines::Setup setup;
    setup.registers = makeMcuRegisterFile(identityOf(config));
    setup.channels = config.channels;
    setup.vexioPresent = config.vexioPresent;
    setup.dioPresent = config.dioPresent;
    setup.vexioSerial = VexioSerialBase + config.serial;
    return setup;
}

QString checkConfig(const SimulatedUnit::Config& config)
{
    if (config.channels < 1 || config.channels > 16)
        return QStringLiteral("A simulated unit has 1 to 16 channels, not %1").arg(config.channels);
    if (config.deviceName.isEmpty())
        return QStringLiteral("A simulated unit needs a device name");
    if (config.clock == SimulatedUnit::Clock::RealTime && !(config.speed > 0.0))
        return QStringLiteral("The speed of the simulated unit must be above 0, not %1").arg(config.speed);
    return {};
}

std::unique_ptr<AnalogSource> makeSource(const SimulatedUnit::Config& config, QString* error)
{
    if (error->isEmpty() && !config.playbackFile.isEmpty())
        if (auto playback = FilePlayback::open(config.playbackFile, config.channels, error))
            return playback;
    const double offsetVolts = config.gain == 0 ? 2.5 : 0.0;
    return std::make_unique<AnimalSource>(std::clamp(config.channels, 1, 16), config.animalType, config.seed,
                                          offsetVolts);
}

} // namespace

UnitClock SimulatedUnit::Private::deviceClock()
{
    constexpr std::uint64_t FramesPerSecond = 30;
    if (config.clockUs)
        return config.clockUs;
    if (config.clock == Clock::Manual)
        return [this] {
            return static_cast<std::int64_t>(analog->blocksDelivered() * 1'000'000 / FramesPerSecond);
        };
    const double speed = std::max(config.speed, 1.0);
    return [this, speed, startUs = time.monotonicUs()] {
        return static_cast<std::int64_t>(static_cast<double>(time.monotonicUs() - startUs) * speed);
    };
}

SimulatedUnit::Private::Private(const Config& unitConfig)
    : config(unitConfig), deviceName(unitConfig.deviceName.toStdString()),
      configurationError(checkConfig(unitConfig)), digital(linesOf(unitConfig), deviceClock()),
      serial(unitConfig.serial)
{
    auto source = makeSource(config, &configurationError);
    present = configurationError.isEmpty();
    analog = std::make_unique<AnalogInput>(present ? pacingOf(config.clock) : AnalogInput::Pacing::Manual,
                                           config.speed, std::move(source));
}

SimulatedUnit::Private::~Private()
{
    controlFile.reset();
    analog->shutDown(); // a callback under way may still call in
}

SimulatedUnit::SimulatedUnit(const Config& config) : d(std::make_unique<Private>(config))
{
    if (config.faultControlFile.isEmpty() || !d->configurationError.isEmpty())
        return;
    d->controlFile = std::make_unique<FaultControlFile>(config.faultControlFile, [this](const QString& line) {
        QString error;
        if (!applyFaultCommand(line, &error))
            qWarning().noquote() << "SimulatedUnit: fault control file:" << error;
        else
            qInfo().noquote() << "SimulatedUnit: fault control file:" << line.simplified();
    });
}

SimulatedUnit::~SimulatedUnit() = default;

QString SimulatedUnit::deviceName() const
{
    return d->config.deviceName;
}

QString SimulatedUnit::configurationError() const
{
    return d->configurationError;
}

void SimulatedUnit::setReadyForMore(std::function<bool()> ready)
{
    d->analog->setReadyForMore(std::move(ready));
}

int SimulatedUnit::advanceFrames(int n)
{
    return d->config.clock == Clock::Manual ? d->analog->advance(n) : 0;
}

std::uint64_t SimulatedUnit::framesDelivered() const
{
    return d->analog->blocksDelivered();
}

int SimulatedUnit::openTaskCount() const
{
    MutexLock lock(d->mutex);
    return static_cast<int>(d->tasks.size());
}

int SimulatedUnit::deadHandleCalls() const
{
    MutexLock lock(d->mutex);
    return d->deadHandleCalls;
}

bool SimulatedUnit::isAsleep(int channel, std::uint64_t sample) const
{
    return d->analog->isAsleep(channel, sample);
}

std::vector<DeviceEvent> SimulatedUnit::deviceEvents() const
{
    return d->digital.events();
}

void SimulatedUnit::clearDeviceEvents()
{
    d->digital.clearEvents();
}

void SimulatedUnit::recordCalls(bool enabled)
{
    MutexLock lock(d->mutex);
    d->recording = enabled;
}

std::vector<QString> SimulatedUnit::recordedCalls() const
{
    MutexLock lock(d->mutex);
    std::vector<QString> names;
    names.reserve(d->recorded.size());
    for (const char* name : d->recorded)
        names.push_back(QString::fromLatin1(name));
    return names;
}

} // namespace vt
