// SPDX-License-Identifier: GPL-3.0-or-later
// A stand-in for the NI-DAQmx library: the same C functions, one fake acquisition unit behind them. It knows
// nothing of the program that loads it and shares no code with it.
//
// Environment, read when the library is loaded:
//   STANDIN_DEVICE    device name                       Dev1
//   STANDIN_SERIAL    serial number                     30001
//   STANDIN_CHANNELS  analog inputs and sensor count    8 (1 to 16)
//   STANDIN_ANIMAL    1 mouse, 2 rat                    1
//   STANDIN_GAIN      amplifier gain; 0 adds 2.5 V      100
//   STANDIN_SPEED     times real time                   1
//   STANDIN_FAIL      comma-separated NAME:K:CODE[:ever]: the K-th call (from 1) of the function NAME
//                     ("*": of any function) fails with CODE, with "ever" all later ones, too
//   STANDIN_HANG      comma-separated NAME:K:MS: that call takes MS milliseconds longer, which is told on
//                     standard error when it begins
//   STANDIN_CONTROL   a file that may appear and change while the program runs; its words:
//                     unplugged (no device), stalled (no callbacks), nak (silent microcontroller),
//                     serial=N (another unit)
//   STANDIN_REPORT    a file written when the process ends: "name value" lines
//   STANDIN_LOG       a file that gets one line per call on a task as it comes: task (from 1), function,
//                     arguments; transfers on digital lines are left out
//
// Analog input: sample n of channel c is
//   offset + 0.8 sin(2 pi (2 + c/4) n/600) + 0.1 sin(2 pi 37 n/600) volts, offset 2.5 for gain 0, else 0;
// n counts from 0 with each start of a task.
#ifndef STANDIN_H
#define STANDIN_H

#include <pthread.h>
#include <stdbool.h>
#include <stdint.h>

#define STANDIN_EXPORT __attribute__((visibility("default")))

typedef int32_t int32;
typedef uint8_t uInt8;
typedef uint32_t uInt32;
typedef uint64_t uInt64;
typedef double float64;
typedef uint32_t bool32;
typedef void* TaskHandle;
typedef int32 (*EveryNSamplesCallback)(TaskHandle task, int32 eventType, uInt32 sampleCount, void* data);

enum {
    ErrorDeviceGone = -88709,
    ErrorInvalidTask = -200088,
    ErrorInvalidDevice = -200220,
    ErrorTimeout = -200284,
    ErrorInvalidValue = -200077,
    ErrorBufferTooSmall = -200228,
    ErrorStopInsideCallback = -200009,
};

typedef struct
{
    char device[64];
    uint32_t serial;
    int channels;
    int animal;
    int gain;
    double speed;
} StandinUnit;

typedef enum { TaskEmpty, TaskAnalogInput, TaskDigitalInput, TaskDigitalOutput } TaskKind;

typedef struct
{
    uintptr_t id; // 0: free
    TaskKind kind;
    char lines[256];
    int channels;
    bool isStarted;
    // analog input
    double rate;
    EveryNSamplesCallback callback;
    void* callbackData;
    uInt32 callbackSamples;
    pthread_t thread;
    bool isThreadRunning;
    bool isStopping;
    uint64_t samplesAcquired; // per channel, since the start
    uint64_t samplesRead;
} StandinTask;

// One lock for everything; callbacks run without it.
extern pthread_mutex_t standinLock;
extern pthread_cond_t standinChanged; // monotonic clock
extern StandinUnit standinUnit;

// Settings and books (standin_settings.c). All but standinNowSeconds expect the lock to be held.
void standinLoadSettings(void);
double standinNowSeconds(void);
/// Books a call; the status that STANDIN_FAIL asks for, or 0. May take long (STANDIN_HANG).
int32 standinBook(const char* function);
int32 standinError(const char* function, int32 status);
void standinCount(const char* what);
/// Adds a line to STANDIN_LOG.
void standinNote(TaskHandle task, const char* format, ...) __attribute__((format(printf, 2, 3)));
bool standinIsUnplugged(void);
bool standinIsStalled(void);
bool standinIsSilent(void);
uint32_t standinSerial(void);
/// Waits on standinChanged until a monotonic time; false when that time has come.
bool standinWaitUntil(double seconds);

// Tasks (standin_tasks.c), lock held. A dead handle is counted.
StandinTask* standinFindTask(TaskHandle handle);

// The microcontroller behind port 0 (standin_bus.c), lock held.
void standinBusReset(void);
void standinBusLines(bool sda, bool scl);
bool standinBusSda(void);

#endif
