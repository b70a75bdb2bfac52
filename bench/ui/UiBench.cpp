// SPDX-License-Identifier: GPL-3.0-or-later
// What the live displays cost the interface thread: processor time of each refresh with its painting, and the
// share of a core at 30 refreshes a second, on the offscreen platform unless another one is chosen. Only this
// thread works, so the process's time is the thread's.
// Usage: vt_bench_ui [seconds per case]
#include "DisplayFeed.h"
#include "ui/LiveTraces.h"
#include "ui/RefreshTimer.h"
#include "ui/Theme.h"

#include <QApplication>
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

/// Measures the events that make up a refresh: the timer's tick, and the painting that follows it.
class MeasuringApplication final : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject* receiver, QEvent* event) override
    {
        const bool isTick = event->type() == QEvent::Timer && receiver->parent() &&
                            qobject_cast<RefreshTimer*>(receiver->parent());
        const bool isPainting = event->type() == QEvent::UpdateRequest;
        if (!isTick && !isPainting)
            return QApplication::notify(receiver, event);
        const std::clock_t before = std::clock();
        const bool result = QApplication::notify(receiver, event);
        const double ms = static_cast<double>(std::clock() - before) * 1000.0 / CLOCKS_PER_SEC;
        if (isTick)
            m_refreshMs.push_back(ms);
        else if (!m_refreshMs.empty())
            m_refreshMs.back() += ms;
        return result;
    }
    std::vector<double> takeRefreshes()
    {
        std::vector<double> result;
        result.swap(m_refreshMs);
        return result;
    }

private:
    std::vector<double> m_refreshMs;
};

void measure(MeasuringApplication& application, bench::DisplayFeed& feed, const char* name, QWidget& view,
             int seconds, const std::function<void()>& addStep)
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
    (void)application.takeRefreshes();
    const std::clock_t cpu = std::clock();
    QElapsedTimer wall;
    wall.start();
    run(seconds * 1000);
    const double cpuShare = static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC /
                            (static_cast<double>(wall.elapsed()) / 1000.0);
    std::vector<double> refreshes = application.takeRefreshes();
    std::ranges::sort(refreshes);
    const auto at = [&refreshes](double share) {
        return refreshes.empty()
                   ? 0.0
                   : refreshes[static_cast<std::size_t>(share * static_cast<double>(refreshes.size() - 1))];
    };
    std::printf("%-36s %6zu %9.2f %9.2f %9.2f %9.1f %%\n", name, refreshes.size(), at(0.5), at(0.99), at(1.0),
                100.0 * cpuShare);
    std::fflush(stdout);
    view.setParent(nullptr);
}

} // namespace

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    MeasuringApplication application(argc, argv);
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
