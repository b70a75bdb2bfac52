// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/NIDAQ_data_thread.h"

#include "acquisition/AcquisitionCore.h"
#include "daqmx/KeepAlive.h"

#include <QDebug>
#include <algorithm>

namespace vt {

namespace {

constexpr int DestructorWaitMs = 5000;

} // namespace

NIDAQ_data_thread::NIDAQ_data_thread(DaqmxApi& driver, TimeSource& time, const QString& channelList,
                                     int channelCount, QObject* parent)
    : DAQInterface(parent), m_channelCount(std::clamp(channelCount, 1, MaxChannels)),
      m_deviceName(channelList.section(u'/', 0, 0).toLocal8Bit())
{
    const QByteArray bytes = channelList.toLocal8Bit();
    AnalogInputTask::ChannelList field{};
    if (static_cast<std::size_t>(bytes.size()) >= field.size())
        m_startError =
            QStringLiteral("channel list of %1 bytes does not fit: %2").arg(bytes.size()).arg(channelList);
    else if (bytes.isEmpty())
        m_startError = QStringLiteral("channel list is empty");
    else if (channelCount != m_channelCount)
        m_startError = QStringLiteral("channel count %1 is not 1 to %2").arg(channelCount).arg(MaxChannels);
    else
        std::copy(bytes.begin(), bytes.end(), field.begin());
    m_core = std::make_shared<AcquisitionCore>(driver, time, field, m_channelCount);
}

NIDAQ_data_thread::~NIDAQ_data_thread()
{
    if (m_core->stop(DestructorWaitMs))
        return;
    qCritical().noquote() << "NIDAQ_data_thread::~NIDAQ_data_thread - the driver does not return, acquisition"
                             " thread abandoned";
    m_core->forgetOwner();
    keepAliveForever(m_core);
}

void NIDAQ_data_thread::setRequiredSerial(const QString& serial)
{
    bool isNumber = false;
    const std::uint32_t value = serial.toUInt(&isNumber);
    if (isNumber)
        m_requiredSerial = value;
    else
        qWarning().noquote() << "NIDAQ_data_thread::setRequiredSerial - no serial number:" << serial;
}

bool NIDAQ_data_thread::getLatestData(double* buffer, int maxSize, int* samplesRead)
{
    return m_core->queue().getLatestData(buffer, maxSize, samplesRead);
}

qint64 NIDAQ_data_thread::pulledFrameArrivedUs() const
{
    return m_core->queue().takenFrameArrivedUs();
}

int NIDAQ_data_thread::frameSize() const
{
    return m_core->queue().frameSize();
}

void NIDAQ_data_thread::start()
{
    if (m_core->isStarted())
        return;
    if (m_startError.isEmpty()) {
        AcquisitionCore::Owner owner;
        owner.frameQueued = [this] {
            if (m_notifier)
                m_notifier(SamplesPerFrame);
            emit newDAQDataReady(SamplesPerFrame);
        };
        owner.limitReached = [this] { emit frameLimitReached(); };
        owner.frameLimit = m_frameLimit;
        owner.deviceName = m_deviceName;
        owner.serial = m_requiredSerial;
        if (m_core->start(std::move(owner)))
            return;
        m_startError = QStringLiteral("too many acquisition objects");
    }
    qCritical().noquote() << "NIDAQ_data_thread::start -" << m_startError;
}

bool NIDAQ_data_thread::stop(int timeoutMs)
{
    return m_core->stop(timeoutMs);
}

bool NIDAQ_data_thread::released() const
{
    return m_core->isReleased();
}

void NIDAQ_data_thread::setThreadPriority(QThread::Priority priority)
{
    m_core->setPriority(priority);
}

AcquisitionCounters NIDAQ_data_thread::counters() const
{
    return m_core->counters();
}

} // namespace vt
