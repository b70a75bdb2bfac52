// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/HardwareContext.h"
#include "hardware/InterruptLine.h"
#include "hardware/PollPace.h"

#include <QObject>
#include <QString>
#include <array>
#include <cstdint>
#include <memory>
#include <span>

namespace vt {

class I2C;

/// One digital output and one digital input per cage, through one or two 16-bit I2C port expanders: port A
/// drives, port B listens. Expander 0 (address 0x40) serves cages 1 to 8, expander 1 (0x4E) cages 9 to 16;
/// with more than 8 channels both are there and outputs are inverted. Lives on the hardware thread and is
/// called there only; signals are emitted there. Cage masks: bit c is cage c + 1, set means on.
class DIO : public QObject
{
    Q_OBJECT
public:
    static constexpr int MostExpanders = 2;
    /// Outputs that stay on, one byte per expander, before inversion.
    using HeldOutputs = std::array<std::uint8_t, MostExpanders>;

    DIO(const HardwareContext& context, QString deviceName, const HeldOutputs& held = {},
        QObject* parent = nullptr);
    ~DIO() override;

    /// Sets up the expanders and puts the held outputs back. The bus outlives this object. False: an
    /// expander does not answer as it should; all outputs have been switched off then, as far as they can be.
    [[nodiscard]] bool init(I2C* bus, int nChannels);
    [[nodiscard]] HeldOutputs heldOutputs() const { return m_held; }

    /// Looks at the expanders' interrupt line every 50 ms.
    Q_SLOT void startDIORecording(int nChannels);
    Q_SLOT void stopDIORecording();
    Q_SLOT void checkForInterrupt();

    /// A pulse of 50 ms on one expander's outputs. port: 0 or 1.
    Q_SLOT void setOutputLines(std::uint8_t lines, int port);
    Q_SLOT void clearOutputLines();
    /// Nothing is held any more and every output is off. Does nothing on a bus that has failed.
    void switchAllOff();
    Q_SLOT void handleManualPulse(std::uint16_t cageMask);
    Q_SLOT void setOutputHold(std::uint16_t mask);
    Q_SLOT void clearOutput(std::uint16_t mask);

signals:
    /// Levels of all inputs (bit set: high) after one of them changed.
    void dioInputStateChanged(std::uint16_t inputMask);

private:
    [[nodiscard]] int expanderCount() const { return m_channels > 8 ? 2 : 1; }
    [[nodiscard]] bool write(int expander, std::uint8_t registerAddress, std::span<const std::uint8_t> bytes);
    [[nodiscard]] bool writeOutputs(int expander, std::uint8_t lines);
    void writeHeldOutputs(const QString& failure);
    [[nodiscard]] bool initExpander(int expander);
    [[nodiscard]] bool initPullUps(int expander);
    void initInterruptTask();
    void setPace(PollPace::Poll last);
    void readInputs();
    [[nodiscard]] bool readInputs(int expander);

    const HardwareContext m_context;
    const QString m_deviceName;
    I2C* m_bus = nullptr;
    int m_channels = 0;
    HeldOutputs m_held;
    std::array<std::uint8_t, MostExpanders> m_inputs{0xFF, 0xFF}; ///< pulled up until something drives them
    InterruptLine m_interruptLine;
    bool m_isInterruptReadErrorLogged = false;
    PollPace m_pace;
    int m_periodMs = 0;
    std::unique_ptr<Timer> m_pollTimer;
    std::unique_ptr<Timer> m_pulseTimer;
};

} // namespace vt
