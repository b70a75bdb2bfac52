// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QTimer>
#include <functional>

class QWidget;

namespace vt {

/// Calls a view's refresh 30 times a second, as long as the view wants it and can be seen: not while it is
/// hidden, on a page behind another one, or its window is minimised. A view that comes into sight is
/// refreshed once in any case. Interface thread; belongs to the view.
class RefreshTimer : public QObject
{
    Q_OBJECT
public:
    static constexpr int IntervalMs = 33;

    RefreshTimer(QWidget* view, std::function<void()> refresh);

    void setWanted(bool wanted);
    [[nodiscard]] bool isActive() const { return m_timer.isActive(); }
    [[nodiscard]] bool isSeen() const { return m_seen; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void look();

    QWidget* m_view;
    std::function<void()> m_refresh;
    QTimer m_timer;
    bool m_wanted = false;
    bool m_seen = false;
};

} // namespace vt
