// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/RegisterBox.h"

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr int Largest = 255;

/// The largest number, as the field shows it.
double shownMaximum(CageValue what)
{
    const double factor = std::pow(10.0, cageDecimals(what));
    return std::ceil(cageNumber(what, Largest) * factor) / factor;
}

} // namespace

RegisterBox::RegisterBox(CageValue what, QWidget* parent)
    : NumberBox(0.0, shownMaximum(what), cageDecimals(what), cageUnit(what), parent), m_what(what)
{
    setMinimum(cageNumber(what, 0));
    connect(this, &QDoubleSpinBox::valueChanged, this, [this] {
        if (m_isSetting)
            return;
        tellStored();
        emit registerChanged(registerValue());
    });
    connect(this, &QDoubleSpinBox::editingFinished, this, [this] {
        m_isSetting = true;
        setValue(cageNumber(m_what, registerValue()));
        m_isSetting = false;
    });
}

void RegisterBox::tellStored()
{
    const double stored = cageNumber(m_what, registerValue());
    const bool isSame = textFromValue(stored) == textFromValue(value());
    m_storedText = isSame ? QString() : tr("stored as %1 %2").arg(textFromValue(stored), cageUnit(m_what));
    emit storedTextChanged(m_storedText);
}

void RegisterBox::setRegister(quint8 value)
{
    m_isSetting = true;
    setValue(cageNumber(m_what, value));
    m_isSetting = false;
    tellStored();
}

void RegisterBox::stepBy(int steps)
{
    const int next = std::clamp(registerValue() + steps, 0, Largest);
    setValue(cageNumber(m_what, static_cast<quint8>(next)));
    selectAll();
}

} // namespace vt
