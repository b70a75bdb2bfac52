// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/AmplifierFaults.h"

#include "simulation/FaultCommand.h"
#include "simulation/SimulatedAmplifier.h"

#include <QDebug>
#include <limits>

namespace vt {

namespace {

void applyLine(SimulatedAmplifier& amplifier, const QString& line)
{
    QString error;
    const auto command = parseFaultCommand(line, &error);
    if (!command) {
        qWarning().noquote() << "SimulatedAmplifier: fault command" << line << "not understood:" << error;
        return;
    }
    switch (command->kind) {
    case FaultCommand::Kind::None:
        return;
    case FaultCommand::Kind::Unplug:
        amplifier.disappear();
        break;
    case FaultCommand::Kind::Replug:
        if (command->number != 0)
            amplifier.setIdentity(QStringLiteral("Strivix %1").arg(command->number));
        if (!amplifier.comeBack())
            qWarning().noquote() << "SimulatedAmplifier: not plugged in:" << amplifier.errorText();
        break;
    case FaultCommand::Kind::Stall:
        amplifier.stall(command->on ? std::numeric_limits<int>::max() : 0);
        break;
    default:
        qWarning().noquote() << "SimulatedAmplifier: fault command" << line << "is not for an amplifier";
        return;
    }
    qInfo().noquote() << "SimulatedAmplifier: fault command" << line;
}

} // namespace

AmplifierFaults::AmplifierFaults(SimulatedAmplifier& amplifier, const QString& path)
    : m_file(path, [&amplifier](const QString& line) { applyLine(amplifier, line); })
{}

} // namespace vt
