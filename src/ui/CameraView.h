// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QElapsedTimer>
#include <QImage>
#include <QTimer>
#include <QWidget>

class QLabel;

namespace vt {

/// The live picture of one camera with what there is to say about it. It only shows: pictures come from
/// outside, and are wanted while it can be seen (see wanted). A picture that is no longer live is dimmed and
/// says why. Interface thread.
class CameraView : public QWidget
{
    Q_OBJECT
public:
    enum class State { Stopped, Connecting, Playing, Waiting };

    explicit CameraView(QWidget* parent = nullptr);

    /// Names the camera ("Cage 3"), also for screen readers.
    void setTitle(const QString& title);
    void showPicture(const QImage& picture);
    /// detail: what is wrong, in plain words; empty when nothing is.
    void showState(State state, const QString& detail);
    /// Pictures per second, over the last seconds; 0: none.
    [[nodiscard]] double frameRate() const { return m_frameRate; }
    /// Where the picture is drawn; empty without one.
    [[nodiscard]] QRect pictureRect() const;
    [[nodiscard]] QString stateText() const;

signals:
    /// Pictures are wanted from now on, or not any longer.
    void wanted(bool isWanted);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    static constexpr int RateIntervalMs = 2000;

    [[nodiscard]] QRect pictureArea() const;
    void updateRate();
    void updateTexts();

    QLabel* m_titleLabel;
    QLabel* m_stateLabel;
    QLabel* m_rateLabel;
    QImage m_picture;
    State m_state = State::Stopped;
    QString m_detail;
    QTimer m_rateTimer;
    QElapsedTimer m_rateClock;
    int m_pictures = 0; ///< since m_rateClock began
    double m_frameRate = 0;
};

} // namespace vt
