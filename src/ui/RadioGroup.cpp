// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/RadioGroup.h"

#include "ui/Theme.h"

#include <QAccessibleWidget>
#include <QButtonGroup>
#include <QHBoxLayout>
#include <QPainter>
#include <QPainterPath>
#include <QSignalBlocker>
#include <QStyle>
#include <algorithm>

namespace vt {

namespace {

constexpr int MarkRoom = 18; ///< left and right of a text
constexpr int MarkSide = 10;
constexpr int MarkLeft = 5;
constexpr int HeightRoom = 10; ///< above and below a text together, as in the boxes beside it

QAccessibleInterface* groupInterface(const QString& className, QObject* object)
{
    if (className != QLatin1String(RadioGroup::staticMetaObject.className()))
        return nullptr;
    auto* group = qobject_cast<QWidget*>(object);
    return group ? new QAccessibleWidget(group, QAccessible::Grouping) : nullptr; // its caller owns it
}

} // namespace

RadioSegment::RadioSegment(const QString& text, QWidget* parent) : QRadioButton(text, parent)
{
    setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
}

QFont RadioSegment::chosenFont() const
{
    QFont bold = font();
    bold.setWeight(QFont::DemiBold);
    return bold;
}

QSize RadioSegment::sizeHint() const
{
    const QSize words = QFontMetrics(chosenFont()).size(Qt::TextShowMnemonic, text());
    return {words.width() + 2 * MarkRoom, words.height() + HeightRoom};
}

QSize RadioSegment::minimumSizeHint() const
{
    return sizeHint();
}

bool RadioSegment::hitButton(const QPoint& position) const
{
    return rect().contains(position);
}

void RadioSegment::paintEvent(QPaintEvent*)
{
    const Theme theme = Theme::current();
    const bool isChosen = isChecked();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (isChosen)
        painter.setFont(chosenFont());
    // What was chosen stays readable where it cannot be changed.
    const QColor ink = isEnabled() ? (isChosen ? theme.onAccent : theme.text)
                       : isChosen  ? theme.mutedText
                                   : palette().color(QPalette::Disabled, QPalette::WindowText);
    if (isChosen)
        drawCheckMark(painter,
                      QStyle::visualRect(layoutDirection(), rect(),
                                         QRect(MarkLeft, (height() - MarkSide) / 2, MarkSide, MarkSide)),
                      ink);
    painter.setPen(ink);
    const bool isUnderlined = style()->styleHint(QStyle::SH_UnderlineShortcut, nullptr, this) != 0;
    const QRect place = rect().adjusted(MarkRoom, 0, -MarkRoom, 0);
    painter.drawText(
        place, Qt::AlignCenter | (isUnderlined ? Qt::TextShowMnemonic : Qt::TextHideMnemonic),
        painter.fontMetrics().elidedText(text(), Qt::ElideRight, place.width(), Qt::TextShowMnemonic));
}

RadioGroup::RadioGroup(QWidget* parent)
    : QWidget(parent), m_buttons(new QButtonGroup(this)), m_layout(new QHBoxLayout(this))
{
    [[maybe_unused]] static const bool isInstalled = [] {
        QAccessible::installFactory(groupInterface);
        return true;
    }();
    setFocusPolicy(Qt::StrongFocus); // a caption's mnemonic asks for it; the keys go to the chosen one
    setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(0);
    connect(m_buttons, &QButtonGroup::idToggled, this, [this](int value, bool isChosen) {
        // Tab leads to the chosen one, also when nobody has been here yet.
        choice(value)->setFocusPolicy(isChosen ? Qt::StrongFocus : Qt::ClickFocus);
        if (!isChosen)
            return;
        setFocusProxy(choice(value));
        update();
        emit valueChanged(value);
    });
}

RadioSegment* RadioGroup::addChoice(int value, const QString& text, const QString& toolTip)
{
    auto* segment = new RadioSegment(text, this);
    segment->setToolTip(toolTip);
    segment->setFocusPolicy(Qt::ClickFocus);
    const QList<QAbstractButton*> before = m_buttons->buttons();
    // Behind this widget, not behind all those that were made since.
    setTabOrder(before.isEmpty() ? static_cast<QWidget*>(this) : before.last(), segment);
    m_buttons->addButton(segment, value);
    m_layout->addWidget(segment);
    if (before.isEmpty()) {
        const QSignalBlocker quiet(this);
        segment->setChecked(true);
    }
    return segment;
}

void RadioGroup::clear()
{
    setFocusProxy(nullptr);
    for (QAbstractButton* button : m_buttons->buttons())
        delete button;
}

int RadioGroup::value() const
{
    return m_buttons->checkedId();
}

void RadioGroup::setValue(int value)
{
    if (RadioSegment* segment = choice(value))
        segment->setChecked(true);
}

RadioSegment* RadioGroup::choice(int value) const
{
    return qobject_cast<RadioSegment*>(m_buttons->button(value));
}

void RadioGroup::paintEvent(QPaintEvent*)
{
    if (m_buttons->buttons().isEmpty())
        return;
    const Theme theme = Theme::current();
    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath outline;
    outline.addRoundedRect(frame, spacing::Radius, spacing::Radius);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(outline, isEnabled() ? palette().color(QPalette::Button) : theme.window);
    const QList<QAbstractButton*> buttons = m_buttons->buttons();
    for (const QAbstractButton* button : buttons) {
        QPainterPath part;
        part.addRect(button->geometry());
        if (button->isChecked())
            painter.fillPath(outline.intersected(part), isEnabled() ? theme.accent : theme.border);
        else if (button->underMouse() && isEnabled())
            painter.fillPath(outline.intersected(part), theme.grid);
    }
    painter.setPen(QPen(theme.border, 1.0));
    for (const QAbstractButton* button : buttons)
        if (button->x() > 0)
            painter.drawLine(QPointF(button->x() + 0.5, 1.0), QPointF(button->x() + 0.5, height() - 1.0));
    painter.drawPath(outline);
    const auto focused = std::ranges::find_if(buttons, &QWidget::hasFocus);
    if (focused == buttons.end())
        return;
    painter.setPen(QPen(theme.text, 2.0));
    painter.drawRoundedRect(QRectF((*focused)->geometry()).adjusted(1.0, 1.0, -1.0, -1.0),
                            spacing::Radius - 1, spacing::Radius - 1);
}

} // namespace vt
