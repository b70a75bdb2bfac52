// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/StimulationValues.h"
#include "ui/setup/Fields.h"

namespace vt {

/// A number in Hz, V or s for a register of the stimulation unit that holds steps only. Whatever is typed is
/// taken; what the register will hold is told at once, and shown when the field is left. Interface thread.
class RegisterBox : public fields::NumberBox
{
    Q_OBJECT
public:
    RegisterBox(CageValue what, QWidget* parent);

    void setRegister(quint8 value);
    [[nodiscard]] quint8 registerValue() const { return cageRegister(m_what, value()); }
    /// "stored as 1.5 s", after something else was typed; else empty.
    [[nodiscard]] QString storedText() const { return m_storedText; }
    void stepBy(int steps) override;

signals:
    /// By the user.
    void registerChanged(quint8 value);
    void storedTextChanged(const QString& text);

private:
    void tellStored();

    const CageValue m_what;
    QString m_storedText;
    bool m_isSetting = false;
};

} // namespace vt
