// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/NiRecordingDevice.h"

#include "acquisition/AcquisitionFrame.h"
#include "acquisition/NIDAQ_data_thread.h"
#include "acquisition/PhysicalChannels.h"
#include "hardware/DAQInfo.h"

#include <algorithm>

namespace vt {

namespace {

int offeredChannels(const MCUHeader& mcu, int analogInputs)
{
    if (mcu.sensorCount >= 1 && mcu.sensorCount <= MaxChannels)
        return mcu.sensorCount;
    return std::min(analogInputs, MaxChannels);
}

} // namespace

NiRecordingDevice::NiRecordingDevice(DaqmxApi& driver, TimeSource& time, DAQInfo& info, Reserve reserve)
    : m_driver(driver), m_time(time), m_info(info)
{
    if (!reserve)
        return;
    m_info.setPermission([this, ask = std::move(reserve)](const DAQDevice& unit) {
        m_refusal = ask(unit.serial, unit.name);
        return m_refusal.isEmpty();
    });
}

void NiRecordingDevice::select(const QString& name, Read done)
{
    m_refusal.clear();
    m_info.selectDevice(name, [this, name, done = std::move(done)](bool ok) {
        m_details = DeviceDetails{};
        m_details.name = name;
        m_details.refusal = m_refusal;
        if (const auto selected = m_info.selectedDevice(); selected && selected->name == name) {
            m_details.productType = selected->productType;
            m_details.serial = selected->serial;
            m_details.simulated = selected->simulated;
        }
        if (ok)
            read({}, done);
        else
            done(reading(std::nullopt));
    });
}

void NiRecordingDevice::deselect()
{
    m_info.deselect();
}

void NiRecordingDevice::read(const RecordingSetup&, Read done)
{
    m_info.getMCUHeader(
        [this, done = std::move(done)](const std::optional<MCUHeader>& mcu) { done(reading(mcu)); });
}

RecordingDevice::Reading NiRecordingDevice::reading(const std::optional<MCUHeader>& mcu)
{
    m_details.usable = mcu.has_value();
    if (mcu) {
        m_details.animalType = mcu->animalType;
        m_details.gain = mcu->gain;
        m_details.offeredChannels = offeredChannels(*mcu, m_info.analogInputCount());
    }
    return {m_details, mcu};
}

void NiRecordingDevice::probe(Done done)
{
    m_info.probeI2C(std::move(done));
}

void NiRecordingDevice::lookForDevice(Done done)
{
    m_info.isDevicePresent(std::move(done));
}

void NiRecordingDevice::recover(Done done)
{
    m_info.recoverI2CSession(std::move(done));
}

QString NiRecordingDevice::notBackText() const
{
    return QStringLiteral("attemptResume: recoverI2CSession failed");
}

std::unique_ptr<DAQInterface> NiRecordingDevice::makeAcquisition(int channelCount,
                                                                 std::function<void(const QString&)>)
{
    auto acquisition = std::make_unique<NIDAQ_data_thread>(
        m_driver, m_time, physicalChannels(m_details.name, channelCount), channelCount);
    acquisition->setRequiredSerial(m_details.serial);
    return acquisition;
}

} // namespace vt
