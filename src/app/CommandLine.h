// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "envsens/SerialPortList.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace vt {

/// What the command line asks for.
struct CommandLine
{
    enum class Action { Run, ListDevices, ShowHelp, ShowVersion, Invalid };
    Action action = Action::Run;
    QString message; ///< help or version text, or what is wrong with the arguments

    bool headless = false;
    bool simulate = false;
    QString simulateFile;
    double simulateSpeed = 1.0;
    QString simulateFaults; ///< control file of the simulated unit
    quint64 simulateSeed = 1;
    QString device;
    int channels = 0;   ///< 0: not given
    int animalType = 0; ///< 0: not given
    QString output;
    QStringList animalIds;
    double durationSeconds = 0.0; ///< 0: until stopped
    bool activityOnly = false;
    bool bandpass = false;
    QString nidaqmxLibrary;
    QString setupFile; ///< setup file to apply once the device is known; whether it exists is not looked at
    bool clearSettings = false;
    QList<SerialPortFacts> extraSerialPorts; ///< beside those that the system lists

    [[nodiscard]] quint64 frameLimit() const;
};

/// arguments: without the program's name. Never exits and prints nothing.
[[nodiscard]] CommandLine parseCommandLine(const QStringList& arguments);

} // namespace vt
