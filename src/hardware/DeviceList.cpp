// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/DeviceList.h"

#include <QDebug>
#include <QStringList>
#include <algorithm>
#include <array>

namespace vt {

namespace {

constexpr std::size_t NameListSize = 4096;
constexpr std::size_t ProductTypeSize = 256;
constexpr int MaxAnalogInputs = 16;

/// The driver's comma-separated lists.
QStringList splitList(const char* text)
{
    QStringList names;
    for (const QString& name : QString::fromLocal8Bit(text).split(u',', Qt::SkipEmptyParts))
        if (!name.trimmed().isEmpty())
            names << name.trimmed();
    return names;
}

std::optional<QStringList> systemDeviceNames(DaqmxApi& driver)
{
    std::array<char, NameListSize> list{};
    const std::int32_t status =
        driver.DAQmxGetSysDevNames(list.data(), static_cast<std::uint32_t>(list.size()));
    if (status < 0) {
        qWarning().noquote() << "DAQmxGetSysDevNames error code:" << status;
        return std::nullopt;
    }
    list.back() = '\0';
    return splitList(list.data());
}

QString serialNumber(DaqmxApi& driver, const QString& name)
{
    std::uint32_t serial = 0;
    const std::int32_t status = driver.DAQmxGetDevSerialNum(name.toLocal8Bit().constData(), &serial);
    if (status < 0) {
        qWarning().noquote() << "DAQmxGetDevSerialNum error code:" << status;
        return {};
    }
    return QString::number(serial);
}

QString productType(DaqmxApi& driver, const QString& name)
{
    std::array<char, ProductTypeSize> type{};
    const std::int32_t status = driver.DAQmxGetDevProductType(name.toLocal8Bit().constData(), type.data(),
                                                              static_cast<std::uint32_t>(type.size()));
    if (status < 0) {
        qWarning().noquote() << "DAQmxGetDevProductType error code:" << status;
        return {};
    }
    type.back() = '\0';
    return QString::fromLocal8Bit(type.data());
}

bool isSimulated(DaqmxApi& driver, const QString& name)
{
    daqmx::Bool32 simulated = 0;
    const std::int32_t status = driver.DAQmxGetDevIsSimulated(name.toLocal8Bit().constData(), &simulated);
    if (status < 0)
        qWarning().noquote() << "DAQmxGetDevIsSimulated error code:" << status;
    return status >= 0 && simulated != 0;
}

} // namespace

std::optional<std::vector<DAQDevice>> enumerateDevices(DaqmxApi& driver)
{
    const std::optional<QStringList> names = systemDeviceNames(driver);
    if (!names)
        return std::nullopt;
    std::vector<DAQDevice> devices;
    QStringList summary;
    for (const QString& name : *names) {
        DAQDevice device{name, productType(driver, name), serialNumber(driver, name),
                         isSimulated(driver, name)};
        qDebug().noquote() << "Device is Sim:" << (device.simulated ? "True" : "False");
        summary << name << QStringLiteral("type") << device.productType;
        devices.push_back(std::move(device));
    }
    qDebug().noquote() << "DAQInfo::refreshDAQList: enumerated" << devices.size()
                       << "device(s):" << summary.join(u' ');
    return devices;
}

DevicePresence lookForDevice(DaqmxApi& driver, const DAQDevice& device)
{
    const std::optional<QStringList> names = systemDeviceNames(driver);
    if (!names || !names->contains(device.name))
        return DevicePresence::Absent;
    const QString serial = serialNumber(driver, device.name);
    if (serial.isEmpty())
        return DevicePresence::Absent; // listed, but does not answer
    return serial == device.serial ? DevicePresence::Present : DevicePresence::OtherSerial;
}

int countAnalogInputs(DaqmxApi& driver, const QString& deviceName)
{
    std::array<char, NameListSize> list{};
    const std::int32_t status = driver.DAQmxGetDevAIPhysicalChans(
        deviceName.toLocal8Bit().constData(), list.data(), static_cast<std::uint32_t>(list.size()));
    if (status < 0) {
        qWarning().noquote() << "DAQmxGetDevAIPhysicalChans error code:" << status;
        return 0;
    }
    list.back() = '\0';
    return static_cast<int>(std::min<qsizetype>(splitList(list.data()).size(), MaxAnalogInputs));
}

} // namespace vt
