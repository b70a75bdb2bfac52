// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/I2C.h"

#include "daqmx/DaqmxStatus.h"

#include <QDebug>
#include <algorithm>
#include <array>
#include <cstdio>
#include <span>

namespace vt {

namespace {

constexpr std::uint8_t DefaultPort = 0;
constexpr std::uint8_t DefaultReadLine = 0;
constexpr std::uint8_t DefaultSdaLine = 1;
constexpr std::uint8_t DefaultSclLine = 2;
constexpr std::size_t DeviceNameSize = 256; ///< with the terminating zero
constexpr std::size_t DeviceListSize = 1024;
constexpr double TransferTimeoutSeconds = 2.0;
constexpr int ClearPulses = 9; ///< enough to bring any slave out of the middle of a byte
constexpr std::size_t SamplesPerByte = 8 * 3 + 2;

enum class Transmit { Acknowledged, NotAcknowledged, Failed };
enum class Direction { Write, Read };

} // namespace

struct I2C::Private
{
    explicit Private(DaqmxApi& api) : driver(api) {}

    DaqmxApi& driver;
    std::array<char, DeviceNameSize> device{};
    std::array<char, DeviceListSize> deviceList{};
    std::int32_t status = 0; ///< of the last driver call
    QString errorText;
    daqmx::TaskHandle readTask = nullptr;
    daqmx::TaskHandle writeTask = nullptr;
    bool failed = false;
    std::uint8_t readLine = DefaultReadLine;
    std::uint32_t sda = 2; ///< word with the SDA line high
    std::uint32_t scl = 4; ///< word with the SCL line high
    int bytesRead = 0;     ///< whole bytes that the last transfer brought
    std::function<void()> failureHandler;

    [[nodiscard]] bool isUsable() const { return !failed && readTask && writeTask; }
    [[nodiscard]] std::uint32_t both() const { return sda | scl; }

    void setDevice(const QString& name);
    [[nodiscard]] QString firstDevice();
    void fetchErrorText() { errorText = daqmxExtendedErrorText(driver); }
    void fail();
    void stopTask(daqmx::TaskHandle& task);
    void stopTasks();

    [[nodiscard]] bool openReadTask(const QByteArray& line);
    [[nodiscard]] bool openWriteTask(const QByteArray& lines);
    [[nodiscard]] bool clearBus();

    [[nodiscard]] bool writeSamples(std::span<const std::uint32_t> samples);
    [[nodiscard]] bool writeLevel(std::uint32_t level) { return writeSamples({&level, 1}); }
    [[nodiscard]] bool i2cReadBit(bool& isHigh);
    [[nodiscard]] bool startCondition();
    bool stopCondition();
    [[nodiscard]] Transmit transmitByte(std::uint8_t byte);
    [[nodiscard]] bool receiveByte(std::uint8_t& byte);
    [[nodiscard]] bool answerByte(bool isLast);
    [[nodiscard]] bool addressPhase(std::uint8_t deviceAddress8, std::uint8_t registerAddress,
                                    Direction direction);
    [[nodiscard]] bool receiveBytes(std::span<std::uint8_t> bytes, const std::function<bool()>& isToEnd);
};

// ---- tasks ----

void I2C::Private::setDevice(const QString& name)
{
    const QByteArray bytes = name.toLocal8Bit();
    const auto length = std::min(static_cast<std::size_t>(bytes.size()), device.size() - 1);
    device.fill('\0');
    std::copy_n(bytes.begin(), length, device.begin());
}

QString I2C::Private::firstDevice()
{
    status = driver.DAQmxGetSysDevNames(deviceList.data(), static_cast<std::uint32_t>(deviceList.size()));
    if (status < 0) {
        fetchErrorText();
        qDebug().noquote() << "I2C::I2C"
                           << " DAQ ERROR" << errorText;
        failed = true;
        return {};
    }
    deviceList.back() = '\0';
    std::printf("DAQ names: %s\n", deviceList.data());
    return QString::fromLocal8Bit(deviceList.data()).section(u',', 0, 0).trimmed();
}

/// From here on the hardware is left alone. The error text has been fetched: clearing the tasks would
/// replace it.
void I2C::Private::fail()
{
    failed = true;
    stopTasks();
    if (failureHandler)
        failureHandler();
}

void I2C::Private::stopTask(daqmx::TaskHandle& task)
{
    if (!task)
        return;
    status = driver.DAQmxStopTask(task);
    if (status < 0)
        qDebug().noquote() << "I2C::stopI2C - DAQmxStopTask error code:" << status;
    status = driver.DAQmxClearTask(task);
    if (status < 0)
        qDebug().noquote() << "I2C::stopI2C - DAQmxClearTask error code:" << status;
    task = nullptr;
}

void I2C::Private::stopTasks()
{
    qDebug("I2C::stopI2C");
    stopTask(readTask);
    stopTask(writeTask);
}

bool I2C::Private::openReadTask(const QByteArray& line)
{
    status = driver.DAQmxCreateTask("", &readTask);
    if (status < 0) {
        readTask = nullptr;
        return false;
    }
    status = driver.DAQmxCreateDIChan(readTask, line.constData(), "", daqmx::ValChanForAllLines);
    if (status < 0)
        return false;
    status = driver.DAQmxStartTask(readTask);
    return status >= 0;
}

bool I2C::Private::openWriteTask(const QByteArray& lines)
{
    status = driver.DAQmxCreateTask("", &writeTask);
    if (status < 0) {
        writeTask = nullptr;
        return false;
    }
    status = driver.DAQmxCreateDOChan(writeTask, lines.constData(), "", daqmx::ValChanForAllLines);
    if (status < 0)
        return false;
    status = driver.DAQmxStartTask(writeTask);
    return status >= 0;
}

/// Nine clock pulses with SDA released, a look at the line, and a release that ends like a STOP.
bool I2C::Private::clearBus()
{
    for (int pulse = 0; pulse < ClearPulses; ++pulse)
        if (!writeLevel(both()) || !writeLevel(sda))
            return false;
    if (!writeLevel(both()))
        return false;
    bool isHigh = false;
    if (!i2cReadBit(isHigh)) {
        qDebug("read ACK failed in init");
        return false;
    }
    qDebug().noquote() << "ACK line:" << !isHigh << (isHigh ? "(device detected)" : "(no device detected)");
    return writeLevel(sda) && writeLevel(both());
}

// ---- single driver calls ----

bool I2C::Private::writeSamples(std::span<const std::uint32_t> samples)
{
    if (!isUsable())
        return false;
    std::int32_t written = 0;
    status = driver.DAQmxWriteDigitalU32(writeTask, static_cast<std::int32_t>(samples.size()), 1,
                                         TransferTimeoutSeconds, daqmx::ValGroupByChannel, samples.data(),
                                         &written, nullptr);
    if (status >= 0)
        return true;
    fetchErrorText();
    qDebug().noquote() << "I2C::writeSamples"
                       << "ERROR IN WRITE";
    qDebug().noquote() << errorText;
    fail();
    return false;
}

bool I2C::Private::i2cReadBit(bool& isHigh)
{
    if (!isUsable())
        return false;
    std::uint32_t value = 0;
    std::int32_t read = 0;
    status = driver.DAQmxReadDigitalU32(readTask, 1, TransferTimeoutSeconds, daqmx::ValGroupByChannel, &value,
                                        1, &read, nullptr);
    if (status >= 0) {
        isHigh = ((value >> readLine) & 1U) != 0;
        return true;
    }
    fetchErrorText();
    qDebug("I2C::i2cReadBit");
    qDebug().noquote() << errorText;
    fail();
    return false;
}

// ---- bus conditions and bytes ----

/// SDA falls while SCL is high, then SCL falls. From a running transfer it is a repeated START.
bool I2C::Private::startCondition()
{
    const std::array<std::uint32_t, 3> samples{both(), scl, 0};
    return writeSamples(samples);
}

/// SDA goes low under a low clock, the clock rises, then SDA rises while SCL is high.
bool I2C::Private::stopCondition()
{
    const std::array<std::uint32_t, 5> samples{sda, 0, scl, both(), both()};
    return writeSamples(samples);
}

Transmit I2C::Private::transmitByte(std::uint8_t byte)
{
    std::array<std::uint32_t, SamplesPerByte> samples{};
    std::size_t next = 0;
    for (int bit = 7; bit >= 0; --bit) {
        const std::uint32_t data = ((byte >> bit) & 1) != 0 ? sda : 0;
        samples[next++] = data;
        samples[next++] = data | scl;
        samples[next++] = data;
    }
    samples[next++] = sda;
    samples[next++] = both();
    if (!writeSamples(samples)) {
        qDebug().noquote() << "WriteBuffer ERROR" << errorText;
        return Transmit::Failed;
    }
    bool isHigh = true;
    if (!i2cReadBit(isHigh)) {
        qDebug().noquote() << "ReadACK ERROR" << errorText;
        return Transmit::Failed;
    }
    if (!writeLevel(sda)) {
        qDebug().noquote() << "SetOutput ERROR" << errorText;
        return Transmit::Failed;
    }
    return isHigh ? Transmit::NotAcknowledged : Transmit::Acknowledged;
}

bool I2C::Private::receiveByte(std::uint8_t& byte)
{
    std::uint8_t value = 0;
    for (int bit = 7; bit >= 0; --bit) {
        if (!writeLevel(both()))
            return false;
        bool isHigh = false;
        if (!i2cReadBit(isHigh)) {
            qDebug("ERROR reading byte");
            return false;
        }
        value = static_cast<std::uint8_t>((value << 1) | (isHigh ? 1 : 0));
        if (!writeLevel(sda))
            return false;
    }
    byte = value;
    return true;
}

/// ACK (SDA low for a clock pulse) asks for another byte, NACK ends the read.
bool I2C::Private::answerByte(bool isLast)
{
    if (isLast)
        return writeSamples(std::array<std::uint32_t, 2>{both(), sda});
    return writeSamples(std::array<std::uint32_t, 4>{0, scl, 0, sda});
}

bool I2C::Private::addressPhase(std::uint8_t deviceAddress8, std::uint8_t registerAddress,
                                Direction direction)
{
    Transmit result = transmitByte(deviceAddress8);
    if (result != Transmit::Acknowledged) {
        if (result == Transmit::Failed) {
            qDebug().noquote() << "Device select error" << errorText;
        } else {
            qDebug("Device select NAK");
            stopCondition();
        }
        return false;
    }
    result = transmitByte(registerAddress);
    if (result != Transmit::Acknowledged) {
        if (result == Transmit::Failed) {
            qDebug().noquote() << "Address select ERROR" << errorText;
        } else {
            qDebug("Address select NAK");
            stopCondition();
        }
        return false;
    }
    if (direction == Direction::Write)
        return true;
    result = startCondition() ? transmitByte(deviceAddress8 | 1) : Transmit::Failed;
    if (result == Transmit::Failed)
        qDebug().noquote() << "READ Device select ERROR" << errorText;
    else if (result == Transmit::NotAcknowledged)
        qDebug("READ Device select NAK");
    return result == Transmit::Acknowledged;
}

bool I2C::Private::receiveBytes(std::span<std::uint8_t> bytes, const std::function<bool()>& isToEnd)
{
    bytesRead = 0;
    for (std::uint8_t& byte : bytes) {
        const bool isEnded = bytesRead > 0 && isToEnd && isToEnd();
        if (!receiveByte(byte) || !answerByte(isEnded || &byte == &bytes.back())) {
            qDebug().noquote() << "Error reading byte" << bytesRead;
            return false;
        }
        ++bytesRead;
        if (isEnded)
            break;
    }
    return bytesRead == static_cast<int>(bytes.size());
}

// ---- interface ----

I2C::I2C(DaqmxApi& driver, const QString& device) : d(std::make_unique<Private>(driver))
{
    qDebug("I2C::I2C");
    const QString name = device.isEmpty() ? d->firstDevice() : device;
    i2cInit(name, DefaultPort, DefaultReadLine, DefaultSdaLine, DefaultSclLine);
}

I2C::I2C(DaqmxApi& driver, const QString& device, std::uint8_t port, std::uint8_t readLine,
         std::uint8_t sdaLine, std::uint8_t sclLine)
    : d(std::make_unique<Private>(driver))
{
    qDebug("I2C::I2C");
    i2cInit(device, port, readLine, sdaLine, sclLine);
}

I2C::~I2C()
{
    qDebug("I2C::~I2C");
    stopI2C();
}

bool I2C::i2cInit(const QString& device, std::uint8_t port, std::uint8_t readLine, std::uint8_t sdaLine,
                  std::uint8_t sclLine)
{
    if (d->failed)
        return false;
    if (d->readTask || d->writeTask)
        stopI2C();
    d->setDevice(device);
    d->readLine = readLine;
    d->sda = 1U << sdaLine;
    d->scl = 1U << (sdaLine + 1U);
    const QString portPrefix =
        QStringLiteral("%1/port%2/line").arg(QString::fromLocal8Bit(d->device.data())).arg(port);
    const QString readChannel = portPrefix + QString::number(readLine);
    const QString writeChannel = QStringLiteral("%1%2:%3").arg(portPrefix).arg(sdaLine).arg(sclLine);
    qDebug().noquote() << readChannel;
    qDebug().noquote() << writeChannel;
    if (!d->openReadTask(readChannel.toLocal8Bit()) || !d->openWriteTask(writeChannel.toLocal8Bit())) {
        d->fetchErrorText();
        qDebug().noquote() << "I2C::i2cInit"
                           << " DAQ ERROR" << d->errorText;
        d->fail();
        return false;
    }
    return d->clearBus();
}

bool I2C::i2cWrite(std::uint8_t deviceAddress8, std::uint8_t registerAddress, const std::uint8_t* data,
                   int length)
{
    if (!d->isUsable() || !d->startCondition())
        return false;
    if (!d->addressPhase(deviceAddress8, registerAddress, Direction::Write)) {
        qDebug().noquote() << "I2C::i2cWrite"
                           << " Error selecting device: " << deviceAddress8;
        return false;
    }
    const int count = data ? std::max(length, 0) : 0;
    for (int i = 0; i < count; ++i) {
        const Transmit result = d->transmitByte(data[i]);
        if (result == Transmit::Failed) {
            qDebug().noquote() << "SendByte failed Byte: " << i;
            return false;
        }
        if (result == Transmit::NotAcknowledged) {
            qDebug("Send byte NACKed.");
            return false;
        }
    }
    d->stopCondition();
    return !d->failed;
}

bool I2C::i2cRead(std::uint8_t deviceAddress8, std::uint8_t registerAddress, std::uint8_t* buffer, int length,
                  const std::function<bool()>& isToEnd)
{
    d->bytesRead = 0;
    if (!d->isUsable() || !buffer || length < 1 || !d->startCondition())
        return false;
    if (!d->addressPhase(deviceAddress8, registerAddress, Direction::Read)) {
        qDebug().noquote() << "I2C::i2cRead"
                           << " Error selecting device: " << deviceAddress8;
        return false;
    }
    const bool isComplete = d->receiveBytes({buffer, static_cast<std::size_t>(length)}, isToEnd);
    d->stopCondition();
    return isComplete && !d->failed;
}

void I2C::setFailureHandler(std::function<void()> failed)
{
    d->failureHandler = std::move(failed);
}

void I2C::stopI2C()
{
    d->stopTasks();
}

int I2C::bytesRead() const
{
    return d->bytesRead;
}

bool I2C::failed() const
{
    return d->failed;
}

QString I2C::errorText() const
{
    return d->errorText;
}

} // namespace vt
