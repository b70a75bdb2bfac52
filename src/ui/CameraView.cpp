// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/CameraView.h"

#include "ui/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>
#include <algorithm>

namespace vt {

namespace {

constexpr int SmallestPictureHeight = 120;
// Around a picture in every theme: what is white in a picture stays what the eye compares with.
const QColor Backdrop(16, 18, 20);
const QColor OnBackdrop(235, 238, 240);
constexpr int DimmedAlpha = 190;

Emphasis emphasisOf(CameraView::State state)
{
    switch (state) {
    case CameraView::State::Playing:
        return Emphasis::Good;
    case CameraView::State::Waiting:
        return Emphasis::Warning;
    case CameraView::State::Stopped:
    case CameraView::State::Connecting:
        break;
    }
    return Emphasis::Muted;
}

} // namespace

CameraView::CameraView(QWidget* parent)
    : QWidget(parent), m_titleLabel(new QLabel(this)), m_stateLabel(new QLabel(this)),
      m_rateLabel(new QLabel(this)), m_rateTimer(this)
{
    setTextRole(m_titleLabel, TextRole::Body);
    setTextRole(m_rateLabel, TextRole::Caption);
    m_titleLabel->hide(); // until there is one
    m_rateLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    auto* line = new QHBoxLayout; // owned by the outer layout below
    line->setSpacing(spacing::Small);
    line->addWidget(m_titleLabel);
    line->addWidget(m_stateLabel);
    line->addStretch();
    line->addWidget(m_rateLabel);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(spacing::Tiny);
    column->addStretch();
    column->addLayout(line);
    setMinimumSize(160, SmallestPictureHeight + m_stateLabel->sizeHint().height() + spacing::Tiny);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    m_rateTimer.setInterval(RateIntervalMs);
    connect(&m_rateTimer, &QTimer::timeout, this, &CameraView::updateRate);
    updateTexts();
}

void CameraView::setTitle(const QString& title)
{
    m_titleLabel->setText(title);
    m_titleLabel->setVisible(!title.isEmpty());
    updateTexts();
}

void CameraView::showPicture(const QImage& picture)
{
    m_picture = picture;
    ++m_pictures;
    update(pictureArea());
}

void CameraView::showState(State state, const QString& detail)
{
    m_state = state;
    m_detail = detail;
    if (state != State::Playing) {
        m_pictures = 0;
        m_frameRate = 0;
        m_rateClock.restart();
    }
    updateTexts();
    update();
}

QString CameraView::stateText() const
{
    switch (m_state) {
    case State::Stopped:
        return tr("Off");
    case State::Connecting:
        return tr("Connecting …");
    case State::Playing:
        return tr("Live");
    case State::Waiting:
        break;
    }
    return tr("No live picture");
}

QRect CameraView::pictureArea() const
{
    return {0, 0, width(), std::max(1, m_stateLabel->geometry().top() - spacing::Tiny)};
}

QRect CameraView::pictureRect() const
{
    if (m_picture.isNull())
        return {};
    const QRect area = pictureArea();
    QRect target(QPoint(), m_picture.size().scaled(area.size(), Qt::KeepAspectRatio));
    target.moveCenter(area.center());
    return target;
}

void CameraView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QRect area = pictureArea();
    painter.fillRect(area, Backdrop);
    if (!m_picture.isNull()) {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(pictureRect(), m_picture);
    }
    if (m_state == State::Playing && !m_picture.isNull())
        return;
    QColor veil = Backdrop;
    veil.setAlpha(DimmedAlpha);
    painter.fillRect(area, veil);
    painter.setPen(OnBackdrop);
    painter.setFont(Theme::font(TextRole::Body, font()));
    const QString text = m_detail.isEmpty() ? stateText() : stateText() + u'\n' + m_detail;
    const int margin = spacing::Large;
    painter.drawText(area.adjusted(margin, margin, -margin, -margin), Qt::AlignCenter | Qt::TextWordWrap,
                     text);
}

void CameraView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    m_rateClock.start();
    m_pictures = 0;
    m_rateTimer.start();
    emit wanted(true);
}

void CameraView::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    m_rateTimer.stop();
    emit wanted(false);
}

void CameraView::updateRate()
{
    const qint64 elapsedMs = m_rateClock.restart();
    m_frameRate = elapsedMs > 0 ? 1000.0 * m_pictures / static_cast<double>(elapsedMs) : 0;
    m_pictures = 0;
    updateTexts();
}

void CameraView::updateTexts()
{
    m_stateLabel->setText(stateText());
    m_stateLabel->setToolTip(m_detail);
    setEmphasis(m_stateLabel, emphasisOf(m_state));
    m_rateLabel->setText(m_frameRate > 0 ? tr("%1 pictures/s").arg(m_frameRate, 0, 'f', 1) : QString());
    const QString name =
        m_titleLabel->text().isEmpty() ? tr("Camera") : tr("Camera, %1").arg(m_titleLabel->text());
    setAccessibleName(name);
    setAccessibleDescription(m_detail.isEmpty() ? stateText()
                                                : stateText() + QStringLiteral(": ") + m_detail);
}

} // namespace vt
