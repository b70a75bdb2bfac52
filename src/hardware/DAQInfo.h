// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"
#include "recording/McuHeader.h"

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vt {

class TimeSource;

/// One NI-DAQmx device as enumerated.
struct DAQDevice
{
    QString name;
    QString productType;
    QString serial; ///< decimal
    bool simulated = false;
};

/// Knows the NI-DAQmx devices, which one is selected, and owns what hangs on its digital lines: the hardware
/// thread and the I2C buses. Interface thread; bus transfers run on the hardware thread. Calls that take a
/// callback return at once and call back on the interface thread; a callback is dropped when the object
/// has been destroyed or another device has been selected meanwhile.
class DAQInfo : public QObject
{
    Q_OBJECT
public:
    DAQInfo(DaqmxApi& driver, TimeSource& time, QObject* parent = nullptr);
    ~DAQInfo() override;

    [[nodiscard]] std::vector<DAQDevice> devices() const;
    [[nodiscard]] std::optional<DAQDevice> selectedDevice() const;
    /// Analog inputs that the selected device has, at most 16; 0 when the driver cannot tell.
    [[nodiscard]] int analogInputCount() const;

    /// Resets the device and builds its I2C session; done(ok) when the buses exist.
    void selectDevice(const QString& name, std::function<void(bool)> done);
    void deselect();

    /// Reads the microcontroller's status register; done(answered).
    void probeI2C(std::function<void(bool)> done);
    /// Reads the whole register file (127 bytes); done(empty) on failure.
    void getMCUHeader(std::function<void(std::optional<MCUHeader>)> done);

    /// Polls the driver's device list every 200 ms until the selected device is there with the serial number
    /// that it had when selected; done(false) after timeoutMs.
    void waitForDeviceReady(int timeoutMs, std::function<void(bool)> done);
    /// Waits up to 10000 ms for the device, rebuilds its I2C session and probes the microcontroller.
    /// Refused while acquisition runs. cancel() of a running recovery: select another device or deselect.
    void recoverI2CSession(std::function<void(bool)> done);
    /// One look at the driver's list: is the selected device there, with its serial number?
    [[nodiscard]] bool isDevicePresent();

    void setAcquisitionStarted(bool started);

public slots:
    void refreshDAQList();

signals:
    void deviceListChanged();
    /// The wait for re-enumeration began / ended: the notice titled "DAQ Reconnecting".
    void waitingForDevice(const QString& name);
    void waitingEnded();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

/// The microcontroller's 127 registers, little-endian, as one image.
class MCUBufferMap
{
public:
    explicit MCUBufferMap(std::span<const std::uint8_t, McuRegisterCount> bytes);
    [[nodiscard]] MCUHeader header() const;

private:
    std::array<std::uint8_t, McuRegisterCount> m_bytes;
};

} // namespace vt
