// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of the asynchronous writer: what one enqueued block takes of its producer's time, and how many blocks
// per second reach the disk through the writer beside plain write(2) of the same blocks into the same folder.
// Aims on an ordinary x86-64 build: 0.5 us for the median block ("median_ns"), and at least 90 % of plain
// writes ("ratio", from the best rounds of both, taken in turns). "processor_ratio" compares the processor
// time of the two writing threads, which other programs disturb less.
#include "recording/DataFile.h"
#include "recording/FileWriter.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <semaphore>
#include <span>
#include <unistd.h>
#include <vector>

namespace vt {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t BlockBytes = 128; ///< 16 channels x 4 samples x 2 bytes
constexpr int BlocksPerRound = 1990;    ///< what the queue holds, and short: some rounds run undisturbed
constexpr quint32 DepthWanted = 1500;   ///< the producer waits above that, so that nothing is dropped
constexpr quint32 EmergencyDepthWanted = FileWriter::EmergencyQueueSize / 2;

double nanoseconds(Clock::duration duration)
{
    return static_cast<double>(std::chrono::duration_cast<std::chrono::nanoseconds>(duration).count());
}

double quantile(std::vector<double>& values, double fraction)
{
    const auto place =
        values.begin() + static_cast<std::ptrdiff_t>(fraction * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

/// Looking at the counters all the time would slow the worker down.
void lookAgainLater()
{
    for (const auto until = Clock::now() + std::chrono::microseconds(10); Clock::now() < until;) {
    }
}

/// Waits until the writer has room again, as a disk that keeps up has it all the time.
void waitForRoom(const FileWriter& writer)
{
    for (;;) {
        const FileWriter::Statistics now = writer.statistics();
        if (now.currentDepth <= DepthWanted && now.emergencyDepth <= EmergencyDepthWanted)
            return;
        lookAgainLater();
    }
}

/// What a producer pays for one block, the two clock readings included. between() runs after each.
template <typename Between>
void measureEnqueue(benchmark::State& state, Between between)
{
    QTemporaryDir folder(QStringLiteral("./vt_bench"));
    DataFile file;
    if (file.openForWriting(folder.filePath(QStringLiteral("a"))) != FileUtils::OpenResult::Opened) {
        state.SkipWithError("no file");
        return;
    }
    const std::array<std::byte, BlockBytes> block{};
    std::vector<double> costs;
    FileWriter writer;
    writer.start();
    for (auto _ : state) {
        const auto begin = Clock::now();
        writer.queueWrite(&file, block);
        const double cost = nanoseconds(Clock::now() - begin);
        state.SetIterationTime(cost * 1e-9);
        costs.push_back(cost);
        between(writer);
    }
    (void)writer.shutdown(30000);
    state.counters["median_ns"] = quantile(costs, 0.5);
    state.counters["p99_ns"] = quantile(costs, 0.99);
    state.counters["diverted"] = static_cast<double>(writer.statistics().emergencyHits);
}

/// Blocks follow each other closely: the worker is awake.
void enqueueBusy(benchmark::State& state)
{
    measureEnqueue(state, waitForRoom);
}
BENCHMARK(enqueueBusy)->UseManualTime()->Iterations(200000);

/// One block at a time, as in a recording: each has to wake the worker, which costs a system call and, on an
/// idle processor of a virtual machine, its interrupt.
void enqueueIdle(benchmark::State& state)
{
    quint64 written = 0;
    measureEnqueue(state, [&written](const FileWriter& writer) {
        written += BlockBytes;
        while (writer.statistics().bytesWritten < written)
            lookAgainLater();
        for (int i = 0; i < 5; ++i) // it has written, but is not asleep yet
            lookAgainLater();
    });
}
BENCHMARK(enqueueIdle)->UseManualTime()->Iterations(5000);

/// The clock, and the processor time that the calling thread has had: other programs disturb that less.
struct Instant
{
    double wallSeconds = 0.0;
    double processorSeconds = 0.0;

    static Instant now()
    {
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return {nanoseconds(Clock::now().time_since_epoch()) * 1e-9,
                static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9};
    }
};

struct BestCost
{
    double wallSeconds = 1e9;
    double processorSeconds = 1e9;

    void add(const Instant& begin, const Instant& end)
    {
        wallSeconds = std::min(wallSeconds, end.wallSeconds - begin.wallSeconds);
        processorSeconds = std::min(processorSeconds, end.processorSeconds - begin.processorSeconds);
    }
};

/// A target that tells when the worker comes by, and lets it go on when told.
class Milestone : public QIODevice
{
public:
    Milestone() { open(QIODevice::WriteOnly | QIODevice::Unbuffered); }
    std::binary_semaphore reached{0};
    std::binary_semaphore goOn{0};
    Instant left;

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char*, qint64 size) override
    {
        reached.release();
        goOn.acquire();
        left = Instant::now();
        return size;
    }
};

/// One round of both. The writer's is the worker's time for blocks that wait in its queue, which is what
/// limits it: a producer takes a tenth of that for each. The plain writes run while the worker rests, because
/// a system call costs more in a program that has several threads.
void round(DataFile& plain, BestCost& direct, DataFile& queued, BestCost& through)
{
    const std::array<std::byte, BlockBytes> block{};
    Milestone begin;
    Milestone end;
    FileWriter writer;
    writer.start();
    writer.queueWrite(&begin, 0.0);
    begin.reached.acquire();

    const int descriptor = plain.handle();
    const Instant plainBegin = Instant::now();
    for (int i = 0; i < BlocksPerRound; ++i)
        if (::write(descriptor, block.data(), block.size()) != static_cast<ssize_t>(block.size()))
            return;
    direct.add(plainBegin, Instant::now());

    for (int i = 0; i < BlocksPerRound; ++i)
        writer.queueWrite(&queued, block);
    writer.queueWrite(&end, 0.0);
    end.goOn.release();
    begin.goOn.release();
    if (writer.shutdown(30000))
        through.add(begin.left, end.left);
}

void throughput(benchmark::State& state)
{
    QTemporaryDir folder(QStringLiteral("./vt_bench"));
    DataFile plain;
    DataFile queued;
    if (plain.openForWriting(folder.filePath(QStringLiteral("p"))) != FileUtils::OpenResult::Opened ||
        queued.openForWriting(folder.filePath(QStringLiteral("q"))) != FileUtils::OpenResult::Opened) {
        state.SkipWithError("no file");
        return;
    }
    BestCost direct;
    BestCost through;
    for (auto _ : state)
        round(plain, direct, queued, through);
    if (plain.size() != queued.size())
        state.SkipWithError("a block was not written");
    state.counters["plain_blocks_per_s"] = BlocksPerRound / direct.wallSeconds;
    state.counters["writer_blocks_per_s"] = BlocksPerRound / through.wallSeconds;
    state.counters["ratio"] = direct.wallSeconds / through.wallSeconds;
    state.counters["processor_ratio"] = direct.processorSeconds / through.processorSeconds;
}
BENCHMARK(throughput)->Iterations(500)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vt

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type == QtCriticalMsg || type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
