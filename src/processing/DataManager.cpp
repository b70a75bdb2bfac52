// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/DataManager.h"

#include "acquisition/AcquisitionFrame.h"
#include "acquisition/DAQInterface.h"
#include "base/TimeSource.h"
#include "processing/ProcessingState.h"
#include "recording/VellumtideFile.h"

#include <QMetaMethod>
#include <QtDebug>
#include <algorithm>
#include <span>

namespace vt {

namespace {

constexpr int FramesPerStep = 60; // 2 s

// Longer than this is logged. A frame comes every 33 ms.
constexpr qint64 TickGapLimitMs = 60;
constexpr qint64 TickLimitMs = 30;
constexpr qint64 BandFilterLimitMs = 20;
constexpr qint64 FeatureLimitMs = 9;
constexpr qint64 FileWriteLimitMs = 6;

qint64 wholeMs(qint64 microseconds)
{
    return microseconds / 1000;
}

using Four = std::span<double, DecimatedSamplesPerFrame>;

/// A channel's share of a block of 4 samples per channel.
Four four(std::vector<double>& block, std::size_t channel)
{
    return Four(block.data() + channel * DecimatedSamplesPerFrame, DecimatedSamplesPerFrame);
}

} // namespace

ProcessingState::ProcessingState(const DataManager::Config& processingConfig, TimeSource& timeSource)
    : config(processingConfig), time(timeSource),
      chain(config.channelCount, config.animalType, config.inputOffsetVolts), extractor(config.animalType),
      decision({config.channelCount, config.animalType,
                config.sensorAmpType == 0 ? SensorAmplifier::NiDevice : SensorAmplifier::SerialAmplifier,
                config.activityOnly ? SessionKind::ActivityOnly : SessionKind::SleepScoring}),
      channels(static_cast<std::size_t>(std::max(config.channelCount, 0)))
{
    constexpr std::size_t MaxFeaturesPerChannel = 6;
    const std::size_t blockSize = channels.size() * DecimatedSamplesPerFrame;
    for (auto* block : {&decimated, &bandpassed, &brOutput, &actOutput})
        block->resize(blockSize);
    rawFrame.resize(channels.size() * SamplesPerFrame);
    qDebug() << "daqBuffer size set to:" << rawFrame.size();
    featureVectors.reserve(channels.size() * MaxFeaturesPerChannel);
    activities.reserve(channels.size());
    breathRates.reserve(channels.size());
}

DataManager::DataManager(const Config& config, TimeSource& time, QObject* parent) : QObject(parent)
{
    qDebug() << "DataManager: animalType" << config.animalType << "sensorAmpType" << config.sensorAmpType
             << "activityOnly" << config.activityOnly;
    m_state = std::make_unique<ProcessingState>(config, time);
}

DataManager::~DataManager()
{
    qDebug() << "DataManager destructor.";
}

void DataManager::beginSegment(DAQInterface* device)
{
    m_state->device = device;
    m_state->chain.reset();
    for (ProcessingChannel& channel : m_state->channels) {
        channel.br.clear();
        channel.act.clear();
    }
    m_state->frameCounter = 0;
    m_state->lastTickUs = -1;
    m_state->consecutiveErrors = 0;
    m_state->segmentFramesProcessed = 0;
    m_state->framesRefused = 0;
    m_state->isDecided = false;
}

void DataManager::setFiles(VellumtideFile* raw, VellumtideFile* featureVector, VellumtideFile* activity,
                           VellumtideFile* breathRate)
{
    m_state->rawFile = raw;
    m_state->featureVectorFile = featureVector;
    m_state->activityFile = activity;
    m_state->breathRateFile = breathRate;
}

void DataManager::handleNewDAQData(int samplesRead)
{
    ProcessingState& s = *m_state;
    const qint64 startUs = s.time.monotonicUs();
    if (s.lastTickUs >= 0 && wholeMs(startUs - s.lastTickUs) > TickGapLimitMs)
        qWarning("Data processing delay %lld ms > 60",
                 static_cast<long long>(wholeMs(startUs - s.lastTickUs)));
    s.lastTickUs = startUs;
    if (!fetchFrame(samplesRead))
        return;

    ++s.frameCounter;
    filterFrame();
    const bool isStep = s.frameCounter == FramesPerStep;
    QDateTime now;
    if (isStep) {
        now = s.time.now();
        runStep(now);
    }
    writeRaw();
    if (isStep) {
        publishStep(now);
        s.frameCounter = 0;
    }
    countFrame();
    emit newDataReady();

    const qint64 totalMs = wholeMs(s.time.monotonicUs() - startUs);
    if (totalMs > TickLimitMs)
        qWarning("callback processing time %lld > 30", static_cast<long long>(totalMs));
}

bool DataManager::fetchFrame(int samplesRead)
{
    ProcessingState& s = *m_state;
    const std::size_t needed = static_cast<std::size_t>(std::max(samplesRead, 0)) * s.channelCount();
    if (needed > s.rawFrame.size()) {
        s.rawFrame.resize(needed);
        qDebug() << "daqBuffer size set to:" << needed;
    }
    int fetched = 0;
    const bool pulled =
        s.device && s.device->getLatestData(s.rawFrame.data(), static_cast<int>(s.rawFrame.size()), &fetched);
    // A frame of another size belongs to another set of channels.
    const bool fits = static_cast<std::size_t>(fetched) == s.channelCount() * SamplesPerFrame;
    if (!pulled || (fetched != 0 && !fits)) {
        ++s.consecutiveErrors;
        qWarning() << "getLatestData ERROR - frame dropped (consecutive errors:" << s.consecutiveErrors
                   << ")";
        return false;
    }
    s.consecutiveErrors = 0;
    if (fetched == 0) {
        ++s.emptyFetches;
        qWarning() << "No data fetched - frame dropped (no data count:" << s.emptyFetches << ")";
        return false;
    }
    return true;
}

void DataManager::filterFrame()
{
    ProcessingState& s = *m_state;
    for (std::size_t c = 0; c < s.channelCount(); ++c) {
        const int channel = static_cast<int>(c);
        const Four decimated = four(s.decimated, c);
        s.chain.filterDecimate(
            channel, FilterChain::Raw(s.rawFrame.data() + c * SamplesPerFrame, SamplesPerFrame), decimated);
        if (s.config.bandpass) {
            const Four bandpassed = four(s.bandpassed, c);
            s.chain.filterBandpass(channel, decimated, bandpassed);
            s.channels[c].rawTrace.push(bandpassed);
        } else {
            s.channels[c].rawTrace.push(decimated);
        }
    }
    qint64 beforeUs = s.time.monotonicUs();
    for (std::size_t c = 0; c < s.channelCount(); ++c) {
        const Four br = four(s.brOutput, c);
        const Four act = four(s.actOutput, c);
        s.chain.filterBrAct(static_cast<int>(c), four(s.decimated, c), br, act);
        s.channels[c].br.append(br);
        s.channels[c].act.append(act);
        s.channels[c].breathingTrace.push(br);
        s.channels[c].activityTrace.push(act);
        const qint64 afterUs = s.time.monotonicUs();
        const qint64 tookMs = wholeMs(afterUs - beforeUs);
        if (tookMs > BandFilterLimitMs)
            qWarning("filterBandpass took %llu Milliseconds execute.",
                     static_cast<unsigned long long>(tookMs));
        beforeUs = afterUs;
    }
}

void DataManager::runStep(const QDateTime& now)
{
    ProcessingState& s = *m_state;
    s.featureVectors.clear();
    s.activities.clear();
    s.breathRates.clear();
    for (std::size_t c = 0; c < s.channelCount(); ++c) {
        const qint64 beforeUs = s.time.monotonicUs();
        if (!s.channels[c].br.isFull())
            continue;
        runChannelStep(c, now);
        const qint64 tookMs = wholeMs(s.time.monotonicUs() - beforeUs);
        if (tookMs > FeatureLimitMs)
            qWarning("Feature computation took %llu Milliseconds execute on channel %d.",
                     static_cast<unsigned long long>(tookMs), static_cast<int>(c));
    }
    // One write per file for all channels: a write that is dropped costs one step and shifts nothing.
    const auto write = [](VellumtideFile* file, const std::vector<double>& values) {
        if (file && !values.empty())
            file->writeValues(values);
    };
    write(s.featureVectorFile, s.featureVectors);
    write(s.breathRateFile, s.breathRates);
    write(s.activityFile, s.activities);
}

void DataManager::runChannelStep(std::size_t c, const QDateTime& now)
{
    ProcessingState& s = *m_state;
    const int index = static_cast<int>(c);
    ProcessingChannel& channel = s.channels[c];
    s.extractor.extract(channel.br.window(), channel.act.window(), channel.result);
    queueFeatures(channel.result.features);

    s.decision.step(index, channel.result, now);
    const SleepDecision::Channel& scored = s.decision.channel(index);
    channel.noSignal.store(scored.noSignal, std::memory_order_relaxed);
    if (channel.result.spectrumSize > 0)
        channel.spectrum.publish(channel.result.spectrumValues());
    channel.powerTrace.push({&channel.result.features.signalPower, 1});
    if (!s.config.activityOnly) {
        const double shown = s.decision.shownBreathRate(index, channel.result.features.breathRate);
        channel.breathRateTrace.push({&shown, 1});
        channel.steps.store(scored.stepCount, std::memory_order_relaxed);
        channel.asleep.store(scored.sleepCount, std::memory_order_relaxed);
    }
}

void DataManager::queueFeatures(const FeatureSet& f)
{
    ProcessingState& s = *m_state;
    s.activities.push_back(f.signalPower);
    if (s.config.activityOnly)
        return;
    s.breathRates.push_back(f.breathRate);
    if (s.config.animalType == AnimalMouse) {
        for (double value : {f.spectralContrast, f.breathRegularity, f.envelopeVariability, f.envelopeLevel})
            s.featureVectors.push_back(value);
    } else {
        for (double value : {f.breathRegularity, f.envelopeVariability, f.envelopeLevel, f.activityRegularity,
                             f.activityVariability, f.activityLevel})
            s.featureVectors.push_back(value);
    }
}

void DataManager::writeRaw()
{
    ProcessingState& s = *m_state;
    if (!s.rawFile)
        return;
    const qint64 beforeUs = s.time.monotonicUs();
    if (!s.rawFile->writeSamples(s.decimated.data(), DecimatedSamplesPerFrame))
        ++s.framesRefused;
    const qint64 tookMs = wholeMs(s.time.monotonicUs() - beforeUs);
    if (tookMs > FileWriteLimitMs)
        qWarning("FileWrite took %llu Milliseconds.", static_cast<unsigned long long>(tookMs));
}

void DataManager::publishStep(const QDateTime& now)
{
    ProcessingState& s = *m_state;
    s.isDecided.store(std::ranges::all_of(s.channels, [](const auto& c) { return c.br.isFull(); }),
                      std::memory_order_relaxed);
    s.decisionFrameArrivedUs.store(s.device->pulledFrameArrivedUs(), std::memory_order_relaxed);
    emit newFeatureFrameReady(now);
    if (isSignalConnected(QMetaMethod::fromSignal(&DataManager::stepCompleted)))
        emit stepCompleted(stepRecord(now));
    // The vectors are built for listeners only.
    if (!s.config.activityOnly &&
        isSignalConnected(QMetaMethod::fromSignal(&DataManager::newSleepDecision))) {
        std::vector<bool> sleeping(s.channelCount());
        std::vector<QDateTime> sleepBeginTime(s.channelCount());
        std::vector<double> decisionStats(s.channelCount());
        for (std::size_t c = 0; c < s.channelCount(); ++c) {
            const SleepDecision::Channel& channel = s.decision.channel(static_cast<int>(c));
            sleeping[c] = channel.sleeping;
            sleepBeginTime[c] = channel.sleepBeginTime;
            decisionStats[c] = channel.decisionStat;
        }
        emit newSleepDecision(sleeping, sleepBeginTime, decisionStats);
    }
    if (isSignalConnected(QMetaMethod::fromSignal(&DataManager::sensorNoSignal))) {
        std::vector<bool> noSignal(s.channelCount());
        for (std::size_t c = 0; c < s.channelCount(); ++c)
            noSignal[c] = s.decision.channel(static_cast<int>(c)).noSignal;
        emit sensorNoSignal(noSignal);
    }
}

std::shared_ptr<const StepRecord> DataManager::stepRecord(const QDateTime& now) const
{
    const ProcessingState& s = *m_state;
    auto record = std::make_shared<StepRecord>();
    record->time = now;
    record->isDecided = s.isDecided.load(std::memory_order_relaxed);
    record->isActivityOnly = s.config.activityOnly;
    record->channels.resize(s.channelCount());
    for (std::size_t c = 0; c < s.channelCount(); ++c) {
        const int index = static_cast<int>(c);
        const SleepDecision::Channel& scored = s.decision.channel(index);
        const FeatureSet& features = s.channels[c].result.features;
        record->channels[c] = {features,
                               scored.decisionStat,
                               scored.activityIndex,
                               s.decision.shownBreathRate(index, features.breathRate),
                               scored.sleeping,
                               scored.noSignal};
    }
    return record;
}

void DataManager::countFrame()
{
    ProcessingState& s = *m_state;
    s.framesProcessed.fetch_add(1, std::memory_order_relaxed);
    const quint64 frame = s.segmentFramesProcessed.fetch_add(1, std::memory_order_relaxed) + 1;
    if (frame % FramesPerStep == 1)
        emit sig_writeTstamp(s.time.now(),
                             static_cast<uint>((frame - s.framesRefused) * DecimatedSamplesPerFrame));
}

const DataManager::Config& DataManager::config() const
{
    return m_state->config;
}

quint64 DataManager::framesProcessed() const
{
    return m_state->framesProcessed.load(std::memory_order_relaxed);
}

quint64 DataManager::segmentFramesProcessed() const
{
    return m_state->segmentFramesProcessed.load(std::memory_order_relaxed);
}

qint64 DataManager::decisionFrameArrivedUs() const
{
    return m_state->decisionFrameArrivedUs.load(std::memory_order_relaxed);
}

bool DataManager::isDecided() const
{
    return m_state->isDecided.load(std::memory_order_relaxed);
}

quint64 DataManager::copyRawTrace(int channel, std::span<float> out) const
{
    return m_state->channel(channel).rawTrace.copyNewest(out);
}

quint64 DataManager::copyBreathingTrace(int channel, std::span<float> out) const
{
    return m_state->channel(channel).breathingTrace.copyNewest(out);
}

quint64 DataManager::copyActivityTrace(int channel, std::span<float> out) const
{
    return m_state->channel(channel).activityTrace.copyNewest(out);
}

quint64 DataManager::copyBreathRateTrace(int channel, std::span<float> out) const
{
    return m_state->channel(channel).breathRateTrace.copyNewest(out);
}

quint64 DataManager::copyPowerTrace(int channel, std::span<float> out) const
{
    return m_state->channel(channel).powerTrace.copyNewest(out);
}

quint64 DataManager::copySpectrum(int channel, std::span<float> out) const
{
    return m_state->channel(channel).spectrum.copyLatest(out);
}

std::span<const double> DataManager::histogram(int channel) const
{
    return m_state->decision.channel(channel).histogram;
}

std::span<const DayProfileBin> DataManager::dayProfile(int channel) const
{
    return m_state->decision.channel(channel).dayProfile;
}

FeatureSet DataManager::lastFeatures(int channel) const
{
    return m_state->channel(channel).result.features;
}

DataManager::SleepCounts DataManager::sleepCounts(int channel) const
{
    const ProcessingChannel& state = m_state->channel(channel);
    return {state.steps.load(std::memory_order_relaxed), state.asleep.load(std::memory_order_relaxed)};
}

bool DataManager::noSignal(int channel) const
{
    return m_state->channel(channel).noSignal.load(std::memory_order_relaxed);
}

} // namespace vt
