// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FakeTimeSource.h"
#include "session/SessionController.h"
#include "session/UserInteraction.h"
#include "simulation/SimulatedUnit.h"

#include <QTemporaryDir>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace vt::test {

/// Remembers what the user would have seen and answers questions as told.
class RecordingUser final : public UserInteraction
{
public:
    struct Message
    {
        Severity severity = Severity::Information;
        QString title;
        QString text;
    };
    struct Notice
    {
        QString title;
        QString text;
        QString buttonText;
        std::function<void()> pressed;
    };

    void notify(Severity severity, const QString& title, const QString& text) override;
    void ask(const Question& question, std::function<void(int)> answered) override;
    void showNotice(const QString& id, const QString& title, const QString& text, const QString& buttonText,
                    std::function<void()> pressed) override;
    void closeNotice(const QString& id) override;
    void setRecordingIndicator(const QString& text) override;
    void fatalError(const QString& title, const QString& text) override;

    /// Text of the newest message with this title, or an empty one.
    [[nodiscard]] QString lastText(const QString& title) const;

    std::vector<Message> messages;
    std::vector<Message> fatal;
    std::vector<Question> questions;
    std::map<QString, Notice> notices; ///< open now
    QStringList shown;                 ///< ids of all notices, in order
    QString indicator;
    int answer = 0;
    std::function<void()> beforeAnswer; ///< what happens while a question is open
};

/// A session on the simulated unit with stepped time: data comes only from deliver, timers only fire in it
/// or in time.advance. No widget, no hardware, no waiting for wall-clock time.
class SessionHarness
{
public:
    struct Options
    {
        int channels = 2;
        int animalType = 1;
        bool autoResume = false;
        DaqClaim* claim = nullptr;
        LidWarning::Query lidQuery = {};
        bool* showLidWarning = nullptr; ///< the setting, read and written
        bool devicesOnFakeTime = false; ///< the stimulation unit's clock is the harness's time
    };
    SessionHarness() : SessionHarness(Options{}) {}
    explicit SessionHarness(const Options& options);
    ~SessionHarness();

    /// Runs the event loop until the condition holds; false after 20 s.
    [[nodiscard]] static bool waitUntil(const std::function<bool()>& condition);
    /// Lets fake time pass, stepMs per millisecond, until the condition holds; false after 30 real seconds.
    [[nodiscard]] bool passUntil(const std::function<bool()>& condition, int stepMs);
    /// Lets queued calls of this thread run.
    static void settle();

    /// Asks for the devices and waits for the list.
    [[nodiscard]] bool refresh();
    [[nodiscard]] bool select();
    [[nodiscard]] RecordingSetup setup(const QString& name = QStringLiteral("run")) const;
    /// Select, prepare, start, and the device's task runs.
    [[nodiscard]] bool beginRecording();
    /// True once the device accepts the next block (its task has been set up).
    [[nodiscard]] bool waitForDevice();
    /// Delivers n frames at 1/30 s of fake time each, waiting for the processing; returns how many went in.
    int deliver(int frames);
    /// Lets fake time pass in steps of 100 ms, with the threads settling in between.
    void passTime(int milliseconds);
    [[nodiscard]] bool stopAndWaitIdle();

    [[nodiscard]] QString path(const QString& name) const { return folder.filePath(name); }

    QTemporaryDir folder;
    FakeTimeSource time;
    SimulatedUnit unit;
    RecordingUser user;
    std::unique_ptr<SessionController> session;

private:
    int m_timeDebtUs = 0;
};

} // namespace vt::test
