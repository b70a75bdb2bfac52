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
#include <optional>
#include <span>

namespace vt {

class I2C;

/// One digital output and one digital input per cage, through one or two 16-bit I2C port expanders: port A
/// drives, port B listens. Expander 0 (address 0x40) serves cages 1 to 8, expander 1 (0x4E) cages 9 to 16;
/// with more than 8 channels both are there and outputs are inverted. Lives on the hardware thread and is
/// called there only; signals are emitted there. Cage masks: bit c is cage c + 1, set means on.
///
/// Beside the transfers of each operation there is checkExpanders(), every 10 s while inputs are looked at:
/// it reads both directions, which are 00 FF, and what the outputs are to be. FF FF is an expander that was
/// without power and is set up again. 00 00 is no expander that answers, but a data line that is held low and
/// acknowledges everything: nothing counts as taken or read until the directions are as they should be.
/// readAllInputs() is asked for once when a session begins to look at inputs.
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

    /// Does the first expander acknowledge its address?
    [[nodiscard]] static bool isThere(I2C& bus);
    /// Sets up the expanders and puts the held outputs back. The bus outlives this object. False: an
    /// expander does not answer as it should; all outputs have been switched off then, as far as they can be.
    [[nodiscard]] bool init(I2C* bus, int nChannels);
    /// After init(): sets the expanders up again over a new bus while a recording runs, every output going
    /// straight to what it is to be. False: an expander does not answer; its outputs are written when it
    /// does.
    [[nodiscard]] bool restore(I2C* bus);
    [[nodiscard]] HeldOutputs heldOutputs() const { return m_held; }
    /// Have the expanders taken what their outputs are to be?
    [[nodiscard]] bool areOutputsTaken() const { return m_isTaken[0] && m_isTaken[1]; }

    /// Looks at the expanders' interrupt line every 50 ms.
    Q_SLOT void startDIORecording(int nChannels);
    Q_SLOT void stopDIORecording();
    Q_SLOT void checkForInterrupt();
    /// Reads all inputs now and tells them, whether or not they have changed.
    void readAllInputs();
    void checkExpanders();
    /// While somebody relies on the level of an input, and inputs are looked at, all are read every 500 ms:
    /// an expander that has died signals nothing.
    void watchInputs(bool isWatched);

    /// A pulse of 50 ms on one expander's outputs. port: 0 or 1.
    Q_SLOT void setOutputLines(std::uint8_t lines, int port);
    Q_SLOT void clearOutputLines();
    /// Nothing is held any more and every output is off. Does nothing on a bus that has failed.
    void switchAllOff();
    Q_SLOT void handleManualPulse(std::uint16_t cageMask);
    Q_SLOT void setOutputHold(std::uint16_t mask);
    /// Off at once, also in the middle of a pulse.
    Q_SLOT void clearOutput(std::uint16_t mask);
    /// No longer held; a pulse lasts its 50 ms.
    void endOutputHold(std::uint16_t mask);

signals:
    /// Levels of all inputs (bit set: high) after one of them changed.
    void dioInputStateChanged(std::uint16_t inputMask);
    /// Inputs have been read; readMask: those of the expanders that answered. Before dioInputStateChanged.
    void inputsRead(std::uint16_t inputMask, std::uint16_t readMask);
    /// While inputs are looked at: an expander has not answered for 10 to 20 s / all answer again. Not on a
    /// bus that has failed.
    void answeringChanged(bool isAnswering);

private:
    static constexpr int FirstRetryMs = 100;

    [[nodiscard]] int expanderCount() const { return m_channels > 8 ? 2 : 1; }
    [[nodiscard]] bool write(int expander, std::uint8_t registerAddress, std::span<const std::uint8_t> bytes);
    [[nodiscard]] bool writeOutputs(int expander, std::uint8_t lines);
    [[nodiscard]] bool writeWanted(int expander);
    void writeHeldOutputs(const QString& failure);
    void retryLater();
    void retryOutputs();
    [[nodiscard]] std::uint8_t outputByte(std::uint8_t lines) const;
    [[nodiscard]] bool restoreExpander(int expander);
    [[nodiscard]] bool initExpander(int expander, std::uint8_t latches);
    [[nodiscard]] bool initPullUps(int expander);

    // DioInputs.cpp
    using ReadExpander = std::optional<std::uint8_t> (DIO::*)(int expander);
    void initInterruptTask();
    void setPace(PollPace::Poll last);
    void updateWatch();
    void pollInputs();
    using Setting = std::array<std::uint8_t, 2>; ///< IODIRA and IODIRB
    [[nodiscard]] std::optional<Setting> readSetting(int expander);
    [[nodiscard]] bool isBelievable(int expander);
    [[nodiscard]] bool checkExpander(int expander);
    [[nodiscard]] bool checkOutputs(int expander);
    void readSignalledInputs();
    /// What the expanders answered: their number, and whether an input differs from the last reading.
    struct Reading
    {
        int answered = 0;
        bool isChanged = false;
    };
    [[nodiscard]] std::uint16_t inputMask() const;
    [[nodiscard]] Reading readInputs(ReadExpander read);
    [[nodiscard]] std::optional<std::uint8_t> readInterruptStatus(int expander);
    [[nodiscard]] std::optional<std::uint8_t> readLevels(int expander);
    void logInputs(int expander, std::uint8_t inputs, std::uint8_t changed) const;

    const HardwareContext m_context;
    const QString m_deviceName;
    I2C* m_bus = nullptr;
    int m_channels = 0;
    HeldOutputs m_held;
    HeldOutputs m_pulsed{};                                ///< by the pulse that is under way
    HeldOutputs m_wanted{};                                ///< what the outputs are to be, pulses included
    std::array<bool, MostExpanders> m_isTaken{true, true}; ///< the expander has acknowledged that
    std::array<bool, MostExpanders> m_isDoubted{};         ///< what acknowledges is not the expander
    std::array<bool, MostExpanders> m_isRead{};            ///< its inputs, at least once
    int m_retryMs = FirstRetryMs;
    std::array<std::uint8_t, MostExpanders> m_inputs{0xFF, 0xFF}; ///< pulled up until something drives them

    InterruptLine m_interruptLine;
    bool m_isInterruptReadErrorLogged = false;
    bool m_isLineLost = false;  ///< cannot be read
    bool m_isLineStuck = false; ///< stays low although the inputs have been read
    bool m_isStuckLogged = false;
    int m_idleSignals = 0; ///< readings in a row that the line asked for and that found no change
    PollPace m_pace;
    int m_periodMs = 0;
    bool m_isPolling = false;

    bool m_isWatched = false;
    bool m_isWatchErrorLogged = false;
    int m_watchMisses = 0;
    PollPace m_watchPace;
    int m_checkMisses = 0;

    std::unique_ptr<Timer> m_pollTimer;
    std::unique_ptr<Timer> m_watchTimer;
    std::unique_ptr<Timer> m_checkTimer;
    std::unique_ptr<Timer> m_pulseTimer;
    std::unique_ptr<Timer> m_retryTimer;
};

} // namespace vt
