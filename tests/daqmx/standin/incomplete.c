// SPDX-License-Identifier: GPL-3.0-or-later
// A library under the driver's name that lacks most of its functions.
#include <stdint.h>

#define STANDIN_EXPORT __attribute__((visibility("default")))
#define PRESENT(name)                                                                                        \
    STANDIN_EXPORT int32_t name(void)                                                                        \
    {                                                                                                        \
        return 0;                                                                                            \
    }

PRESENT(DAQmxCreateTask)
PRESENT(DAQmxStartTask)
PRESENT(DAQmxStopTask)
PRESENT(DAQmxClearTask)
PRESENT(DAQmxIsTaskDone)
PRESENT(DAQmxCreateAIVoltageChan)
PRESENT(DAQmxCfgSampClkTiming)
PRESENT(DAQmxRegisterEveryNSamplesEvent)
PRESENT(DAQmxReadAnalogF64)
PRESENT(DAQmxCreateDIChan)
PRESENT(DAQmxCreateDOChan)
PRESENT(DAQmxWriteDigitalU32)
PRESENT(DAQmxGetSysDevNames)
PRESENT(DAQmxGetDevProductType)
#ifdef ALL_REQUIRED
PRESENT(DAQmxReadDigitalU32)
PRESENT(DAQmxReadDigitalLines)
PRESENT(DAQmxGetDevSerialNum)
PRESENT(DAQmxResetDevice)
PRESENT(DAQmxGetErrorString)
PRESENT(DAQmxGetExtendedErrorInfo)
#endif
