// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"

#include <QObject>
#include <QString>
#include <cstdint>
#include <functional>
#include <memory>

namespace vt {

/// Software I2C master on two output lines and one input line of the acquisition unit: one driver call per
/// bus event. Output words are port-aligned (bit n is line n). The first driver error makes the object
/// unusable: its tasks are cleared and every later transfer returns false without touching the driver; the
/// owner makes a new one. Used from one thread only, the one that it was moved to.
class I2C : public QObject
{
    Q_OBJECT
public:
    /// Default lines: port 0, read line 0, SDA line 1, SCL line 2. An empty name picks the first device.
    I2C(DaqmxApi& driver, const QString& device);
    I2C(DaqmxApi& driver, const QString& device, std::uint8_t port, std::uint8_t readLine,
        std::uint8_t sdaLine, std::uint8_t sclLine);
    ~I2C() override;

    bool i2cInit(const QString& device, std::uint8_t port, std::uint8_t readLine, std::uint8_t sdaLine,
                 std::uint8_t sclLine);
    /// A null buffer or a length below 1 writes the register address alone.
    bool i2cWrite(std::uint8_t deviceAddress8, std::uint8_t registerAddress, const std::uint8_t* data,
                  int length);
    /// isToEnd, asked before every byte but the first: when it says so that byte is the last, the transfer
    /// ends in good order, and the result is false.
    bool i2cRead(std::uint8_t deviceAddress8, std::uint8_t registerAddress, std::uint8_t* buffer, int length,
                 const std::function<bool()>& isToEnd = {});
    /// Whole bytes that the last i2cRead brought.
    [[nodiscard]] int bytesRead() const;
    void stopI2C();

    /// Called once, from inside the call that failed, when the driver fails from now on.
    void setFailureHandler(std::function<void()> failed);

    [[nodiscard]] bool failed() const;
    [[nodiscard]] QString errorText() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace vt
