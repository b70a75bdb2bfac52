// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of the signal path: a processing tick without features, and features with decision per channel and
// step beside the transforms that they need. Aims on an ordinary x86-64 build: about 15 us for a tick of 16
// channels, and at most 3 times the bare transforms for the features ("ratio").
#include "acquisition/AcquisitionFrame.h"
#include "acquisition/DAQInterface.h"
#include "base/TimeSource.h"
#include "processing/AlignedArray.h"
#include "processing/DataManager.h"
#include "processing/FeatureExtractor.h"
#include "processing/FilterChain.h"
#include "processing/SleepDecision.h"

#include <QCoreApplication>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <ctime>
#include <fftw3.h>
#include <numbers>
#include <vector>

namespace vt {
namespace {

/// Processor time of this process in seconds: what other programs take does not count.
double processorSeconds()
{
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

/// Something like an animal: breathing, movement and noise, in volts at 600 Hz.
std::vector<double> animal(std::size_t count, int channel)
{
    std::vector<double> volts(count);
    std::uint64_t state = static_cast<std::uint64_t>(channel) + 1;
    for (std::size_t i = 0; i < count; ++i) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        const double noise = static_cast<double>(state >> 11) * 0x1p-53 - 0.5;
        const double t = static_cast<double>(i) / RawSampleRateHz * 2 * std::numbers::pi;
        volts[i] = 0.1 * (1 + 0.4 * std::sin(0.13 * t)) * std::sin((2.1 + 0.1 * channel) * t) +
                   0.03 * std::sin(7.3 * t) * std::sin(0.4 * t) + 0.05 * noise;
    }
    return volts;
}

/// A device that plays two seconds of frames from memory, over and over.
class MemoryDevice final : public DAQInterface
{
public:
    explicit MemoryDevice(int channels) : m_channels(channels)
    {
        m_frames.assign(Frames, std::vector<double>(static_cast<std::size_t>(frameSize())));
        for (int c = 0; c < channels; ++c) {
            const std::vector<double> volts = animal(Frames * SamplesPerFrame, c);
            for (std::size_t f = 0; f < Frames; ++f)
                std::copy_n(volts.data() + f * SamplesPerFrame, SamplesPerFrame,
                            m_frames[f].data() + static_cast<std::size_t>(c) * SamplesPerFrame);
        }
    }
    bool getLatestData(double* buffer, int, int* samplesRead) override
    {
        std::ranges::copy(m_frames[m_next], buffer);
        m_next = (m_next + 1) % Frames;
        *samplesRead = frameSize();
        return true;
    }
    [[nodiscard]] int frameSize() const override { return m_channels * SamplesPerFrame; }
    [[nodiscard]] int channelCount() const override { return m_channels; }
    void start() override {}
    [[nodiscard]] bool stop(int) override { return true; }
    [[nodiscard]] bool released() const override { return true; }
    void setThreadPriority(QThread::Priority) override {}
    [[nodiscard]] AcquisitionCounters counters() const override { return {}; }

private:
    static constexpr std::size_t Frames = 60;
    const int m_channels;
    std::vector<std::vector<double>> m_frames;
    std::size_t m_next = 0;
};

/// Ticks between two steps: the segment begins anew before the first step with full windows.
void tickWithoutFeatures(benchmark::State& state)
{
    const int channels = static_cast<int>(state.range(0));
    SystemTimeSource time;
    MemoryDevice device(channels);
    DataManager::Config config;
    config.channelCount = channels;
    DataManager manager(config, time);
    constexpr int TicksBeforeFeatures = 239;
    double tickSeconds = 0.0;
    for (auto _ : state) {
        manager.beginSegment(&device);
        const double begin = processorSeconds();
        for (int i = 0; i < TicksBeforeFeatures; ++i)
            manager.handleNewDAQData(SamplesPerFrame);
        const double took = processorSeconds() - begin;
        state.SetIterationTime(took);
        tickSeconds += took;
    }
    state.counters["us/tick"] =
        tickSeconds / static_cast<double>(state.iterations()) / TicksBeforeFeatures * 1e6;
}
BENCHMARK(tickWithoutFeatures)->ArgName("channels")->Arg(1)->Arg(8)->Arg(16)->UseManualTime();

/// The last 8 s of both bands of one channel.
struct Windows
{
    std::vector<double> br;
    std::vector<double> act;

    explicit Windows(int animalType)
    {
        constexpr std::size_t Seconds = 20;
        const std::vector<double> volts = animal(Seconds * 600, 3);
        FilterChain chain(1, animalType, 0.0);
        std::vector<double> brBand;
        std::vector<double> actBand;
        std::array<double, 4> decimated{};
        std::array<double, 4> outBr{};
        std::array<double, 4> outAct{};
        for (std::size_t at = 0; at < volts.size(); at += SamplesPerFrame) {
            chain.filterDecimate(0, FilterChain::Raw(volts.data() + at, SamplesPerFrame), decimated);
            chain.filterBrAct(0, decimated, outBr, outAct);
            brBand.insert(brBand.end(), outBr.begin(), outBr.end());
            actBand.insert(actBand.end(), outAct.begin(), outAct.end());
        }
        br.assign(brBand.end() - WindowLength, brBand.end());
        act.assign(actBand.end() - WindowLength, actBand.end());
    }
};

/// The transforms that one channel's features cannot do without, and nothing else.
class BareTransforms
{
public:
    explicit BareTransforms(int animalType)
    {
        if (animalType == AnimalMouse) {
            // Envelopes of br, act and compressed act; spectrum; autocorrelation of the inner half.
            add(WindowLength, 4, 3);
            add(640, 1, 1);
        } else {
            // Envelopes of br, act and both compressed; spectrum; autocorrelations of 720 and of all samples.
            add(WindowLength, 6, 5);
            add(1200, 1, 1);
        }
    }
    ~BareTransforms()
    {
        for (const Step& step : m_steps)
            fftw_destroy_plan(step.plan);
    }
    BareTransforms(const BareTransforms&) = delete;
    BareTransforms& operator=(const BareTransforms&) = delete;

    void run() const
    {
        for (const Step& step : m_steps)
            for (int i = 0; i < step.count; ++i)
                fftw_execute(step.plan);
    }

private:
    struct Step
    {
        fftw_plan plan;
        int count;
    };
    void add(int length, int forward, int backward)
    {
        auto* bins = reinterpret_cast<fftw_complex*>(m_bins.data());
        m_steps.push_back({fftw_plan_dft_r2c_1d(length, m_signal.data(), bins, FFTW_ESTIMATE), forward});
        m_steps.push_back({fftw_plan_dft_c2r_1d(length, bins, m_signal.data(), FFTW_ESTIMATE), backward});
    }
    AlignedArray m_signal{1200};
    AlignedArray m_bins{1202};
    std::vector<Step> m_steps;
};

/// Features and decision of one channel and step, and in the same run the bare transforms.
void featuresAndDecision(benchmark::State& state)
{
    constexpr int Batch = 500;
    const int animalType = static_cast<int>(state.range(0));
    const KernelSets kernels = runnableKernels();
    const auto set = static_cast<std::size_t>(state.range(1));
    if (set >= kernels.count) {
        state.SkipWithError("this machine cannot run these kernels");
        return;
    }
    state.SetLabel(kernels.sets[set]->name);
    const Windows windows(animalType);
    FeatureExtractor extractor(animalType, *kernels.sets[set]);
    SleepDecision decision({1, animalType, SensorAmplifier::NiDevice, SessionKind::SleepScoring});
    const BareTransforms transforms(animalType);
    const QDateTime now({2026, 3, 2}, {10, 0});
    FeatureResult result;
    double transformSeconds = 0.0;
    double featureSeconds = 0.0;
    for (auto _ : state) {
        const double begin = processorSeconds();
        for (int i = 0; i < Batch; ++i)
            transforms.run();
        const double middle = processorSeconds();
        for (int i = 0; i < Batch; ++i) {
            extractor.extract(FeatureExtractor::Window(windows.br), FeatureExtractor::Window(windows.act),
                              result);
            decision.step(0, result, now);
        }
        const double end = processorSeconds();
        benchmark::DoNotOptimize(result);

        transformSeconds += middle - begin;
        featureSeconds += end - middle;
        state.SetIterationTime(end - middle);
    }
    const double steps = static_cast<double>(state.iterations()) * Batch;
    state.counters["us/step"] = featureSeconds / steps * 1e6;
    state.counters["us/transforms"] = transformSeconds / steps * 1e6;
    state.counters["ratio"] = featureSeconds / transformSeconds;
}
BENCHMARK(featuresAndDecision)
    ->ArgNames({"animal", "kernels"})
    ->ArgsProduct({{AnimalMouse, AnimalRat}, {0, 1}})
    ->UseManualTime();

} // namespace
} // namespace vt

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
