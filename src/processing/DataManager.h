// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/FeatureSet.h"
#include "processing/SleepDecision.h"
#include "processing/StepRecord.h"

#include <QDateTime>
#include <QObject>

#include <atomic>
#include <memory>
#include <span>
#include <vector>

namespace vt {

class DAQInterface;
class TimeSource;
class VellumtideFile;
struct ProcessingState;

/// Turns acquired frames into recorded samples, display traces, features and sleep decisions.
///
/// One object serves a whole recording. beginSegment() empties filters, windows and the frame counter; the
/// long-term state (running means, baselines, counts, histograms, day profile, display traces) goes on.
/// handleNewDAQData runs on the processing thread (ProcessingThread drives it); the constructor, the set
/// methods and the destructor run before that thread starts and after it has ended. Display accessors are
/// lock-free and may be called from the interface thread at any time.
class DataManager : public QObject
{
    Q_OBJECT
public:
    struct Config
    {
        int channelCount = 0;  ///< 1..16
        int animalType = 1;    ///< 1 mouse, 2 rat
        int sensorAmpType = 0; ///< 0 NI-DAQ device, else the serial amplifier
        bool activityOnly = false;
        bool bandpass = false;       ///< display band-pass; does not change what is recorded
        double inputOffsetVolts = 0; ///< subtracted after decimation; 0 skips the step
    };
    /// Running counts of one channel over the whole recording.
    struct SleepCounts
    {
        int steps = 0;
        int asleep = 0;
    };

    DataManager(const Config& config, TimeSource& time, QObject* parent = nullptr);
    ~DataManager() override;

    /// Before each segment, the first included, while no processing thread runs.
    void beginSegment(DAQInterface* device);
    /// Any of them may be null: that stream is then not recorded.
    void setFiles(VellumtideFile* raw, VellumtideFile* featureVector, VellumtideFile* activity,
                  VellumtideFile* breathRate);

    [[nodiscard]] const Config& config() const;
    [[nodiscard]] quint64 framesProcessed() const;        ///< whole recording; any thread
    [[nodiscard]] quint64 segmentFramesProcessed() const; ///< since beginSegment; any thread

    // Displays: any thread, lock-free. Each copies the newest out.size() values, oldest first, and returns
    // the running number of values ever pushed to that trace (the last value copied is number n - 1). Entries
    // for which there is no value (not yet, or no longer) come first and are NaN.
    quint64 copyRawTrace(int channel, std::span<float> out) const;       ///< volts at 120 Hz
    quint64 copyBreathingTrace(int channel, std::span<float> out) const; ///< breathing band, as the raw trace
    quint64 copyActivityTrace(int channel, std::span<float> out) const;  ///< activity band, as the raw trace
    quint64 copyBreathRateTrace(int channel, std::span<float> out) const; ///< Hz per 2-s step, NaN when awake
    quint64 copyPowerTrace(int channel, std::span<float> out) const;      ///< per 2-s step
    /// Latest whole spectrum, 480 values in dB, bins k x 0.125 Hz; returns the number of spectra so far.
    quint64 copySpectrum(int channel, std::span<float> out) const;

    /// Histogram of the decision statistic (200 bins of 0.1 from -10), the 144 x (sum, count) day profile
    /// and the features of the last step are read on the processing thread or after it has ended.
    [[nodiscard]] std::span<const double> histogram(int channel) const;
    [[nodiscard]] std::span<const DayProfileBin> dayProfile(int channel) const;
    [[nodiscard]] FeatureSet lastFeatures(int channel) const;
    [[nodiscard]] SleepCounts sleepCounts(int channel) const; ///< any thread (atomics)
    [[nodiscard]] bool noSignal(int channel) const;           ///< any thread
    /// When the frame that completed the newest decision had arrived (DAQInterface::pulledFrameArrivedUs);
    /// set before newSleepDecision is emitted. Any thread.
    [[nodiscard]] qint64 decisionFrameArrivedUs() const;
    /// Does the newest decision rest on data of this segment? Not in its first 8 s, until the windows are
    /// full: newSleepDecision comes then, too, but repeats what was decided before the pause, and at the
    /// start of a recording what nobody has decided. Set before newSleepDecision is emitted. Any thread.
    [[nodiscard]] bool isDecided() const;

    /// One tick: pulls one frame and processes it. Processing thread.
    Q_SLOT void handleNewDAQData(int samplesRead);

signals:
    void newDataReady();
    void newFeatureFrameReady(QDateTime sampleDateTime);
    /// Every 2 s, before newSleepDecision: all that the step found out, for displays.
    void stepCompleted(std::shared_ptr<const vt::StepRecord> step);
    /// Every 2 s; see isDecided().
    void newSleepDecision(std::vector<bool> sleeping, std::vector<QDateTime> sleepBeginTime,
                          std::vector<double> decisionStats);
    void sensorNoSignal(std::vector<bool> noSignal);
    /// After the first frame of the segment, then after every 60 processed frames: decimated samples per
    /// channel handed to the raw file so far.
    void sig_writeTstamp(QDateTime sampleDateTime, uint sampleCount);

private:
    [[nodiscard]] bool fetchFrame(int samplesRead);
    void filterFrame();
    void runStep(const QDateTime& now);
    void runChannelStep(std::size_t channel, const QDateTime& now);
    void queueFeatures(const FeatureSet& features);
    void writeRaw();
    void publishStep(const QDateTime& now);
    [[nodiscard]] std::shared_ptr<const StepRecord> stepRecord(const QDateTime& now) const;
    void countFrame();

    std::unique_ptr<ProcessingState> m_state;
};

} // namespace vt
