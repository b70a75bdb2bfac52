// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "acquisition/DAQInterface.h"
#include "daqmx/DaqmxApi.h"

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <memory>
#include <optional>

namespace vt {

class AcquisitionCore;
class TimeSource;

/// Acquires from an NI-DAQmx unit: 600 Hz per channel, one frame every 20 samples. Set-up, recovery and
/// tear-down run on an own thread, reads in the driver's callback.
///
/// After a read that fails once data has flowed the task is set up anew at once; attempts that follow without
/// a second of data in between wait 0.5 s, 1 s, 2 s, then 2 s each. The time without data is counted.
///
/// driver and time must outlive the object and, when stop() returned false, last until released(). An object
/// that is destroyed before that leaves what the driver may still touch behind; it is never called again.
class NIDAQ_data_thread final : public DAQInterface
{
    Q_OBJECT
public:
    /// channelList: physical channels as the driver names them, at most 63 bytes. channelCount 1..16, as
    /// many as the list names.
    NIDAQ_data_thread(DaqmxApi& driver, TimeSource& time, const QString& channelList, int channelCount,
                      QObject* parent = nullptr);
    ~NIDAQ_data_thread() override;

    bool getLatestData(double* buffer, int maxSize, int* samplesRead) override;
    [[nodiscard]] qint64 pulledFrameArrivedUs() const override;
    [[nodiscard]] int frameSize() const override;
    [[nodiscard]] int channelCount() const override { return m_channelCount; }
    /// Does nothing but log when startError() is not empty.
    void start() override;
    [[nodiscard]] bool stop(int timeoutMs) override;
    [[nodiscard]] bool released() const override;
    void setThreadPriority(QThread::Priority priority) override;
    [[nodiscard]] AcquisitionCounters counters() const override;

    /// A task that failed is only set up anew while the unit has this serial number (decimal); it may have
    /// been swapped for another under the same name. Set before start(); none: any unit.
    void setRequiredSerial(const QString& serial);

    /// Why this object cannot be started (channel list too long, channel count out of range), or empty.
    [[nodiscard]] QString startError() const { return m_startError; }

private:
    const int m_channelCount;
    const QByteArray m_deviceName;
    std::optional<std::uint32_t> m_requiredSerial;
    QString m_startError;
    std::shared_ptr<AcquisitionCore> m_core;
};

} // namespace vt
