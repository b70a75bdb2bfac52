// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/InterruptLine.h"

#include "daqmx/DaqmxStatus.h"

#include <QDebug>

namespace vt {

namespace {
constexpr double ReadTimeoutSeconds = 2.0;
}

bool InterruptLine::open(const QString& channel)
{
    close();
    std::int32_t status = m_driver.DAQmxCreateTask("", &m_task);
    if (status < 0)
        m_task = nullptr;
    else
        status = m_driver.DAQmxCreateDIChan(m_task, channel.toLocal8Bit().constData(), "",
                                            daqmx::ValChanForAllLines);
    if (status >= 0)
        status = m_driver.DAQmxStartTask(m_task);
    if (status >= 0)
        return true;
    m_errorText = daqmxExtendedErrorText(m_driver);
    close();
    return false;
}

void InterruptLine::close()
{
    if (!m_task)
        return;
    for (const std::int32_t status : {m_driver.DAQmxStopTask(m_task), m_driver.DAQmxClearTask(m_task)})
        if (status < 0)
            qDebug().noquote() << "InterruptLine::close - error code:" << status;
    m_task = nullptr;
}

std::optional<InterruptLine::Level> InterruptLine::read()
{
    std::uint8_t level = 0;
    std::int32_t samples = 0;
    std::int32_t bytesPerSample = 0;
    const std::int32_t status =
        m_driver.DAQmxReadDigitalLines(m_task, 1, ReadTimeoutSeconds, daqmx::ValGroupByChannel, &level, 1,
                                       &samples, &bytesPerSample, nullptr);
    if (status >= 0)
        return level != 0 ? Level::High : Level::Low;
    m_errorText = daqmxExtendedErrorText(m_driver);
    return std::nullopt;
}

} // namespace vt
