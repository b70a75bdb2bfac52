// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "acquisition/DAQInterface.h"

#include <QString>
#include <memory>

namespace vt {

class TimeSource;
struct StrivixCounters;

/// Acquires from the serial amplifier: 600 Hz, one or two channels, one frame per 20 samples. The port is
/// opened, identified, read and closed on a thread of its own.
///
/// Unlike an NI-DAQmx unit it is not set up again after a failure: errorOccurred() tells why, no more data
/// comes, and a new object is made for the next segment once the port is back. Samples that had arrived
/// before the port disappeared are still delivered; up to 19 that make no frame any more are counted.
///
/// time must outlive the object and, when stop() returned false, last until released().
class StrivixDAQAdapter final : public DAQInterface
{
    Q_OBJECT
public:
    /// portName: as the system names it, or a path. channelCount 1 (channel 1 of the device) or 2.
    StrivixDAQAdapter(TimeSource& time, const QString& portName, int channelCount, QObject* parent = nullptr);
    ~StrivixDAQAdapter() override;

    bool getLatestData(double* buffer, int maxSize, int* samplesRead) override;
    [[nodiscard]] int frameSize() const override;
    [[nodiscard]] int channelCount() const override { return m_channelCount; }
    void start() override;
    /// 1000 ms are enough unless the system holds up the port itself.
    [[nodiscard]] bool stop(int timeoutMs) override;
    [[nodiscard]] bool released() const override;
    void setThreadPriority(QThread::Priority priority) override;
    /// readErrors are serial errors; restarts stay 0.
    [[nodiscard]] AcquisitionCounters counters() const override;

    /// Only a device that calls itself exactly this is started: another may have been plugged in at the same
    /// port. Set before start(); empty: any serial amplifier.
    void setRequiredIdentity(const QString& identity) { m_requiredIdentity = identity; }
    /// How often the port is opened and asked until somebody has been identified (StrivixDevice::setTries); a
    /// stream that has begun is not begun again. Set before start().
    void setTries(int tries) { m_tries = tries; }
    /// Bytes, samples and underruns. Any thread.
    [[nodiscard]] const StrivixCounters& deviceCounters() const;

signals:
    /// The stream is about to start. Emitted on the device's thread.
    void identified(const QString& identity);
    /// Why there is no data, or no more. Emitted on the device's thread.
    void errorOccurred(const QString& text);

private:
    class Core;

    const QString m_portName;
    const int m_channelCount;
    QString m_requiredIdentity;
    int m_tries = 1;
    std::shared_ptr<Core> m_core;
};

} // namespace vt
