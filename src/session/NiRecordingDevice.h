// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/RecordingDevice.h"

namespace vt {

class DAQInfo;
class DaqmxApi;
class TimeSource;

/// An NI-DAQmx unit with its microcontroller. See RecordingDevice.
class NiRecordingDevice final : public RecordingDevice
{
public:
    /// driver, time and info outlive the object. reserve may be empty.
    NiRecordingDevice(DaqmxApi& driver, TimeSource& time, DAQInfo& info, Reserve reserve);

    void select(const QString& name, Read done) override;
    void deselect() override;
    void read(const RecordingSetup& setup, Read done) override;
    void probe(Done done) override;
    void lookForDevice(Done done) override;
    void recover(Done done) override;
    [[nodiscard]] QString notBackText() const override;
    /// failed is never called: the device starts over by itself.
    [[nodiscard]] std::unique_ptr<DAQInterface>
    makeAcquisition(int channelCount, std::function<void(const QString&)> failed) override;

private:
    [[nodiscard]] Reading reading(const std::optional<MCUHeader>& mcu);

    DaqmxApi& m_driver;
    TimeSource& m_time;
    DAQInfo& m_info;
    DeviceDetails m_details;
    QString m_refusal; ///< why the device last asked for was not selected
};

} // namespace vt
