// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/TimeSource.h"

#include <QTimer>
#include <chrono>

namespace vt {

namespace {

class QtTimer final : public Timer
{
public:
    QtTimer(QObject* context, std::function<void()> onTimeout)
    {
        m_timer.moveToThread(context->thread());
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, context,
                         [callback = std::move(onTimeout)] { callback(); });
    }
    void start(int intervalMs, TimerMode mode) override
    {
        m_timer.setSingleShot(mode == TimerMode::SingleShot);
        m_timer.start(intervalMs);
    }
    void stop() override { m_timer.stop(); }
    [[nodiscard]] bool isActive() const override { return m_timer.isActive(); }

private:
    QTimer m_timer;
};

template <typename Unit>
qint64 steadyCount()
{
    return std::chrono::duration_cast<Unit>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

QDateTime SystemTimeSource::now() const
{
    return QDateTime::currentDateTime();
}

qint64 SystemTimeSource::monotonicMs() const
{
    return steadyCount<std::chrono::milliseconds>();
}

qint64 SystemTimeSource::monotonicUs() const
{
    return steadyCount<std::chrono::microseconds>();
}

std::unique_ptr<Timer> SystemTimeSource::createTimer(QObject* context, std::function<void()> onTimeout)
{
    return std::make_unique<QtTimer>(context, std::move(onTimeout));
}

} // namespace vt
