// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"
#include "simulation/DeviceEventLog.h"
#include "simulation/UnitClock.h"

#include <QString>
#include <QStringList>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace vt {

/// A whole acquisition unit behind the driver's interface: analog inputs from animal models or a file, and
/// behind the digital lines the unit's microcontroller, a stimulation unit and port expanders
/// (DigitalLines.h). Thread-safe like the driver.
///
/// Clock of the devices on the lines: Config::clockUs, or else 1/30 s per delivered frame with Clock::Manual
/// and real time otherwise, sped up like the analog side (never slowed down: the program waits for these
/// devices in its own time).
class SimulatedUnit : public DaqmxApi
{
public:
    /// How analog blocks are paced.
    enum class Clock {
        RealTime, ///< speed x real time, from an own thread
        AsReady,  ///< as fast as readyForMore allows, from an own thread, at most speed x real time (0: no
                  ///< limit)
        Manual    ///< only advanceFrames delivers, on the caller's thread
    };
    struct Config
    {
        QString deviceName = QStringLiteral("sim");
        std::uint32_t serial = 20001;
        int channels = 8;     ///< 1..16: the microcontroller's sensor count and the analog inputs
        int analogInputs = 0; ///< that the unit lists, when there are more of them than channels
        int animalType = 1;
        int gain = 100; ///< what the microcontroller reports; 0 adds 2.5 V to the inputs
        std::uint64_t seed = 1;
        QString playbackFile; ///< raw little-endian doubles in volts, interleaved; empty: animals
        Clock clock = Clock::RealTime;
        double speed = 1.0;
        QString faultControlFile; ///< polled for fault commands; empty: none
        bool vexioPresent = true; ///< stimulation unit
        bool dioPresent = true;   ///< port expanders: one, and a second one above 8 channels
        UnitClock clockUs;        ///< clock of the devices on the lines; empty: the unit's own
    };
    explicit SimulatedUnit(const Config& config);
    ~SimulatedUnit() override;

    [[nodiscard]] QString deviceName() const;
    /// Why the unit cannot work (unreadable playback file...), or empty.
    [[nodiscard]] QString configurationError() const;

    /// For Clock::AsReady: asked before each block; set before the first task starts.
    void setReadyForMore(std::function<bool()> ready);

    /// Clock::Manual: runs the every-N callback for each of n blocks. Returns how many were delivered
    /// (fewer when no task runs or the unit is unplugged).
    int advanceFrames(int n);
    /// Analog blocks delivered so far over the unit's life, counted when their callback starts.
    [[nodiscard]] std::uint64_t framesDelivered() const;
    /// Tasks created and not yet cleared.
    [[nodiscard]] int openTaskCount() const;
    /// Calls on handles that were cleared or never existed.
    [[nodiscard]] int deadHandleCalls() const;

    // Faults on demand; any thread.
    void unplug();
    void replug(); ///< with the same serial number
    void replugAs(std::uint32_t serial);
    void setBusNak(bool nak);                     ///< the microcontroller stops acknowledging
    void failReads(std::int32_t code, int count); ///< the next count analog reads; count < 0: all
    void stallCallbacks(bool stalled);
    void delayCallbacks(int milliseconds);
    void hangNextRead(int milliseconds);
    void slowLineCalls(int milliseconds); ///< each read and write of digital lines takes this long; 0 ends it
    /// The n-th driver call from now (0: the next) and, with forEver, all later ones, fail with code; 0 ends
    /// it. A failing stop or clear still stops or clears, as with the driver; other failing calls do nothing.
    void failCall(std::uint64_t n, std::int32_t code, bool forEver);
    [[nodiscard]] std::uint64_t callCount() const;
    /// Sets a byte of the microcontroller's register file, e.g. status register 0x0A.
    void setMcuRegister(std::uint8_t address, std::uint8_t value);
    /// Applies one line of the control file's language (FaultCommand.h); false and *error for one that is not
    /// understood.
    bool applyFaultCommand(const QString& line, QString* error = nullptr);

    /// What the devices on the lines did to the cages so far: starts and ends of stimulation, outputs.
    [[nodiscard]] std::vector<DeviceEvent> deviceEvents() const;
    void clearDeviceEvents();

    /// Names of the C functions called so far, in order; recorded only after recordCalls(true).
    void recordCalls(bool enabled);
    [[nodiscard]] std::vector<QString> recordedCalls() const;

    /// Ground truth: is the animal of this channel asleep at this sample instant (600 Hz count)? Always
    /// false for playback.
    [[nodiscard]] bool isAsleep(int channel, std::uint64_t sample) const;

    // DaqmxApi
    std::int32_t DAQmxCreateTask(const char* taskName, daqmx::TaskHandle* task) override;
    std::int32_t DAQmxStartTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxStopTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxClearTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxIsTaskDone(daqmx::TaskHandle task, daqmx::Bool32* isTaskDone) override;
    std::int32_t DAQmxCreateAIVoltageChan(daqmx::TaskHandle task, const char* physicalChannel,
                                          const char* nameToAssignToChannel, std::int32_t terminalConfig,
                                          double minVal, double maxVal, std::int32_t units,
                                          const char* customScaleName) override;
    std::int32_t DAQmxCfgSampClkTiming(daqmx::TaskHandle task, const char* source, double rate,
                                       std::int32_t activeEdge, std::int32_t sampleMode,
                                       std::uint64_t samplesPerChannel) override;
    std::int32_t DAQmxRegisterEveryNSamplesEvent(daqmx::TaskHandle task, std::int32_t eventType,
                                                 std::uint32_t sampleCount, std::uint32_t options,
                                                 daqmx::EveryNSamplesCallback callback,
                                                 void* callbackData) override;
    std::int32_t DAQmxReadAnalogF64(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                    double timeoutSeconds, daqmx::Bool32 fillMode, double* readArray,
                                    std::uint32_t arraySizeInSamples, std::int32_t* samplesPerChannelRead,
                                    daqmx::Bool32* reserved) override;
    std::int32_t DAQmxCreateDIChan(daqmx::TaskHandle task, const char* lines, const char* nameToAssignToLines,
                                   std::int32_t lineGrouping) override;
    std::int32_t DAQmxCreateDOChan(daqmx::TaskHandle task, const char* lines, const char* nameToAssignToLines,
                                   std::int32_t lineGrouping) override;
    std::int32_t DAQmxReadDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                     double timeoutSeconds, daqmx::Bool32 fillMode, std::uint32_t* readArray,
                                     std::uint32_t arraySizeInSamples, std::int32_t* samplesPerChannelRead,
                                     daqmx::Bool32* reserved) override;
    std::int32_t DAQmxReadDigitalLines(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                       double timeoutSeconds, daqmx::Bool32 fillMode, std::uint8_t* readArray,
                                       std::uint32_t arraySizeInBytes, std::int32_t* samplesPerChannelRead,
                                       std::int32_t* bytesPerSample, daqmx::Bool32* reserved) override;
    std::int32_t DAQmxWriteDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                      daqmx::Bool32 autoStart, double timeoutSeconds,
                                      daqmx::Bool32 dataLayout, const std::uint32_t* writeArray,
                                      std::int32_t* samplesPerChannelWritten,
                                      daqmx::Bool32* reserved) override;
    std::int32_t DAQmxGetSysDevNames(char* data, std::uint32_t bufferSize) override;
    std::int32_t DAQmxGetDevProductType(const char* device, char* data, std::uint32_t bufferSize) override;
    std::int32_t DAQmxGetDevSerialNum(const char* device, std::uint32_t* data) override;
    std::int32_t DAQmxGetDevIsSimulated(const char* device, daqmx::Bool32* data) override;
    std::int32_t DAQmxGetDevAIPhysicalChans(const char* device, char* data,
                                            std::uint32_t bufferSize) override;
    std::int32_t DAQmxResetDevice(const char* device) override;
    std::int32_t DAQmxGetErrorString(std::int32_t errorCode, char* errorString,
                                     std::uint32_t bufferSize) override;
    std::int32_t DAQmxGetExtendedErrorInfo(char* errorString, std::uint32_t bufferSize) override;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace vt
