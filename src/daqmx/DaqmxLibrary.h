// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"

#include <QString>
#include <QStringList>
#include <memory>

namespace vt {

/// The NI-DAQmx library, loaded at run time and never linked, so that a machine without it still runs the
/// program. Once loaded it stays until the process ends: the driver keeps threads of its own.
class DaqmxLibrary
{
public:
    /// Loads the library at the given path or, for an empty path, the first of defaultNames() that is there.
    /// Interface thread. Empty when nothing could be loaded:
    ///  - no path given and no library on this machine: one log line, *error stays empty;
    ///  - a given path that cannot be loaded, or a library without a function that the program needs:
    ///    *error says which, also logged.
    /// DAQmxGetDevIsSimulated and DAQmxGetDevAIPhysicalChans may be missing: devices then count as real and
    /// tell no channels.
    [[nodiscard]] static std::unique_ptr<DaqmxApi> load(const QString& explicitPathOrEmpty, QString* error);

    /// File names by which the driver's library goes, most specific first.
    /// kernelType as QSysInfo::kernelType() gives it.
    [[nodiscard]] static QStringList defaultNames(const QString& kernelType);
};

} // namespace vt
