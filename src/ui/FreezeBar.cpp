// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/FreezeBar.h"

#include "ui/ClockText.h"
#include "ui/ElidedLabel.h"
#include "ui/Theme.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QWheelEvent>

#include <algorithm>

namespace vt {

namespace {

constexpr int StepsPerPicture = 10;
constexpr int TextWidth = 300; ///< times of day, and how long ago that was

} // namespace

FreezeBar::FreezeBar(QWidget* parent)
    : QWidget(parent), m_button(new QPushButton(tr("Freeze"), this)),
      m_text(new ElidedLabel(this, Qt::ElideRight)), m_scroll(new QScrollBar(Qt::Horizontal, this))
{
    m_button->setObjectName(QStringLiteral("freezeButton"));
    m_button->setCheckable(true);
    m_button->setToolTip(
        tr("Holds the picture while the recording goes on (F). Then the arrow keys, Page Up, "
           "Page Down, Home, End and the mouse wheel move through what came before; Escape "
           "returns to now."));
    m_button->setAccessibleName(tr("Freeze the picture"));
    setTextRole(m_text, TextRole::Hint);
    m_text->setFixedWidth(TextWidth);
    m_text->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    m_text->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_scroll->setObjectName(QStringLiteral("timeScroll"));
    m_scroll->setAccessibleName(tr("Time shown"));
    m_scroll->setToolTip(tr("Moves the frozen picture through what came before"));
    m_scroll->setFocusPolicy(Qt::StrongFocus);
    QSizePolicy policy = m_scroll->sizePolicy();
    policy.setRetainSizeWhenHidden(true); // nothing jumps when the picture freezes
    m_scroll->setSizePolicy(policy);
    m_scroll->hide();

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(spacing::Medium, 0, spacing::Medium, 0);
    layout->setSpacing(spacing::Medium);
    layout->addWidget(m_button);
    layout->addWidget(m_scroll, 1);
    layout->addWidget(m_text);

    connect(m_button, &QPushButton::clicked, this, &FreezeBar::freezeRequested);
    connect(m_scroll, &QScrollBar::valueChanged, this, &FreezeBar::moved);
    m_button->installEventFilter(this);
    m_scroll->installEventFilter(this);
}

void FreezeBar::setButtonColumnWidth(int width)
{
    m_button->setFixedWidth(width - 2 * spacing::Medium);
}

void FreezeBar::setFrozen(bool frozen)
{
    m_frozen = frozen;
    m_button->setChecked(frozen);
    const bool hadFocus = m_scroll->hasFocus();
    m_scroll->setVisible(frozen);
    setEmphasis(m_text, frozen ? Emphasis::Warning : Emphasis::Muted);
    if (!frozen) {
        setBack(0);
        if (hadFocus)
            m_button->setFocus();
    } else if (isVisible()) {
        m_scroll->setFocus(); // the keys that move the picture work at once
    }
}

void FreezeBar::setExtent(int mostBack, int visible)
{
    const QSignalBlocker quiet(m_scroll);
    m_scroll->setRange(-std::max(mostBack, 0), 0);
    m_scroll->setPageStep(std::max(visible, 1));
    m_scroll->setSingleStep(std::max(visible / StepsPerPicture, 1));
}

int FreezeBar::back() const
{
    return m_frozen ? -m_scroll->value() : 0;
}

void FreezeBar::setBack(int back)
{
    const QSignalBlocker quiet(m_scroll);
    m_scroll->setValue(-back);
}

void FreezeBar::setText(const QString& text)
{
    m_text->setText(text);
}

void FreezeBar::setTextName(const QString& objectName)
{
    m_text->setObjectName(objectName);
}

void FreezeBar::step(int by)
{
    m_scroll->setValue(m_scroll->value() + by);
}

bool FreezeBar::handleKey(const QKeyEvent& event)
{
    if (!m_frozen || event.modifiers().testAnyFlags(Qt::ControlModifier | Qt::AltModifier))
        return false;
    switch (event.key()) {
    case Qt::Key_Left:
        step(-m_scroll->singleStep());
        return true;
    case Qt::Key_Right:
        step(m_scroll->singleStep());
        return true;
    case Qt::Key_PageUp:
        step(-m_scroll->pageStep());
        return true;
    case Qt::Key_PageDown:
        step(m_scroll->pageStep());
        return true;
    case Qt::Key_Home:
        m_scroll->setValue(m_scroll->minimum());
        return true;
    case Qt::Key_End:
        m_scroll->setValue(m_scroll->maximum());
        return true;
    case Qt::Key_Escape:
        emit freezeRequested(false);
        return true;
    default:
        return false;
    }
}

bool FreezeBar::handleWheel(const QWheelEvent& event)
{
    if (!m_frozen)
        return false;
    constexpr int Notch = QWheelEvent::DefaultDeltasPerStep;
    const QPoint delta = event.angleDelta();
    m_wheelRest += delta.y() != 0 ? delta.y() : delta.x();
    const int notches = m_wheelRest / Notch;
    m_wheelRest -= notches * Notch;
    step(-notches * m_scroll->singleStep());
    return true;
}

bool FreezeBar::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (handleKey(*key))
            return true;
        const bool upOrDown = key->key() == Qt::Key_Up || key->key() == Qt::Key_Down;
        if (upOrDown) { // they belong to the display around this bar
            key->ignore();
            return true;
        }
    } else if (event->type() == QEvent::Wheel && watched == m_scroll) {
        return handleWheel(*static_cast<QWheelEvent*>(event));
    }
    return QWidget::eventFilter(watched, event);
}

QString FreezeBar::clockText(qint64 timeMs)
{
    return clocktext::clock(clocktext::at(timeMs));
}

QString FreezeBar::timeText(qint64 fromMs, qint64 toMs)
{
    const QDateTime from = clocktext::at(fromMs);
    return tr("%1 – %2").arg(clocktext::moment(from), clocktext::moment(clocktext::at(toMs), from.date()));
}

} // namespace vt
