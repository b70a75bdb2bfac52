// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/McuHeader.h"
#include "session/SessionTypes.h"

#include <functional>
#include <memory>
#include <optional>

namespace vt {

class DAQInterface;

/// What a recording is made from, as the session's steps see it, whatever kind of device it is. Interface
/// thread. Calls that take a callback return at once and call back once, always later, on the interface
/// thread; the callback is dropped when another device is selected or the object is destroyed meanwhile.
class RecordingDevice
{
public:
    /// What a look at the device has brought. Without mcu it cannot be recorded from; details.refusal says
    /// why, empty when it just does not answer.
    struct Reading
    {
        DeviceDetails details;
        std::optional<MCUHeader> mcu;
    };
    using Read = std::function<void(const Reading&)>;
    using Done = std::function<void(bool)>;
    /// Reserves the device with this serial number for this instance of the program. Returns why that is not
    /// possible, with the device called name, or an empty text.
    using Reserve = std::function<QString(const QString& serial, const QString& name)>;

    virtual ~RecordingDevice() = default;

    /// Looks at the device and keeps it, until another one is selected.
    virtual void select(const QString& name, Read done) = 0;
    virtual void deselect() = 0;
    /// A fresh look at the selected device, for the header of a recording. setup tells what the device does
    /// not know of itself.
    virtual void read(const RecordingSetup& setup, Read done) = 0;
    /// Before the first segment: does the device work?
    virtual void probe(Done done) = 0;
    /// While a recording is paused: is the device there again?
    virtual void lookForDevice(Done done) = 0;
    /// Makes a device that does not work, or has come back, fit for the next segment.
    virtual void recover(Done done) = 0;
    /// The log line for a recover() that failed while a recording is paused.
    [[nodiscard]] virtual QString notBackText() const = 0;
    /// For one segment, not started. failed may be called on the device's thread, with a text for the user,
    /// when no data comes (any more) and the device has said why.
    [[nodiscard]] virtual std::unique_ptr<DAQInterface>
    makeAcquisition(int channelCount, std::function<void(const QString&)> failed) = 0;
};

} // namespace vt
