// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/RefreshTimer.h"

#include <QEvent>
#include <QWidget>
#include <utility>

namespace vt {

RefreshTimer::RefreshTimer(QWidget* view, std::function<void()> refresh)
    : QObject(view), m_view(view), m_refresh(std::move(refresh)), m_timer(this)
{
    m_timer.setInterval(IntervalMs);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, [this] { m_refresh(); });
    view->installEventFilter(this);
}

void RefreshTimer::setWanted(bool wanted)
{
    m_wanted = wanted;
    const bool run = m_wanted && m_seen;
    if (run == m_timer.isActive())
        return;
    if (run)
        m_timer.start();
    else
        m_timer.stop();
}

bool RefreshTimer::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_view && event->type() == QEvent::Show) {
        m_view->window()->removeEventFilter(this);
        m_view->window()->installEventFilter(this);
        if (m_view->window() != m_view)
            m_view->installEventFilter(this);
        look();
    } else if ((watched == m_view && event->type() == QEvent::Hide) ||
               event->type() == QEvent::WindowStateChange) {
        look();
    }
    return QObject::eventFilter(watched, event);
}

void RefreshTimer::look()
{
    // Not by the kind of event: a window that is hidden right after it was restored, or the other way round,
    // is told late, by a second event, of what is past.
    const bool seen = m_view->isVisible() && !m_view->window()->isMinimized();
    const bool appeared = seen && !m_seen;
    m_seen = seen;
    setWanted(m_wanted);
    if (appeared)
        m_refresh();
}

} // namespace vt
