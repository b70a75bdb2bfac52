// SPDX-License-Identifier: GPL-3.0-or-later
// What goes wrong with the simulated unit, on demand.
#include "simulation/DriverErrors.h"
#include "simulation/SimulatedUnit.h"
#include "simulation/SimulatedUnitPrivate.h"

#include <algorithm>
#include <chrono>

namespace vt {

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
        digital.powerUp();
    present = true;
}

void SimulatedUnit::unplug()
{
    MutexLock lock(d->mutex);
    d->present = false;
    d->loseTasks(drivererror::DeviceGone);
    d->digital.powerDown();
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

void SimulatedUnit::slowLineCalls(int milliseconds)
{
    d->lineCallMs = std::max(milliseconds, 0);
}

void SimulatedUnit::Private::takeLineCallTime()
{
    const int milliseconds = lineCallMs;
    if (milliseconds == 0)
        return;
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    MutexLock lock(idleMutex);
    while (std::chrono::steady_clock::now() < until)
        never.wait_until(idleMutex, until);
}

void SimulatedUnit::setMcuRegister(std::uint8_t address, std::uint8_t value)
{
    d->digital.onMcu([=](McuModel& mcu) { mcu.setRegisterValue(address, value); });
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

// ---- the fault language ----

void SimulatedUnit::Private::applyToBus(const FaultCommand& command)
{
    using Kind = FaultCommand::Kind;
    const auto bus = static_cast<DigitalLines::Bus>(command.value);
    const auto number = static_cast<int>(command.number);
    command.kind == Kind::NakByte ? digital.nakAtByte(bus, number) : digital.holdSdaLow(bus, number);
}

void SimulatedUnit::Private::applyToMcu(const FaultCommand& command)
{
    using Kind = FaultCommand::Kind;
    digital.onMcu([&](McuModel& mcu) {
        if (command.kind == Kind::SetRegister)
            mcu.setRegisterValue(static_cast<std::uint8_t>(command.number), command.value);
        else if (command.kind == Kind::Button)
            mcu.pressButton();
        else if (command.kind == Kind::Sensors)
            mcu.setSensorCount(static_cast<std::uint8_t>(command.number));
        else
            mcu.setShortedSensors(static_cast<std::uint16_t>(command.number));
    });
}

void SimulatedUnit::Private::applyToVexio(const FaultCommand& command)
{
    using Kind = FaultCommand::Kind;
    digital.onVexio([&](VexioModel& vexio) {
        if (command.kind == Kind::VexioSupply)
            vexio.setSupplyPresent(command.on);
        else if (command.kind == Kind::VexioOverTemperature)
            vexio.setOverTemperature(command.on);
        else if (command.kind == Kind::VexioBrownOut)
            vexio.brownOut();
        else
            vexio.setSpeaker(static_cast<int>(command.number) - 1,
                             static_cast<VexioModel::Speaker>(command.value));
    });
}

/// False: the command is not one for the devices on the lines.
bool SimulatedUnit::Private::applyToLines(const FaultCommand& command)
{
    using Kind = FaultCommand::Kind;
    switch (command.kind) {
    case Kind::BusNak:
        digital.setMcuNak(command.on);
        return true;
    case Kind::NakByte:
    case Kind::HoldSda:
        applyToBus(command);
        return true;
    case Kind::SetRegister:
    case Kind::Button:
    case Kind::Sensors:
    case Kind::Shorted:
        applyToMcu(command);
        return true;
    case Kind::VexioSupply:
    case Kind::VexioOverTemperature:
    case Kind::VexioBrownOut:
    case Kind::VexioSpeaker:
        applyToVexio(command);
        return true;
    case Kind::VexioPresence:
        digital.setVexioPresent(command.on);
        return true;
    case Kind::DioPresence:
        digital.setDioPresent(command.on);
        return true;
    case Kind::DioInput:
        digital.setDioInput(static_cast<int>(command.number), command.on);
        return true;
    default:
        return false;
    }
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
    if (d->applyToLines(*command))
        return true;
    const auto number = static_cast<int>(std::min<std::uint64_t>(command->number, INT32_MAX));
    switch (command->kind) {
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
    case Kind::SlowLines:
        slowLineCalls(number);
        break;
    case Kind::FailCall:
        failCall(command->number, command->code, command->on);
        break;
    default:
        break;
    }
    return true;
}

} // namespace vt
