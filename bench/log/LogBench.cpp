// SPDX-License-Identifier: GPL-3.0-or-later
// What a line of the log costs its caller, on one thread and on four: in bursts with time for the writer in
// between, as a program logs. Beside it a line through Qt's own handler with the same pattern, whose output
// goes to /dev/null: no disk and no terminal. "ratio" compares the median lines of both, measured in turns in
// the same run.
#include "session/LogManager.h"

#include <QCoreApplication>
#include <QDebug>
#include <QTemporaryDir>
#include <algorithm>
#include <barrier>
#include <benchmark/benchmark.h>
#include <chrono>
#include <fcntl.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace vt {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int LinesPerBurst = 200;
constexpr int Bursts = 50;

/// Nanoseconds of each line that one thread has logged.
using Costs = std::vector<double>;

void logBurst(Costs& costs)
{
    for (int i = 0; i < LinesPerBurst; ++i) {
        const auto begin = Clock::now();
        qDebug("DataManager: Block %d, rate %.1f Hz, file %s", i, 600.0, "night1.bin");
        costs.push_back(std::chrono::duration<double, std::nano>(Clock::now() - begin).count());
    }
}

/// Bursts on so many threads at once.
Costs logOn(int threads)
{
    std::vector<Costs> costs(static_cast<std::size_t>(threads));
    std::barrier together(threads);
    std::vector<std::thread> running;
    for (Costs& own : costs)
        running.emplace_back([&own, &together] {
            together.arrive_and_wait();
            logBurst(own);
        });
    for (std::thread& thread : running)
        thread.join();
    Costs all;
    for (const Costs& own : costs)
        all.insert(all.end(), own.begin(), own.end());
    return all;
}

double quantile(Costs& costs, double fraction)
{
    const auto place =
        costs.begin() + static_cast<std::ptrdiff_t>(fraction * static_cast<double>(costs.size() - 1));
    std::nth_element(costs.begin(), place, costs.end());
    return *place;
}

void append(Costs& to, const Costs& from)
{
    to.insert(to.end(), from.begin(), from.end());
}

void measureLine(benchmark::State& state)
{
    const int threads = static_cast<int>(state.range(0));
    const QTemporaryDir folder(QStringLiteral("./vt_bench"));
    LogManager::Options options;
    options.dataFolder = folder.path();
    options.handleCrashes = false;
    Costs queued;
    Costs plain;
    for (auto _ : state)
        for (int burst = 0; burst < Bursts; ++burst) {
            {
                LogManager log(options);
                append(queued, logOn(threads));
                if (!log.flush(10'000))
                    state.SkipWithError("the log was not written");
            }
            append(plain, logOn(threads));
        }
    const double median = quantile(queued, 0.5);
    const double plainMedian = quantile(plain, 0.5);
    state.counters["median_ns"] = median;
    state.counters["p99_ns"] = quantile(queued, 0.99);
    state.counters["qt_median_ns"] = plainMedian;
    state.counters["qt_p99_ns"] = quantile(plain, 0.99);
    state.counters["ratio"] = median / plainMedian;
}
BENCHMARK(measureLine)->Arg(1)->Arg(4)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vt

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    qSetMessagePattern(QStringLiteral(
        "[%{time yyyy/MM/dd h:mm:ss.zzz} UTC%{time tt} %{if-debug}D%{endif}] %{file}:%{line} - %{message}"));
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
