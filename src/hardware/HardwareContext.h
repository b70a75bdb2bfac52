// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TimeSource.h"
#include "daqmx/DaqmxApi.h"

namespace vt {

/// What an object on the hardware thread works with. All three outlive it.
struct HardwareContext
{
    DaqmxApi& driver;
    TimeSource& time;
    QObject* timerContext; ///< lives on the hardware thread; timers fire there
};

} // namespace vt
