// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/ChannelHeader.h"

#include "ui/ElidedLabel.h"
#include "ui/SleepChip.h"
#include "ui/Theme.h"

#include <QActionGroup>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QToolButton>

#include <algorithm>

namespace vt {

using statustext::SleepDisplay;
using traceview::Scale;
using traceview::ScaleRule;

ChannelHeader::ChannelHeader(QWidget* parent)
    : QWidget(parent), m_number(new QLabel(this)), m_animal(new ElidedLabel(this, Qt::ElideRight)),
      m_state(new SleepChip(this)), m_range(new QToolButton(this))
{
    setFocusPolicy(Qt::TabFocus);
    setTextRole(m_number, TextRole::Caption);
    QFont bold = m_animal->font();
    bold.setWeight(QFont::DemiBold);
    m_animal->setFont(bold);
    m_range->setAutoRaise(true);
    m_range->setFocusPolicy(Qt::NoFocus); // the keyboard opens the menu from the header
    m_range->setFont(Theme::font(TextRole::Caption, font()));
    m_range->setObjectName(QStringLiteral("channelScale"));
    connect(m_range, &QToolButton::clicked, this,
            [this] { openMenu(m_range->mapToGlobal(m_range->rect().bottomLeft())); });
    setScale({ScaleRule::AsPage, 0.0});
}

void ChannelHeader::setChannel(int channel, const QString& animalId)
{
    const QString number = QString::number(channel);
    m_unnamed = animalId.isEmpty() || animalId == number;
    m_number->setText(number);
    m_number->setVisible(!m_unnamed);
    m_animal->setText(m_unnamed ? tr("Channel %1").arg(number) : animalId);
    layOut();
    updateAccessibleName();
}

void ChannelHeader::setSleep(SleepDisplay display)
{
    if (!m_state->setSleep(display))
        return;
    layOut();
    updateAccessibleName();
}

void ChannelHeader::setRange(traceview::View view, double range)
{
    m_view = view;
    const QString text = traceview::rangeText(view, range);
    if (m_range->text() == text)
        return;
    m_range->setText(text);
    m_range->setAccessibleName(tr("Scale: %1").arg(text));
    updateAccessibleName();
    layOut();
}

void ChannelHeader::setScale(const Scale& scale)
{
    m_scale = scale;
    const bool isOwn = scale.rule != ScaleRule::AsPage;
    QFont font = Theme::font(TextRole::Caption, this->font());
    font.setBold(isOwn);
    font.setUnderline(isOwn);
    m_range->setFont(font);
    m_range->setToolTip(isOwn ? tr("Height of the trace area; this channel has a scale of its own")
                              : tr("Height of the trace area; click to give this channel its own"));
    layOut();
}

QString ChannelHeader::stateText() const
{
    return m_state->text();
}

void ChannelHeader::updateAccessibleName()
{
    setAccessibleName(tr("Channel %1, %2, %3").arg(m_number->text(), m_animal->text(), m_state->text()));
    // Low rows have no place for the height beside the trace.
    setToolTip(tr("Channel %1, height of the trace area %2.\nDouble click or Enter: this channel alone. Menu "
                  "key or right click: its scale.")
                   .arg(m_number->text(), m_range->text()));
}

void ChannelHeader::layOut()
{
    const int left = spacing::Medium;
    const int right = width() - spacing::Small;
    const QSize number = m_unnamed ? QSize(-spacing::Small, 0) : m_number->sizeHint();
    const QSize state = m_state->sizeHint();
    const QSize range = m_range->sizeHint();
    const int line = std::max(m_animal->sizeHint().height(), number.height());
    const int textLeft = left + number.width() + spacing::Small;
    const bool twoLines = height() >= line + spacing::Tiny + std::max(state.height(), range.height());
    m_range->setVisible(twoLines);
    if (twoLines) {
        const int second = std::max(state.height(), range.height());
        const int top = (height() - line - spacing::Tiny - second) / 2;
        const int middle = top + line + spacing::Tiny + second / 2;
        m_number->setGeometry(left, top, std::max(number.width(), 0), line);
        m_animal->setGeometry(textLeft, top, right - textLeft, line);
        m_state->setGeometry(QRect(QPoint(left, middle - state.height() / 2), state));
        m_range->setGeometry(QRect(QPoint(right - range.width(), middle - range.height() / 2), range));
        return;
    }
    const int top = (height() - line) / 2;
    m_number->setGeometry(left, top, std::max(number.width(), 0), line);
    m_state->setGeometry(QRect(QPoint(right - state.width(), (height() - state.height()) / 2), state));
    m_animal->setGeometry(textLeft, top, m_state->x() - spacing::Tiny - textLeft, line);
}

void ChannelHeader::openMenu(const QPoint& globalPosition)
{
    std::vector<Scale> scales{{ScaleRule::AsPage, 0.0}, {ScaleRule::Auto, 0.0}};
    for (const double range : traceview::ranges(m_view))
        scales.push_back({ScaleRule::Fixed, range});
    auto* menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("scaleMenu"));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    auto* group = new QActionGroup(menu);
    for (const Scale& scale : scales) {
        QAction* action = menu->addAction(traceview::scaleText(m_view, scale));
        action->setCheckable(true);
        action->setChecked(scale == m_scale);
        group->addAction(action);
        connect(action, &QAction::triggered, this, [this, scale] { emit scaleChosen(scale); });
    }
    menu->popup(globalPosition);
}

void ChannelHeader::contextMenuEvent(QContextMenuEvent* event)
{
    openMenu(event->globalPos());
}

void ChannelHeader::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        emit activated();
    else
        QWidget::keyPressEvent(event);
}

void ChannelHeader::mouseDoubleClickEvent(QMouseEvent* event)
{
    event->accept();
    emit activated();
}

void ChannelHeader::paintEvent(QPaintEvent* event)
{
    QWidget::paintEvent(event);
    if (!hasFocus())
        return;
    QPainter painter(this);
    painter.setPen(QPen(Theme::current().accent, 2.0));
    painter.drawRect(rect().adjusted(2, 2, -2, -2));
}

void ChannelHeader::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    layOut();
}

} // namespace vt
