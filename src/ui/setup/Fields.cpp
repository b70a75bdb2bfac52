// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/Fields.h"

#include "ui/Theme.h"

namespace vt::fields {

QLabel* caption(const QString& text, QWidget* field, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setBuddy(field);
    setTextRole(label, TextRole::Caption);
    return label;
}

QLabel* hint(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    setTextRole(label, TextRole::Hint);
    return label;
}

NumberBox::NumberBox(double minimum, double maximum, int decimals, const QString& unit, QWidget* parent)
    : QDoubleSpinBox(parent)
{
    setDecimals(decimals);
    setRange(minimum, maximum);
    if (!unit.isEmpty())
        setSuffix(u' ' + unit);
    setMinimumWidth(fontMetrics().averageCharWidth() * 16);
}

QString NumberBox::textFromValue(double value) const
{
    QString text = QDoubleSpinBox::textFromValue(value);
    if (text.contains(locale().decimalPoint())) {
        while (text.endsWith(locale().zeroDigit()))
            text.chop(1);
        if (text.endsWith(locale().decimalPoint()))
            text.chop(locale().decimalPoint().size());
    }
    return text;
}

} // namespace vt::fields
