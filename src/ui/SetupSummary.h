// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"
#include "ui/Card.h"

class QLabel;
class QPushButton;

namespace vt {

class ElidedLabel;

/// The next recording in a few lines, and the way to its setup. Interface thread.
class SetupSummary : public Card
{
    Q_OBJECT
public:
    explicit SetupSummary(QWidget* parent = nullptr);

    void show(const DeviceDetails& device, const RecordingSetup& setup);

signals:
    void openRequested();

private:
    ElidedLabel* m_device;
    ElidedLabel* m_animals;
    ElidedLabel* m_file;
    ElidedLabel* m_stimulation;
    QPushButton* m_open;
};

} // namespace vt
