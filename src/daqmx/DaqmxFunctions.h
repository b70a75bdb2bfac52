// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"

namespace vt {

// The C prototypes as the driver publishes them: X(name, parameter types...). All return a 32-bit status and
// use the C calling convention.
#define VT_DAQMX_REQUIRED_FUNCTIONS(X)                                                                       \
    X(DAQmxCreateTask, const char*, daqmx::TaskHandle*)                                                      \
    X(DAQmxStartTask, daqmx::TaskHandle)                                                                     \
    X(DAQmxStopTask, daqmx::TaskHandle)                                                                      \
    X(DAQmxClearTask, daqmx::TaskHandle)                                                                     \
    X(DAQmxIsTaskDone, daqmx::TaskHandle, daqmx::Bool32*)                                                    \
    X(DAQmxCreateAIVoltageChan, daqmx::TaskHandle, const char*, const char*, std::int32_t, double, double,   \
      std::int32_t, const char*)                                                                             \
    X(DAQmxCfgSampClkTiming, daqmx::TaskHandle, const char*, double, std::int32_t, std::int32_t,             \
      std::uint64_t)                                                                                         \
    X(DAQmxRegisterEveryNSamplesEvent, daqmx::TaskHandle, std::int32_t, std::uint32_t, std::uint32_t,        \
      daqmx::EveryNSamplesCallback, void*)                                                                   \
    X(DAQmxReadAnalogF64, daqmx::TaskHandle, std::int32_t, double, daqmx::Bool32, double*, std::uint32_t,    \
      std::int32_t*, daqmx::Bool32*)                                                                         \
    X(DAQmxCreateDIChan, daqmx::TaskHandle, const char*, const char*, std::int32_t)                          \
    X(DAQmxCreateDOChan, daqmx::TaskHandle, const char*, const char*, std::int32_t)                          \
    X(DAQmxReadDigitalU32, daqmx::TaskHandle, std::int32_t, double, daqmx::Bool32, std::uint32_t*,           \
      std::uint32_t, std::int32_t*, daqmx::Bool32*)                                                          \
    X(DAQmxReadDigitalLines, daqmx::TaskHandle, std::int32_t, double, daqmx::Bool32, std::uint8_t*,          \
      std::uint32_t, std::int32_t*, std::int32_t*, daqmx::Bool32*)                                           \
    X(DAQmxWriteDigitalU32, daqmx::TaskHandle, std::int32_t, daqmx::Bool32, double, daqmx::Bool32,           \
      const std::uint32_t*, std::int32_t*, daqmx::Bool32*)                                                   \
    X(DAQmxGetSysDevNames, char*, std::uint32_t)                                                             \
    X(DAQmxGetDevProductType, const char*, char*, std::uint32_t)                                             \
    X(DAQmxGetDevSerialNum, const char*, std::uint32_t*)                                                     \
    X(DAQmxResetDevice, const char*)                                                                         \
    X(DAQmxGetErrorString, std::int32_t, char*, std::uint32_t)                                               \
    X(DAQmxGetExtendedErrorInfo, char*, std::uint32_t)

#define VT_DAQMX_OPTIONAL_FUNCTIONS(X)                                                                       \
    X(DAQmxGetDevIsSimulated, const char*, daqmx::Bool32*)                                                   \
    X(DAQmxGetDevAIPhysicalChans, const char*, char*, std::uint32_t)

/// One pointer per C function; null when the library does not have it.
struct DaqmxFunctions
{
#define VT_DECLARE(name, ...) std::int32_t(VT_DAQMX_CALL* name)(__VA_ARGS__) = nullptr;
    VT_DAQMX_REQUIRED_FUNCTIONS(VT_DECLARE)
    VT_DAQMX_OPTIONAL_FUNCTIONS(VT_DECLARE)
#undef VT_DECLARE
};

} // namespace vt
