// SPDX-License-Identifier: GPL-3.0-or-later
// What the live displays cost the interface thread: processor time of each refresh with its painting, and the
// share of a core at 30 refreshes a second, on the offscreen platform unless another one is chosen. Only this
// thread works, so the process's time is the thread's.
// Usage: vt_bench_ui [seconds per case]
#include "DisplayFeed.h"
#include "MeasuringApplication.h"
#include "ui/LiveTraces.h"
#include "ui/RefreshTimer.h"
#include "ui/Theme.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>

using namespace vt;

namespace {

constexpr int Channels = 16;
constexpr int FramesPerStep = 60;

void measure(bench::MeasuringApplication& application, bench::DisplayFeed& feed, const char* name,
             QWidget& view, int seconds, const std::function<void()>& addStep)
{
    QWidget window;
    QVBoxLayout layout(&window);
    layout.addWidget(&view);
    window.resize(1600, 1000);
    window.show();
    QEventLoop loop;
    QTimer frames;
    int pushed = 0;
    QObject::connect(&frames, &QTimer::timeout, &loop, [&] {
        feed.pushFrame();
        if (++pushed % FramesPerStep == 0) {
            feed.pushStep();
            addStep();
        }
    });
    frames.setTimerType(Qt::PreciseTimer);
    frames.start(RefreshTimer::IntervalMs);
    const auto run = [&loop](int ms) {
        QTimer::singleShot(ms, &loop, &QEventLoop::quit);
        loop.exec();
    };
    run(1000); // first layout, caches
    (void)application.take();
    const std::clock_t cpu = std::clock();
    QElapsedTimer wall;
    wall.start();
    run(seconds * 1000);
    const double cpuShare = static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC /
                            (static_cast<double>(wall.elapsed()) / 1000.0);
    const bench::MeasuringApplication::Refreshes refreshes = application.take();
    std::printf("%-36s %6zu %9.2f %9.2f %9.2f %9.1f %%\n", name, refreshes.ms.size(), refreshes.at(0.5),
                refreshes.at(0.99), refreshes.at(1.0), 100.0 * cpuShare);
    std::fflush(stdout);
    view.setParent(nullptr);
}

} // namespace

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    bench::MeasuringApplication application(argc, argv);
    applyApplicationStyle(application);
    QApplication::setPalette(Theme::lightPalette());
    const int seconds = argc > 1 ? std::max(QString::fromLocal8Bit(argv[1]).toInt(), 1) : 10;

    bench::DisplayFeed feed(Channels);
    std::printf("%-36s %6s %9s %9s %9s %11s\n", "16 channels, 1600 x 1000", "count", "median ms", "99 % ms",
                "most ms", "of a core");
    LiveTraces traces;
    traces.setHistory(&feed.history());
    traces.start(feed.animalIds(), feed.rawSource());
    const auto step = [&traces] { traces.addStep(); };
    traces.setPage(traces.pageCount()); // all of them
    for (const int timeBase : {8, 30}) {
        traces.setTimeBase(timeBase);
        measure(application, feed, timeBase == 8 ? "signals, 8 s" : "signals, 30 s", traces, seconds, step);
    }
    traces.setView(traceview::View::Power);
    traces.setTimeBase(24 * 3600);
    measure(application, feed, "power, 24 h", traces, seconds, step);
    traces.setView(traceview::View::Signal);
    traces.setFrozen(true);
    measure(application, feed, "signals, frozen", traces, seconds, step);

    SingleChannelView single;
    single.start(feed.animalIds(), feed.sources());
    measure(application, feed, "single channel", single, seconds, [&single] { single.addStep(); });
    return 0;
}
