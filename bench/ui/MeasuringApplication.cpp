// SPDX-License-Identifier: GPL-3.0-or-later
#include "MeasuringApplication.h"

#include "ui/RefreshTimer.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <utility>

namespace vt::bench {

double threadSeconds()
{
#ifdef CLOCK_THREAD_CPUTIME_ID
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
#else
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
#endif
}

bool MeasuringApplication::notify(QObject* receiver, QEvent* event)
{
    const bool isTick = event->type() == QEvent::Timer && receiver->parent() &&
                        qobject_cast<RefreshTimer*>(receiver->parent());
    const bool isPainting = event->type() == QEvent::UpdateRequest;
    if (!isTick && !isPainting)
        return QApplication::notify(receiver, event);
    const double before = threadSeconds();
    const bool result = QApplication::notify(receiver, event);
    const double ms = (threadSeconds() - before) * 1000.0;
    if (isPainting && m_awaitsPainting && !m_refreshes.ms.empty())
        m_refreshes.ms.back() += ms;
    else
        m_refreshes.ms.push_back(ms);
    m_awaitsPainting = isTick;
    m_refreshes.ticks += isTick ? 1 : 0;
    m_refreshes.paintings += isPainting ? 1 : 0;
    return result;
}

double MeasuringApplication::Refreshes::at(double share) const
{
    return ms.empty() ? 0.0 : ms[static_cast<std::size_t>(share * static_cast<double>(ms.size() - 1))];
}

MeasuringApplication::Refreshes MeasuringApplication::take()
{
    Refreshes result = std::exchange(m_refreshes, {});
    std::ranges::sort(result.ms);
    return result;
}

} // namespace vt::bench
