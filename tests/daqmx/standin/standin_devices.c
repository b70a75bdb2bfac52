// SPDX-License-Identifier: GPL-3.0-or-later
#include "standin.h"

#include <stdio.h>
#include <string.h>

/// Begins a call about a device; the lock is held afterwards.
static int32 begin(const char* function, const char* device)
{
    pthread_mutex_lock(&standinLock);
    const int32 status = standinBook(function);
    if (status < 0)
        return status;
    if (standinIsUnplugged() || strcmp(device, standinUnit.device) != 0)
        return standinError(function, ErrorInvalidDevice);
    return 0;
}

static int32 end(int32 status)
{
    pthread_mutex_unlock(&standinLock);
    return status;
}

STANDIN_EXPORT int32 DAQmxGetSysDevNames(char* data, uInt32 bufferSize)
{
    pthread_mutex_lock(&standinLock);
    const int32 status = standinBook(__func__);
    const char* names = standinIsUnplugged() ? "" : standinUnit.device;
    if (status == 0 && (size_t)snprintf(data, bufferSize, "%s", names) >= bufferSize)
        return end(standinError(__func__, ErrorBufferTooSmall));
    return end(status);
}

STANDIN_EXPORT int32 DAQmxGetDevProductType(const char device[], char* data, uInt32 bufferSize)
{
    const int32 status = begin(__func__, device);
    if (status == 0)
        snprintf(data, bufferSize, "Stand-in %d", standinUnit.channels);
    return end(status);
}

STANDIN_EXPORT int32 DAQmxGetDevSerialNum(const char device[], uInt32* data)
{
    const int32 status = begin(__func__, device);
    if (status == 0)
        *data = standinSerial();
    return end(status);
}

STANDIN_EXPORT int32 DAQmxGetDevIsSimulated(const char device[], bool32* data)
{
    const int32 status = begin(__func__, device);
    if (status == 0)
        *data = 0;
    return end(status);
}

STANDIN_EXPORT int32 DAQmxGetDevAIPhysicalChans(const char device[], char* data, uInt32 bufferSize)
{
    const int32 status = begin(__func__, device);
    size_t length = 0;
    for (int i = 0; status == 0 && i < standinUnit.channels; ++i) {
        length += (size_t)snprintf(data + length, bufferSize - length, "%s%s/ai%d", i == 0 ? "" : ", ",
                                   standinUnit.device, i);
        if (length >= bufferSize)
            return end(standinError(__func__, ErrorBufferTooSmall));
    }
    return end(status);
}

STANDIN_EXPORT int32 DAQmxResetDevice(const char device[])
{
    const int32 status = begin(__func__, device);
    if (status == 0)
        standinBusReset();
    return end(status);
}
