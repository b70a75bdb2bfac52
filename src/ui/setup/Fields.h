// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDoubleSpinBox>
#include <QLabel>
#include <QString>

/// Small parts of the setup's forms, so that all of them look and speak alike. Interface thread.
namespace vt::fields {

/// Names a field for screen readers and explains it to everybody else.
template <typename Field>
Field* describe(Field* field, const QString& name, const QString& toolTip)
{
    field->setAccessibleName(name);
    field->setToolTip(toolTip);
    return field;
}

/// Names the field beside or below it; a mnemonic leads into the field.
[[nodiscard]] QLabel* caption(const QString& text, QWidget* field, QWidget* parent);
/// Explains, over as many lines as it takes.
[[nodiscard]] QLabel* hint(const QString& text, QWidget* parent);

/// A number without trailing zeros: "1.5 s", "60 s".
class NumberBox : public QDoubleSpinBox
{
    Q_OBJECT
public:
    NumberBox(double minimum, double maximum, int decimals, const QString& unit, QWidget* parent);
    [[nodiscard]] QString textFromValue(double value) const override;
};

} // namespace vt::fields
