// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/StatusText.h"

#include <QWidget>

class QLabel;

namespace vt {

class ElidedLabel;

/// Left of a trace: channel number, animal, sleep state as a word, and the trace's range. Interface thread.
class ChannelHeader : public QWidget
{
    Q_OBJECT
public:
    explicit ChannelHeader(QWidget* parent = nullptr);
    /// channel: counted from 1.
    void setChannel(int channel, const QString& animalId);
    void setSleep(statustext::SleepDisplay display);
    void setRange(double rangeVolts);
    /// "±0.2 V", "±50 mV".
    [[nodiscard]] static QString rangeText(double rangeVolts);
    [[nodiscard]] QString stateText() const;

private:
    void updateAccessibleName();

    QLabel* m_number;
    ElidedLabel* m_animal;
    QLabel* m_state;
    QLabel* m_range;
};

} // namespace vt
