// SPDX-License-Identifier: GPL-3.0-or-later
// What the whole program costs while it records 16 channels of the simulated unit in real time: processor
// time of the process (the unit's animals included) and of its interface thread in shares of one core, the
// cost of each refresh, and what is left of it when the window cannot be seen. Then the memory that a week of
// steps takes. On the offscreen platform unless another one is chosen; run it on a build of the release
// preset. Usage: vt_bench_program [seconds per case]
#include "MeasuringApplication.h"
#include "base/TimeSource.h"
#include "session/SessionController.h"
#include "session/StepHistory.h"
#include "simulation/SimulatedUnit.h"
#include "ui/LiveTraces.h"
#include "ui/MainWindow.h"
#include "ui/SetupPanel.h"
#include "ui/Theme.h"
#include "ui/WindowInteraction.h"

#include <QAbstractButton>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <optional>

using namespace vt;

namespace {

constexpr int Channels = 16;
constexpr int SettleMs = 2000; ///< first layout, caches
constexpr int PatienceMs = 60000;
constexpr double BytesPerMiB = 1024.0 * 1024.0;

SimulatedUnit::Config unitConfig()
{
    SimulatedUnit::Config config;
    config.channels = Channels;
    return config;
}

void run(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

bool waitUntil(const std::function<bool()>& condition)
{
    QElapsedTimer waited;
    waited.start();
    while (!condition() && waited.elapsed() < PatienceMs)
        run(50);
    return condition();
}

/// Bytes of the process in memory, where the system tells them in /proc.
std::optional<double> residentBytes()
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    for (const QByteArray& line : file.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.simplified().split(' ').value(1).toDouble() * 1024.0;
    return std::nullopt;
}

/// The program without what needs a network or asks the desktop.
class Program
{
public:
    explicit Program(bench::MeasuringApplication& application)
        : m_application(application), m_unit(unitConfig()), m_session(m_unit, m_time, m_user, {}),
          m_window(m_session, m_user)
    {
        m_window.resize(1600, 1000);
        m_window.show();
    }
    [[nodiscard]] MainWindow& window() { return m_window; }
    [[nodiscard]] LiveTraces& traces() { return *m_window.liveTraces(); }
    void showPage(RecordingPages::Page page) { m_window.pages()->setCurrentIndex(page); }

    [[nodiscard]] bool startRecording()
    {
        if (!waitUntil([this] { return !m_session.devices().empty(); }))
            return false;
        m_window.chooseDevice(m_session.devices().front().name);
        if (!waitUntil([this] { return m_session.status().device.usable; }))
            return false;
        m_window.setupPanel()->setBasePath(m_folder.filePath(QStringLiteral("bench")));
        m_window.findChild<QAbstractButton*>(QStringLiteral("startButton"))->click();
        return waitUntil([this] { return m_session.state() == SessionState::Recording; });
    }
    [[nodiscard]] bool stopRecording()
    {
        m_session.stop(EndReason::UserStop);
        return waitUntil([this] { return m_session.state() == SessionState::Idle; });
    }
    void measure(const char* name, int seconds)
    {
        run(SettleMs);
        (void)m_application.take();
        const std::clock_t cpu = std::clock();
        const double thread = bench::threadSeconds();
        QElapsedTimer wall;
        wall.start();
        run(seconds * 1000);
        const double passed = static_cast<double>(wall.nsecsElapsed()) / 1e9;
        const double process = static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC / passed;
        const double uiThread = (bench::threadSeconds() - thread) / passed;
        const auto refreshes = m_application.take();
        std::printf("%-30s %7.1f %9.1f %7.1f %9.1f %8.2f %8.2f %8.2f\n", name, 100.0 * process,
                    100.0 * uiThread, refreshes.ticks / passed, refreshes.paintings / passed,
                    refreshes.at(0.5), refreshes.at(0.99), refreshes.at(1.0));
        std::fflush(stdout);
    }

private:
    bench::MeasuringApplication& m_application;
    QTemporaryDir m_folder;
    SystemTimeSource m_time;
    SimulatedUnit m_unit;
    WindowInteraction m_user;
    SessionController m_session;
    MainWindow m_window;
};

void measureVisible(Program& program, int seconds)
{
    program.traces().setPage(program.traces().pageCount()); // all of them
    program.measure("signals, 8 s", seconds);
    program.traces().setTimeBase(30);
    program.measure("signals, 30 s", seconds);
    program.traces().setFrozen(true);
    program.measure("signals, frozen", seconds);
    program.traces().setFrozen(false);
    program.traces().setTimeBase(8);
    program.showPage(RecordingPages::Channel);
    program.measure("one channel", seconds);
    program.showPage(RecordingPages::Summary);
    program.measure("sleep summary", seconds);
    program.showPage(RecordingPages::Live);
}

void measureUnseen(Program& program, int seconds)
{
    program.window().showMinimized();
    program.measure("signals, minimised", seconds);
    program.window().showNormal();
    run(SettleMs);
    program.window().hide();
    program.measure("signals, hidden", seconds);
    program.window().show();
    program.measure("signals, shown again", seconds);
}

StepRecord stepAt(qint64 timeMs, int number)
{
    StepRecord record;
    record.time = QDateTime::fromMSecsSinceEpoch(timeMs);
    record.isDecided = true;
    record.channels.resize(Channels);
    for (ChannelStep& step : record.channels) {
        step.decisionStat = std::sin(number / 300.0);
        step.sleeping = step.decisionStat > 0.0;
        step.shownBreathRate = 2.5;
        step.features.signalPower = 0.1;
        step.activityIndex = 1.0;
    }
    return record;
}

/// A week and a day, so that the oldest hours have to go.
void measureMemory()
{
    constexpr int StepsPerDay = 24 * 3600 / StepHistory::StepSeconds;
    constexpr qint64 BeginMs = 1'700'000'000'000;
    const std::optional<double> before = residentBytes();
    StepHistory history;
    history.begin(Channels);
    for (int step = 0; step < 8 * StepsPerDay; ++step)
        history.append(stepAt(BeginMs + qint64{1000} * StepHistory::StepSeconds * step, step));
    const std::optional<double> after = residentBytes();
    std::printf("\n8 days of steps given, %.2f days kept: %.1f MiB counted",
                static_cast<double>(history.size()) / StepsPerDay,
                static_cast<double>(history.bytes()) / BytesPerMiB);
    if (before && after)
        std::printf(", process grown by %.1f MiB", (*after - *before) / BytesPerMiB);
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QStandardPaths::setTestModeEnabled(true); // the caches of whoever runs this stay as they are
    bench::MeasuringApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("vellumtide-bench"));
    QApplication::setQuitOnLastWindowClosed(false);
    applyApplicationStyle(application);
    QApplication::setPalette(Theme::lightPalette());
    const int seconds = argc > 1 ? std::max(QString::fromLocal8Bit(argv[1]).toInt(), 1) : 20;

    measureMemory();
    Program program(application);
    if (!program.startRecording()) {
        std::fprintf(stderr, "The recording does not start\n");
        return 1;
    }
    std::printf("\n%-30s %7s %9s %7s %9s %8s %8s %8s\n", "16 channels, 1600 x 1000", "% core", "% in UI",
                "ticks/s", "paints/s", "50 % ms", "99 % ms", "most ms");
    measureVisible(program, seconds);
    measureUnseen(program, seconds);
    if (!program.stopRecording()) {
        std::fprintf(stderr, "The recording does not end\n");
        return 1;
    }
    return 0;
}
