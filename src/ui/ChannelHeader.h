// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/StatusText.h"
#include "ui/TraceViews.h"

#include <QWidget>

class QLabel;
class QToolButton;

namespace vt {

class ElidedLabel;
class SleepChip;

/// Left of a trace: channel number, animal, sleep state as a word, and the trace's range, which is a menu of
/// the channel's own scales. A low row puts all of it on one line. Interface thread.
class ChannelHeader : public QWidget
{
    Q_OBJECT
public:
    explicit ChannelHeader(QWidget* parent = nullptr);
    /// channel: counted from 1.
    void setChannel(int channel, const QString& animalId);
    void setSleep(statustext::SleepDisplay display);
    void setRange(traceview::View view, double range);
    /// The channel's own scale, or AsPage.
    void setScale(const traceview::Scale& scale);
    [[nodiscard]] QString stateText() const;

signals:
    /// Double click, Enter.
    void activated();
    void scaleChosen(vt::traceview::Scale scale);

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void layOut();
    void openMenu(const QPoint& globalPosition);
    void updateAccessibleName();

    QLabel* m_number;
    ElidedLabel* m_animal;
    SleepChip* m_state;
    QToolButton* m_range;
    traceview::View m_view = traceview::View::Signal;
    traceview::Scale m_scale{traceview::ScaleRule::AsPage, 0.0};
    bool m_unnamed = false;
};

} // namespace vt
