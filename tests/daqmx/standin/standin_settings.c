// SPDX-License-Identifier: GPL-3.0-or-later
#include "standin.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { MaxRules = 16, MaxBooks = 64, CallLogSize = 1 << 16 };

typedef struct
{
    char function[48];
    long call;
    long value; // status or milliseconds
    bool isForEver;
    long seen;
} Rule;

typedef struct
{
    char name[48];
    long count;
} Book;

pthread_mutex_t standinLock = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t standinChanged;
StandinUnit standinUnit;

static Rule failures[MaxRules];
static Rule hangs[MaxRules];
static int failureCount, hangCount;
static Book books[MaxBooks];
static int bookCount;
static char callLog[CallLogSize];
static size_t callLogLength;
static char controlText[256];
static FILE* logFile;
static _Thread_local char lastError[256];

double standinNowSeconds(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

bool standinWaitUntil(double seconds)
{
    struct timespec until;
    until.tv_sec = (time_t)seconds;
    until.tv_nsec = (long)((seconds - (double)until.tv_sec) * 1e9);
    pthread_cond_timedwait(&standinChanged, &standinLock, &until);
    return standinNowSeconds() < seconds;
}

static long numberOf(const char* variable, long fallback)
{
    const char* text = getenv(variable);
    return text && *text ? strtol(text, NULL, 0) : fallback;
}

static int parseRules(const char* variable, Rule* rules)
{
    const char* text = getenv(variable);
    char copy[1024];
    int count = 0;
    if (!text)
        return 0;
    snprintf(copy, sizeof copy, "%s", text);
    char* rest = NULL;
    for (char* item = strtok_r(copy, ",", &rest); item && count < MaxRules;
         item = strtok_r(NULL, ",", &rest)) {
        Rule* rule = &rules[count];
        char ever[8] = "";
        memset(rule, 0, sizeof *rule);
        if (sscanf(item, "%47[^:]:%ld:%ld:%7s", rule->function, &rule->call, &rule->value, ever) < 3) {
            fprintf(stderr, "stand-in: %s: cannot read \"%s\"\n", variable, item);
            continue;
        }
        rule->isForEver = strcmp(ever, "ever") == 0;
        ++count;
    }
    return count;
}

void standinLoadSettings(void)
{
    const char* device = getenv("STANDIN_DEVICE");
    const char* speed = getenv("STANDIN_SPEED");
    snprintf(standinUnit.device, sizeof standinUnit.device, "%s", device && *device ? device : "Dev1");
    standinUnit.serial = (uint32_t)numberOf("STANDIN_SERIAL", 30001);
    standinUnit.channels = (int)numberOf("STANDIN_CHANNELS", 8);
    standinUnit.animal = (int)numberOf("STANDIN_ANIMAL", 1);
    standinUnit.gain = (int)numberOf("STANDIN_GAIN", 100);
    standinUnit.speed = speed && *speed ? strtod(speed, NULL) : 1.0;
    failureCount = parseRules("STANDIN_FAIL", failures);
    hangCount = parseRules("STANDIN_HANG", hangs);
    const char* log = getenv("STANDIN_LOG");
    logFile = log && *log ? fopen(log, "w") : NULL;
}

// ---- books ----

void standinCount(const char* what)
{
    for (int i = 0; i < bookCount; ++i) {
        if (strcmp(books[i].name, what) == 0) {
            ++books[i].count;
            return;
        }
    }
    if (bookCount == MaxBooks)
        return;
    snprintf(books[bookCount].name, sizeof books[bookCount].name, "%s", what);
    books[bookCount++].count = 1;
}

void standinNote(TaskHandle task, const char* format, ...)
{
    if (!logFile)
        return;
    va_list arguments;
    va_start(arguments, format);
    fprintf(logFile, "%lu ", (unsigned long)(uintptr_t)task);
    vfprintf(logFile, format, arguments);
    fputc('\n', logFile);
    va_end(arguments);
    fflush(logFile);
}

int32 standinError(const char* function, int32 status)
{
    snprintf(lastError, sizeof lastError, "%s failed in the stand-in driver, status %d", function, status);
    return status;
}

/// Is this the call that a rule waits for?
static bool ruleApplies(Rule* rule, const char* function)
{
    if (strcmp(rule->function, "*") != 0 && strcmp(rule->function, function) != 0)
        return false;
    ++rule->seen;
    return rule->seen == rule->call || (rule->isForEver && rule->seen > rule->call);
}

int32 standinBook(const char* function)
{
    int32 status = 0;
    standinCount(function);
    standinCount("calls");
    const size_t length = strlen(function);
    if (callLogLength + length + 2 < CallLogSize) {
        memcpy(callLog + callLogLength, function, length);
        callLog[callLogLength + length] = ' ';
        callLogLength += length + 1;
        callLog[callLogLength] = '\0';
    }
    for (int i = 0; i < hangCount; ++i)
        if (ruleApplies(&hangs[i], function)) {
            fprintf(stderr, "stand-in: %s takes %ld ms longer\n", function, hangs[i].value);
            for (const double until = standinNowSeconds() + (double)hangs[i].value / 1000;
                 standinWaitUntil(until);) {
            }
        }
    for (int i = 0; i < failureCount; ++i)
        if (ruleApplies(&failures[i], function) && status == 0)
            status = (int32)failures[i].value;
    return status < 0 ? standinError(function, status) : status;
}

/// Names of the functions called so far, each followed by a blank; the first 64 KiB.
STANDIN_EXPORT const char* standinCalls(void)
{
    return callLog;
}

STANDIN_EXPORT void standinForgetCalls(void)
{
    pthread_mutex_lock(&standinLock);
    callLogLength = 0;
    callLog[0] = '\0';
    pthread_mutex_unlock(&standinLock);
}

// ---- control file ----

static const char* control(void)
{
    const char* path = getenv("STANDIN_CONTROL");
    controlText[0] = '\0';
    FILE* file = path ? fopen(path, "r") : NULL;
    if (file) {
        const size_t length = fread(controlText, 1, sizeof controlText - 1, file);
        controlText[length] = '\0';
        fclose(file);
    }
    return controlText;
}

bool standinIsUnplugged(void)
{
    return strstr(control(), "unplugged") != NULL;
}

bool standinIsStalled(void)
{
    return strstr(control(), "stalled") != NULL;
}

bool standinIsSilent(void)
{
    return strstr(control(), "nak") != NULL;
}

uint32_t standinSerial(void)
{
    const char* other = strstr(control(), "serial=");
    return other ? (uint32_t)strtoul(other + 7, NULL, 0) : standinUnit.serial;
}

// ---- error texts, life of the library ----

STANDIN_EXPORT int32 DAQmxGetErrorString(int32 errorCode, char errorString[], uInt32 bufferSize)
{
    snprintf(errorString, bufferSize, "stand-in error %d", errorCode);
    return 0;
}

STANDIN_EXPORT int32 DAQmxGetExtendedErrorInfo(char errorString[], uInt32 bufferSize)
{
    snprintf(errorString, bufferSize, "%s", lastError);
    return 0;
}

__attribute__((constructor)) static void onLoad(void)
{
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&standinChanged, &attributes);
    pthread_condattr_destroy(&attributes);
    standinLoadSettings();
    standinBusReset();
}

__attribute__((destructor)) static void onUnload(void)
{
    const char* path = getenv("STANDIN_REPORT");
    if (!path)
        return;
    FILE* file = fopen(path, "w");
    if (!file) {
        fprintf(stderr, "stand-in: cannot write %s\n", path);
        return;
    }
    pthread_mutex_lock(&standinLock);
    for (int i = 0; i < bookCount; ++i)
        fprintf(file, "%s %ld\n", books[i].name, books[i].count);
    pthread_mutex_unlock(&standinLock);
    fclose(file);
}
