// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/SimulatedUnit.h"

#include "simulation/AnimalSource.h"
#include "simulation/DriverErrors.h"
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

SimulatedUnit::Private::Private(const Config& unitConfig)
    : config(unitConfig), deviceName(unitConfig.deviceName.toStdString()),
      registers(makeMcuRegisterFile(identityOf(unitConfig))), configurationError(checkConfig(unitConfig)),
      digital(registers), serial(unitConfig.serial)
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

// Faults

void SimulatedUnit::Private::loseTasks(std::int32_t code)
{
    for (auto& [handle, task] : tasks) {
        if (task.kind == SimulatedTask::Kind::Empty)
            continue;
        task.lostCode = code;
        task.running = false;
    }
    analog->abort();
    digital.release();
}

void SimulatedUnit::Private::setPresent(std::uint32_t serialNumber)
{
    MutexLock lock(mutex);
    if (!configurationError.isEmpty())
        return;
    serial = serialNumber;
    if (!present)
        digital.powerUp(registers);
    present = true;
}

void SimulatedUnit::unplug()
{
    MutexLock lock(d->mutex);
    d->present = false;
    d->loseTasks(drivererror::DeviceGone);
}

void SimulatedUnit::replug()
{
    d->setPresent(d->config.serial);
}

void SimulatedUnit::replugAs(std::uint32_t serial)
{
    d->setPresent(serial);
}

void SimulatedUnit::setBusNak(bool nak)
{
    d->digital.setMcuNak(nak);
}

void SimulatedUnit::failReads(std::int32_t code, int count)
{
    d->analog->failReads(code, code == 0 ? 0 : count);
}

void SimulatedUnit::stallCallbacks(bool stalled)
{
    d->analog->setStalled(stalled);
}

void SimulatedUnit::delayCallbacks(int milliseconds)
{
    d->analog->setCallbackDelayMs(milliseconds);
}

void SimulatedUnit::hangNextRead(int milliseconds)
{
    d->analog->hangNextRead(milliseconds);
}

void SimulatedUnit::setMcuRegister(std::uint8_t address, std::uint8_t value)
{
    d->digital.setMcuRegister(address, value);
}

void SimulatedUnit::failCall(std::uint64_t n, std::int32_t code, bool forEver)
{
    MutexLock lock(d->mutex);
    d->callFailAt = d->calls + n;
    d->callFailCode = code;
    d->callFailForEver = forEver;
}

std::uint64_t SimulatedUnit::callCount() const
{
    MutexLock lock(d->mutex);
    return d->calls;
}

bool SimulatedUnit::applyFaultCommand(const QString& line, QString* error)
{
    using Kind = FaultCommand::Kind;
    QString problem;
    const std::optional<FaultCommand> command = parseFaultCommand(line, &problem);
    if (!command) {
        if (error)
            *error = problem;
        return false;
    }
    const auto number = static_cast<int>(std::min<std::uint64_t>(command->number, INT32_MAX));
    switch (command->kind) {
    case Kind::None:
        break;
    case Kind::Unplug:
        unplug();
        break;
    case Kind::Replug:
        command->number == 0 ? replug() : replugAs(static_cast<std::uint32_t>(command->number));
        break;
    case Kind::ReadError:
        failReads(command->code, command->on ? -1 : number);
        break;
    case Kind::Stall:
        stallCallbacks(command->on);
        break;
    case Kind::Delay:
        delayCallbacks(number);
        break;
    case Kind::Hang:
        hangNextRead(number);
        break;
    case Kind::BusNak:
        setBusNak(command->on);
        break;
    case Kind::FailCall:
        failCall(command->number, command->code, command->on);
        break;
    case Kind::SetRegister:
        setMcuRegister(static_cast<std::uint8_t>(command->number), command->value);
        break;
    }
    return true;
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
