// SPDX-License-Identifier: GPL-3.0-or-later
#include "standin.h"

#include <math.h>
#include <stdio.h>
#include <string.h>

enum { MaxTasks = 64 };

static StandinTask tasks[MaxTasks];
static uintptr_t lastId;

StandinTask* standinFindTask(TaskHandle handle)
{
    for (int i = 0; i < MaxTasks; ++i)
        if (handle && tasks[i].id == (uintptr_t)handle)
            return &tasks[i];
    standinCount("dead_handle_calls");
    return NULL;
}

/// Begins a call about a task; the lock is held afterwards. Clearing and stopping work without the device.
static int32 begin(const char* function, TaskHandle handle, StandinTask** task)
{
    pthread_mutex_lock(&standinLock);
    const int32 status = standinBook(function);
    *task = standinFindTask(handle);
    if (!*task)
        return standinError(function, ErrorInvalidTask);
    return status;
}

/// The same for a call without further arguments, which is noted.
static int32 beginNoted(const char* function, TaskHandle handle, StandinTask** task)
{
    const int32 status = begin(function, handle, task);
    standinNote(handle, "%s", function);
    return status;
}

static int32 end(int32 status)
{
    pthread_mutex_unlock(&standinLock);
    return status;
}

static bool isOwnDevice(const char* lines)
{
    const size_t length = strlen(standinUnit.device);
    return strncmp(lines, standinUnit.device, length) == 0 && lines[length] == '/';
}

static int32 addLines(const char* function, TaskHandle handle, const char* lines, TaskKind kind)
{
    StandinTask* task;
    int32 status = begin(function, handle, &task);
    standinNote(handle, "%s %s", function, lines);
    if (status == 0 && (standinIsUnplugged() || !isOwnDevice(lines)))
        status = standinError(function, ErrorInvalidDevice);
    if (status == 0) {
        task->kind = kind;
        snprintf(task->lines, sizeof task->lines, "%s", lines);
    }
    return end(status);
}

// ---- life of a task ----

STANDIN_EXPORT int32 DAQmxCreateTask(const char taskName[], TaskHandle* handle)
{
    pthread_mutex_lock(&standinLock);
    const int32 status = standinBook(__func__);
    standinNote(status < 0 ? NULL : (TaskHandle)(lastId + 1), "%s \"%s\"", __func__, taskName);
    if (status < 0)
        return end(status);
    for (int i = 0; i < MaxTasks; ++i) {
        if (tasks[i].id != 0)
            continue;
        memset(&tasks[i], 0, sizeof tasks[i]);
        tasks[i].id = ++lastId;
        *handle = (TaskHandle)tasks[i].id;
        standinCount("tasks_created");
        return end(0);
    }
    standinCount("tasks_exhausted");
    return end(standinError(__func__, ErrorInvalidValue));
}

/// Makes the callbacks at the pace of the sample clock. A unit that goes away calls back once more.
static void* acquire(void* argument)
{
    const TaskHandle handle = argument;
    pthread_mutex_lock(&standinLock);
    StandinTask* task = standinFindTask(handle);
    const double period = task->callbackSamples / task->rate / standinUnit.speed;
    double next = standinNowSeconds();
    bool isGone = false;
    while (!task->isStopping) {
        next += period;
        while (!task->isStopping && standinWaitUntil(next)) {
        }
        if (task->isStopping || isGone || standinIsStalled())
            continue;
        isGone = standinIsUnplugged();
        if (!isGone)
            task->samplesAcquired += task->callbackSamples;
        standinCount("callbacks");
        pthread_mutex_unlock(&standinLock);
        task->callback(handle, 1, task->callbackSamples, task->callbackData);
        pthread_mutex_lock(&standinLock);
    }
    pthread_mutex_unlock(&standinLock);
    return NULL;
}

STANDIN_EXPORT int32 DAQmxStartTask(TaskHandle handle)
{
    StandinTask* task;
    int32 status = beginNoted(__func__, handle, &task);
    if (status == 0 && standinIsUnplugged())
        status = standinError(__func__, ErrorDeviceGone);
    if (status < 0 || task->isStarted)
        return end(status);
    task->isStarted = true;
    task->isStopping = false;
    task->samplesAcquired = task->samplesRead = 0;
    if (task->kind == TaskAnalogInput && task->callback)
        task->isThreadRunning = pthread_create(&task->thread, NULL, acquire, handle) == 0;
    return end(0);
}

/// Waits for the callback to return, as the real driver does. The lock is released meanwhile.
static int32 halt(const char* function, StandinTask* task)
{
    if (!task->isThreadRunning) {
        task->isStarted = false;
        return 0;
    }
    if (pthread_equal(pthread_self(), task->thread)) {
        standinCount("stops_inside_callback");
        return standinError(function, ErrorStopInsideCallback);
    }
    const pthread_t thread = task->thread;
    task->isThreadRunning = false;
    task->isStopping = true;
    pthread_cond_broadcast(&standinChanged);
    pthread_mutex_unlock(&standinLock);
    pthread_join(thread, NULL);
    pthread_mutex_lock(&standinLock);
    task->isStarted = false;
    return 0;
}

STANDIN_EXPORT int32 DAQmxStopTask(TaskHandle handle)
{
    StandinTask* task;
    int32 status = beginNoted(__func__, handle, &task);
    if (status == 0)
        status = halt(__func__, task);
    return end(status);
}

/// Frees the task also when it is asked to fail: a handle that was cleared is dead either way.
STANDIN_EXPORT int32 DAQmxClearTask(TaskHandle handle)
{
    StandinTask* task;
    int32 status = beginNoted(__func__, handle, &task);
    if (!task)
        return end(status);
    const int32 halted = halt(__func__, task);
    task->id = 0;
    standinCount("tasks_cleared");
    return end(status < 0 ? status : halted);
}

STANDIN_EXPORT int32 DAQmxIsTaskDone(TaskHandle handle, bool32* isTaskDone)
{
    StandinTask* task;
    const int32 status = beginNoted(__func__, handle, &task);
    if (status == 0)
        *isTaskDone = !task->isStarted || standinIsUnplugged();
    return end(status);
}

// ---- analog input ----

STANDIN_EXPORT int32 DAQmxCreateAIVoltageChan(TaskHandle handle, const char physicalChannel[],
                                              const char nameToAssignToChannel[], int32 terminalConfig,
                                              float64 minVal, float64 maxVal, int32 units,
                                              const char customScaleName[])
{
    StandinTask* task;
    int first = 0;
    int last = 0;
    int32 status = begin(__func__, handle, &task);
    standinNote(handle, "%s %s \"%s\" %d %g %g %d %s", __func__, physicalChannel, nameToAssignToChannel,
                terminalConfig, minVal, maxVal, units, customScaleName ? customScaleName : "NULL");
    if (status < 0)
        return end(status);
    if (standinIsUnplugged() || !isOwnDevice(physicalChannel))
        return end(standinError(__func__, ErrorInvalidDevice));
    const char* inputs = strstr(physicalChannel, "/ai");
    const int read = inputs ? sscanf(inputs, "/ai%d:%d", &first, &last) : 0;
    if (read == 1)
        last = first;
    if (read < 1 || first < 0 || last < first || last >= standinUnit.channels || terminalConfig != 10083 ||
        units != 10348 || minVal != -10.0 || maxVal != 10.0)
        return end(standinError(__func__, ErrorInvalidValue));
    task->kind = TaskAnalogInput;
    task->channels = last - first + 1;
    return end(0);
}

STANDIN_EXPORT int32 DAQmxCfgSampClkTiming(TaskHandle handle, const char source[], float64 rate,
                                           int32 activeEdge, int32 sampleMode, uInt64 sampsPerChan)
{
    StandinTask* task;
    int32 status = begin(__func__, handle, &task);
    standinNote(handle, "%s \"%s\" %g %d %d %llu", __func__, source, rate, activeEdge, sampleMode,
                (unsigned long long)sampsPerChan);
    if (status == 0 && (task->kind != TaskAnalogInput || source[0] != '\0' || rate <= 0 ||
                        activeEdge != 10280 || sampleMode != 10123 || sampsPerChan == 0))
        status = standinError(__func__, ErrorInvalidValue);
    if (status == 0)
        task->rate = rate;
    return end(status);
}

STANDIN_EXPORT int32 DAQmxRegisterEveryNSamplesEvent(TaskHandle handle, int32 everyNsamplesEventType,
                                                     uInt32 nSamples, uInt32 options,
                                                     EveryNSamplesCallback callbackFunction,
                                                     void* callbackData)
{
    StandinTask* task;
    int32 status = begin(__func__, handle, &task);
    standinNote(handle, "%s %d %u %u %s", __func__, everyNsamplesEventType, nSamples, options,
                callbackFunction ? "callback" : "NULL");
    if (status == 0 &&
        (task->kind != TaskAnalogInput || everyNsamplesEventType != 1 || nSamples == 0 || options != 0))
        status = standinError(__func__, ErrorInvalidValue);
    if (status == 0) {
        task->callback = callbackFunction;
        task->callbackData = callbackData;
        task->callbackSamples = nSamples;
    }
    return end(status);
}

static double sampleAt(int channel, uint64_t n)
{
    const double turn = 2 * 3.14159265358979323846 * (double)n / 600;
    return (standinUnit.gain == 0 ? 2.5 : 0.0) + 0.8 * sin(turn * (2 + channel / 4.0)) + 0.1 * sin(turn * 37);
}

STANDIN_EXPORT int32 DAQmxReadAnalogF64(TaskHandle handle, int32 numSampsPerChan, float64 timeout,
                                        bool32 fillMode, float64 readArray[], uInt32 arraySizeInSamps,
                                        int32* sampsPerChanRead, bool32* reserved)
{
    (void)reserved;
    StandinTask* task;
    int32 status = begin(__func__, handle, &task);
    standinNote(handle, "%s %d %g %u %u", __func__, numSampsPerChan, timeout, fillMode, arraySizeInSamps);
    *sampsPerChanRead = 0;
    if (status == 0 && standinIsUnplugged())
        status = standinError(__func__, ErrorDeviceGone);
    if (status == 0 && (task->kind != TaskAnalogInput || fillMode != 0 || numSampsPerChan < 1 ||
                        arraySizeInSamps < (uInt32)(numSampsPerChan * task->channels)))
        status = standinError(__func__, ErrorInvalidValue);
    if (status < 0)
        return end(status);
    const double until = standinNowSeconds() + timeout;
    while (task->samplesAcquired < task->samplesRead + (uint64_t)numSampsPerChan)
        if (!standinWaitUntil(until) || task->isStopping)
            return end(standinError(__func__, ErrorTimeout));
    for (int c = 0; c < task->channels; ++c)
        for (int j = 0; j < numSampsPerChan; ++j)
            readArray[c * numSampsPerChan + j] = sampleAt(c, task->samplesRead + (uint64_t)j);
    task->samplesRead += (uint64_t)numSampsPerChan;
    *sampsPerChanRead = numSampsPerChan;
    standinCount("blocks_read");
    return end(0);
}

// ---- digital lines ----

STANDIN_EXPORT int32 DAQmxCreateDIChan(TaskHandle handle, const char lines[],
                                       const char nameToAssignToLines[], int32 lineGrouping)
{
    (void)nameToAssignToLines;
    (void)lineGrouping;
    return addLines(__func__, handle, lines, TaskDigitalInput);
}

STANDIN_EXPORT int32 DAQmxCreateDOChan(TaskHandle handle, const char lines[],
                                       const char nameToAssignToLines[], int32 lineGrouping)
{
    (void)nameToAssignToLines;
    (void)lineGrouping;
    return addLines(__func__, handle, lines, TaskDigitalOutput);
}

static bool usesLines(const StandinTask* task, const char* lines)
{
    return strcmp(task->lines + strlen(standinUnit.device), lines) == 0;
}

/// Begins a transfer on digital lines; the lock is held afterwards.
static int32 beginTransfer(const char* function, TaskHandle handle, TaskKind kind, StandinTask** task)
{
    const int32 status = begin(function, handle, task);
    if (status < 0)
        return status;
    if (standinIsUnplugged())
        return standinError(function, ErrorDeviceGone);
    return (*task)->kind == kind ? 0 : standinError(function, ErrorInvalidValue);
}

STANDIN_EXPORT int32 DAQmxReadDigitalU32(TaskHandle handle, int32 numSampsPerChan, float64 timeout,
                                         bool32 fillMode, uInt32 readArray[], uInt32 arraySizeInSamps,
                                         int32* sampsPerChanRead, bool32* reserved)
{
    (void)timeout;
    (void)fillMode;
    (void)reserved;
    StandinTask* task;
    int32 status = beginTransfer(__func__, handle, TaskDigitalInput, &task);
    if (status == 0 && (numSampsPerChan != 1 || arraySizeInSamps < 1))
        status = standinError(__func__, ErrorInvalidValue);
    if (status < 0)
        return end(status);
    // Lines with nothing on them are pulled up; the words are aligned to the port.
    readArray[0] = usesLines(task, "/port0/line0") && !standinBusSda() ? 0 : 0xFF;
    *sampsPerChanRead = 1;
    return end(0);
}

/// For tasks of one line.
STANDIN_EXPORT int32 DAQmxReadDigitalLines(TaskHandle handle, int32 numSampsPerChan, float64 timeout,
                                           bool32 fillMode, uInt8 readArray[], uInt32 arraySizeInBytes,
                                           int32* sampsPerChanRead, int32* numBytesPerSamp, bool32* reserved)
{
    (void)timeout;
    (void)fillMode;
    (void)reserved;
    StandinTask* task;
    int32 status = beginTransfer(__func__, handle, TaskDigitalInput, &task);
    if (status == 0 && (numSampsPerChan != 1 || arraySizeInBytes < 1))
        status = standinError(__func__, ErrorInvalidValue);
    if (status < 0)
        return end(status);
    readArray[0] = usesLines(task, "/port0/line0") && !standinBusSda() ? 0 : 1;
    *sampsPerChanRead = 1;
    *numBytesPerSamp = 1;
    return end(0);
}

STANDIN_EXPORT int32 DAQmxWriteDigitalU32(TaskHandle handle, int32 numSampsPerChan, bool32 autoStart,
                                          float64 timeout, bool32 dataLayout, const uInt32 writeArray[],
                                          int32* sampsPerChanWritten, bool32* reserved)
{
    (void)autoStart;
    (void)timeout;
    (void)dataLayout;
    (void)reserved;
    StandinTask* task;
    const int32 status = beginTransfer(__func__, handle, TaskDigitalOutput, &task);
    if (status < 0)
        return end(status);
    if (usesLines(task, "/port0/line1:2"))
        for (int32 i = 0; i < numSampsPerChan; ++i)
            standinBusLines((writeArray[i] & 2) != 0, (writeArray[i] & 4) != 0);
    *sampsPerChanWritten = numSampsPerChan;
    return end(0);
}
