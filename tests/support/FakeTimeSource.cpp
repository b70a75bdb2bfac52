// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeTimeSource.h"

#include "base/Inbox.h"

#include <QMetaObject>
#include <QPointer>
#include <QThread>
#include <algorithm>

namespace vt::test {

struct FakeTimeSource::TimerState
{
    QPointer<QObject> context;
    std::function<void()> callback;
    qint64 dueUs = 0;
    qint64 intervalUs = 0;
    TimerMode mode = TimerMode::SingleShot;
    bool active = false;
    bool destroyed = false;
    quint64 starts = 0;
};

class FakeTimeSource::FakeTimer final : public Timer
{
public:
    FakeTimer(FakeTimeSource& source, std::shared_ptr<TimerState> state)
        : m_source(source), m_state(std::move(state))
    {}
    ~FakeTimer() override
    {
        MutexLock lock(m_source.m_mutex);
        m_state->active = false;
        m_state->destroyed = true;
        std::erase(m_source.m_timers, m_state);
    }
    void start(int intervalMs, TimerMode mode) override
    {
        MutexLock lock(m_source.m_mutex);
        m_state->intervalUs = qint64{intervalMs} * 1000;
        m_state->dueUs = m_source.m_elapsedUs + m_state->intervalUs;
        m_state->mode = mode;
        m_state->active = true;
        ++m_state->starts;
    }
    void stop() override
    {
        MutexLock lock(m_source.m_mutex);
        m_state->active = false;
        ++m_state->starts;
    }
    [[nodiscard]] bool isActive() const override
    {
        MutexLock lock(m_source.m_mutex);
        return m_state->active;
    }

private:
    FakeTimeSource& m_source;
    std::shared_ptr<TimerState> m_state;
};

FakeTimeSource::FakeTimeSource(const QDateTime& start) : m_start(start) {}
FakeTimeSource::~FakeTimeSource() = default;

QDateTime FakeTimeSource::now() const
{
    return m_start.addMSecs(m_elapsedUs.load() / 1000);
}

qint64 FakeTimeSource::monotonicMs() const
{
    return m_elapsedUs.load() / 1000;
}

qint64 FakeTimeSource::monotonicUs() const
{
    return m_elapsedUs.load();
}

std::unique_ptr<Timer> FakeTimeSource::createTimer(QObject* context, std::function<void()> onTimeout)
{
    auto state = std::make_shared<TimerState>();
    state->context = context;
    state->callback = std::move(onTimeout);
    {
        MutexLock lock(m_mutex);
        m_timers.push_back(state);
    }
    return std::make_unique<FakeTimer>(*this, std::move(state));
}

std::shared_ptr<FakeTimeSource::TimerState> FakeTimeSource::nextDue(qint64 untilUs)
{
    MutexLock lock(m_mutex);
    std::shared_ptr<TimerState> best;
    for (const auto& timer : m_timers)
        if (timer->active && timer->dueUs <= untilUs && (!best || timer->dueUs < best->dueUs))
            best = timer;
    if (!best)
        return nullptr;
    m_elapsedUs = std::max(m_elapsedUs.load(), best->dueUs);
    if (best->mode == TimerMode::Repeating)
        best->dueUs += std::max<qint64>(best->intervalUs, 1);
    else
        best->active = false;
    return best;
}

void FakeTimeSource::advance(qint64 milliseconds)
{
    const qint64 until = m_elapsedUs + milliseconds * 1000;
    while (auto timer = nextDue(until)) {
        QObject* context = timer->context.data();
        if (!context)
            continue;
        if (context->thread() == QThread::currentThread()) {
            timer->callback();
            continue;
        }
        quint64 generation = 0;
        {
            MutexLock lock(m_mutex);
            generation = timer->starts;
        }
        const auto fire = [this, timer, generation] {
            {
                MutexLock lock(m_mutex);
                if (timer->destroyed || timer->starts != generation)
                    return;
            }
            timer->callback();
        };
        if (auto* inbox = dynamic_cast<Inbox*>(context)) // where ThreadSanitizer can see the hand-over
            inbox->post(fire);
        else
            QMetaObject::invokeMethod(context, fire, Qt::QueuedConnection);
    }
    m_elapsedUs = std::max(m_elapsedUs.load(), until);
}

int FakeTimeSource::activeTimers() const
{
    MutexLock lock(m_mutex);
    return static_cast<int>(
        std::count_if(m_timers.begin(), m_timers.end(), [](const auto& timer) { return timer->active; }));
}

} // namespace vt::test
