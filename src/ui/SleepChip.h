// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/StatusText.h"

#include <QLabel>

namespace vt {

/// The sleep state of a channel as a word in a frame, which the style sheet fills for sleep and dashes where
/// there is no signal. Interface thread.
class SleepChip : public QLabel
{
    Q_OBJECT
public:
    explicit SleepChip(QWidget* parent = nullptr);
    /// Whether another state is shown now.
    bool setSleep(statustext::SleepDisplay display);
};

} // namespace vt
