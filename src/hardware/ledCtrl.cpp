// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/ledCtrl.h"

#include "daqmx/DaqmxStatus.h"

#include <QDebug>

namespace vt {

namespace {

constexpr std::uint32_t LightOn = 1U << 3; ///< port-aligned: line 3
constexpr double WriteTimeoutSeconds = 1.0;

} // namespace

ledCtrl::ledCtrl(DaqmxApi& driver, const QString& device) : m_driver(driver)
{
    if (device.isEmpty()) {
        qDebug("ledCtrl: empty DAQ name — skipping task creation. setLEDCTRL() will be a no-op until "
               "reconstructed with a valid device.");
        return;
    }
    const QByteArray line = (device + QStringLiteral("/port0/line3")).toLocal8Bit();
    std::int32_t status = driver.DAQmxCreateTask("", &m_task);
    if (status < 0)
        m_task = nullptr;
    else
        status = driver.DAQmxCreateDOChan(m_task, line.constData(), "", daqmx::ValChanForAllLines);
    if (status >= 0)
        status = driver.DAQmxStartTask(m_task);
    if (status >= 0)
        return;
    qWarning().noquote() << "ledCtrl::ledCtrl"
                         << "DAQ ERROR" << daqmxExtendedErrorText(driver);
    clearTask();
}

ledCtrl::~ledCtrl()
{
    clearTask();
}

void ledCtrl::clearTask()
{
    if (!m_task)
        return;
    for (const std::int32_t status : {m_driver.DAQmxStopTask(m_task), m_driver.DAQmxClearTask(m_task)})
        if (status < 0)
            qDebug().noquote() << "ledCtrl::clearTask - error code:" << status;
    m_task = nullptr;
}

bool ledCtrl::setLEDCTRL(bool enable)
{
    if (!m_task)
        return false;
    const std::uint32_t word = enable ? LightOn : 0;
    std::int32_t written = 0;
    const std::int32_t status = m_driver.DAQmxWriteDigitalU32(
        m_task, 1, 1, WriteTimeoutSeconds, daqmx::ValGroupByChannel, &word, &written, nullptr);
    if (status < 0) {
        qWarning().noquote() << "ledCtrl::setLEDCTRL"
                             << " DAQ ERROR" << daqmxExtendedErrorText(m_driver);
        return false;
    }
    m_isEnabled = enable;
    qDebug().noquote()
        << QStringLiteral("Led enable set to -- %0 -- (0 is LEDs off - on plover).").arg(enable ? 1 : 0);
    return true;
}

bool ledCtrl::toggleLEDCtrl()
{
    return setLEDCTRL(!m_isEnabled);
}

void ledCtrl::getLedState(bool& isEnabled) const
{
    isEnabled = m_isEnabled;
}

} // namespace vt
