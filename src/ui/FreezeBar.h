// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QWidget>

class QKeyEvent;
class QPushButton;
class QScrollBar;
class QWheelEvent;

namespace vt {

class ElidedLabel;

/// Below live displays: freezes the picture, scrolls back through what came before, and says which time is
/// shown. Positions count backwards from the moment of freezing in units of the display (samples or steps).
/// Interface thread.
class FreezeBar : public QWidget
{
    Q_OBJECT
public:
    explicit FreezeBar(QWidget* parent = nullptr);

    /// Width of what stands left of the traces: the scroll bar begins where they do.
    void setButtonColumnWidth(int width);
    void setFrozen(bool frozen);
    [[nodiscard]] bool isFrozen() const { return m_frozen; }
    /// mostBack: how far back the picture's end can go; visible: length of the picture.
    void setExtent(int mostBack, int visible);
    /// How far the picture's end lies before the moment of freezing; 0 while nothing is frozen.
    [[nodiscard]] int back() const;
    void setBack(int back);
    /// Beside the button; a warning when the picture is frozen.
    void setText(const QString& text);
    /// Name of the text's label, for tests and assistive technology.
    void setTextName(const QString& objectName);

    /// Left, Right: a tenth of the picture; Page Up, Page Down: the whole; Home, End: oldest and newest;
    /// Escape: back to now. False when the key is none of them or nothing is frozen.
    bool handleKey(const QKeyEvent& event);
    /// A notch is a tenth of the picture, upwards to older samples. False when nothing is frozen.
    bool handleWheel(const QWheelEvent& event);

    /// "14:03:10 – 14:03:18", with dates where it is not today. Milliseconds since the epoch.
    [[nodiscard]] static QString timeText(qint64 fromMs, qint64 toMs);
    /// "14:03:18".
    [[nodiscard]] static QString clockText(qint64 timeMs);

signals:
    /// The user wants it; setFrozen does it.
    void freezeRequested(bool frozen);
    void moved();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void step(int by);

    QPushButton* m_button;
    ElidedLabel* m_text;
    QScrollBar* m_scroll;
    int m_wheelRest = 0;
    bool m_frozen = false;
};

} // namespace vt
