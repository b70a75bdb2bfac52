// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"
#include "hardware/BuildInfoCache.h"
#include "hardware/DeviceList.h"
#include "recording/McuHeader.h"

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vt {

class StimulationHardware;
class TimeSource;

/// Knows the NI-DAQmx devices, which one is selected, and owns what hangs on its digital lines: the hardware
/// thread, the cage light, the I2C buses and the units on them. Interface thread; driver calls run on the
/// hardware thread. Calls that take a callback return at once and call back on the interface thread; a
/// callback is dropped when the object has been destroyed or another device has been selected meanwhile.
///
/// driver and time must stay alive until the process ends when a driver call hangs longer than the destructor
/// waits (5 s), else as long as the object.
class DAQInfo : public QObject
{
    Q_OBJECT
public:
    DAQInfo(DaqmxApi& driver, TimeSource& time, QObject* parent = nullptr);
    ~DAQInfo() override;

    [[nodiscard]] std::vector<DAQDevice> devices() const;
    /// Stays selected while it is unplugged, until deselect() or another selection.
    [[nodiscard]] std::optional<DAQDevice> selectedDevice() const;
    /// Analog inputs that the selected device has, at most 16; 0 when the driver cannot tell. Known when
    /// selectDevice has called back.
    [[nodiscard]] int analogInputCount() const;

    /// Gives up the device selected before, looks at the driver's list, resets the device and builds its I2C
    /// session; done(ok) when the buses exist, ok when the microcontroller's bus can be used. A device that
    /// is not listed then, or whose serial number the driver does not tell, is not selected. Of a driver that
    /// does not tell its list within 5 s the last list counts. Nothing is selected before the list is there;
    /// of several calls the latest counts.
    void selectDevice(const QString& name, std::function<void(bool)> done);
    /// Asked by selectDevice before it touches a device; a device that it refuses is not selected.
    void setPermission(std::function<bool(const DAQDevice&)> mayUse);
    void deselect();

    /// Reads the microcontroller's status register; done(answered). Also false when another bus has failed
    /// since the device was set up, so that a recovery follows.
    void probeI2C(std::function<void(bool)> done);
    /// Reads the whole register file (127 bytes); done(empty) on failure, and when what was read is not a
    /// register file of the known layout. When a bus has failed since the device was set up, the I2C session
    /// is rebuilt before, unless acquisition runs.
    void getMCUHeader(std::function<void(std::optional<MCUHeader>)> done);

    /// 16-bit words of the microcontroller's EEPROM at even addresses, 0 to 254. One access at a time; done
    /// comes when the unit is ready for the next. Empty / false on failure.
    void readDataEE(int address, std::function<void(std::optional<quint16>)> done);
    void writeDataEE(int address, quint16 value, std::function<void(bool)> done);

    /// The stimulation unit and the port expanders of the selected device; lives as long as this object.
    [[nodiscard]] StimulationHardware& stimulation();

    /// Where build information is kept; the application's data folder when not called.
    void setBuildInfoCachePath(const QString& path);

    /// Polls the driver's device list every 200 ms until the selected device is there with the serial number
    /// that it had when selected; done(false) after timeoutMs. A wait that is under way ends with
    /// done(false) when another one begins.
    void waitForDeviceReady(int timeoutMs, std::function<void(bool)> done);
    /// Waits up to 10000 ms for the device, rebuilds its I2C session and probes the microcontroller.
    /// Refused while acquisition or another recovery runs. cancel() of a running recovery: select another
    /// device or deselect.
    void recoverI2CSession(std::function<void(bool)> done);
    /// One look at the driver's list: is the selected device there, with its serial number? done(false) also
    /// while the driver still owes the answer to the look before.
    void isDevicePresent(std::function<void(bool)> done);

    /// While true the I2C session is left alone, whatever the device list says; only single buses that have
    /// failed are set up again.
    void setAcquisitionStarted(bool started);

    /// Asks the driver for its list; deviceListRefreshed follows when it has answered, later, or after 5 s. A
    /// list that comes later still arrives, with deviceListChanged. While the driver owes the answer to one
    /// look, any number of calls ask for one more.
    Q_SLOT void refreshDAQList();
    /// From refreshDAQList or selectDevice to deviceListRefreshed.
    [[nodiscard]] bool isRefreshing() const;

    /// Logs what is known of the selected device.
    Q_SLOT void deviceInfo();
    /// A fresh reading of the unit's build information: kept when valid, else replaced by what it told last
    /// time. The first one since the device was selected counts, until resetBuildInfoLatch.
    Q_SLOT void handleBuildInfoCaptured(const vt::DaqBuildInfo& info, bool valid);
    Q_SLOT void resetBuildInfoLatch();
    Q_SLOT void startDIORecording(int nChannels);
    Q_SLOT void stopDIORecording();
    Q_SLOT void startVexioPolling();
    Q_SLOT void stopVexioPolling();
    Q_SLOT void pulseDioOutputs(std::uint16_t cageMask);
    /// Switches the cage light over; ledStateChanged follows when that worked.
    Q_SLOT void toggleLEDCtrl();

signals:
    // The microcontroller's status byte, polled every 500 ms while a device is selected.
    void pushButtonPressed();
    void sensorCountChanged(int nSensors);
    void sensorShorted(bool shorted);
    void ledStateChanged(bool isEnabled);
    /// valid: fresh or from an earlier session.
    void buildInfoAvailable(const vt::DaqBuildInfo& info, bool valid);
    void deviceListChanged();
    /// The search has ended, whether it changed anything, failed or took too long.
    void deviceListRefreshed();
    /// The wait for re-enumeration began / ended: the notice titled "DAQ Reconnecting".
    void waitingForDevice(const QString& name);
    void waitingEnded();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace vt
