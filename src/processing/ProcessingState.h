// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/DataManager.h"
#include "processing/DisplayTrace.h"
#include "processing/FeatureExtractor.h"
#include "processing/FilterChain.h"
#include "processing/SleepDecision.h"
#include "processing/dataChannel.h"

#include <atomic>
#include <vector>

namespace vt {

/// What DataManager owns per channel.
struct ProcessingChannel
{
    static constexpr std::size_t TraceLength = 131072;    ///< 18 minutes at 120 Hz
    static constexpr std::size_t StepTraceLength = 43200; ///< 24 hours of 2-s steps

    dataChannel br;
    dataChannel act;
    FeatureResult result;

    DisplayTrace rawTrace{TraceLength};
    DisplayTrace breathingTrace{TraceLength};
    DisplayTrace activityTrace{TraceLength};
    DisplayTrace breathRateTrace{StepTraceLength};
    DisplayTrace powerTrace{StepTraceLength};
    DisplaySpectrum spectrum;
    std::atomic<int> steps{0};
    std::atomic<int> asleep{0};
    std::atomic<bool> noSignal{false};
};

/// Members of DataManager. Processing thread, but for the atomics and the display traces.
struct ProcessingState
{
    ProcessingState(const DataManager::Config& processingConfig, TimeSource& timeSource);

    [[nodiscard]] std::size_t channelCount() const { return channels.size(); }
    [[nodiscard]] const ProcessingChannel& channel(int index) const
    {
        return channels[static_cast<std::size_t>(index)];
    }

    const DataManager::Config config;
    TimeSource& time;
    FilterChain chain;
    FeatureExtractor extractor;
    SleepDecision decision;
    std::vector<ProcessingChannel> channels;

    DAQInterface* device = nullptr;
    VellumtideFile* rawFile = nullptr;
    VellumtideFile* featureVectorFile = nullptr;
    VellumtideFile* activityFile = nullptr;
    VellumtideFile* breathRateFile = nullptr;

    // Blocks of one tick, grouped by channel.
    std::vector<double> rawFrame;
    std::vector<double> decimated;
    std::vector<double> bandpassed;
    std::vector<double> brOutput;
    std::vector<double> actOutput;
    // Values of one step, channels in order.
    std::vector<double> featureVectors;
    std::vector<double> activities;
    std::vector<double> breathRates;

    int frameCounter = 0; ///< 0..60
    qint64 lastTickUs = -1;
    quint64 consecutiveErrors = 0;
    quint64 emptyFetches = 0;
    std::atomic<quint64> framesProcessed{0};
    std::atomic<quint64> segmentFramesProcessed{0};
    std::atomic<qint64> decisionFrameArrivedUs{-1};
    std::atomic<bool> isDecided{false}; ///< in this segment
    quint64 framesRefused = 0;          ///< of this segment: the writer could not take them
};

} // namespace vt
