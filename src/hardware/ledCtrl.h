// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"

#include <QObject>
#include <QString>

namespace vt {

/// The cage-light enable line, line 3 of port 0. Hardware thread. Without a device, or when its task could
/// not be made, setting it does nothing and returns false.
class ledCtrl : public QObject
{
    Q_OBJECT
public:
    ledCtrl(DaqmxApi& driver, const QString& device);
    ~ledCtrl() override;

    /// False when there is no task or the driver failed; the state stays as it was then.
    Q_INVOKABLE bool setLEDCTRL(bool enable);
    /// Sets the inverse of the state.
    Q_INVOKABLE bool toggleLEDCtrl();
    Q_INVOKABLE void getLedState(bool& isEnabled) const;

private:
    void clearTask();

    DaqmxApi& m_driver;
    daqmx::TaskHandle m_task = nullptr;
    bool m_isEnabled = false;
};

} // namespace vt
