// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace vt::test {

/// A slave with a register file that knows the bus by its line levels only: START and STOP are edges of SDA
/// while SCL is high, bits are sampled on rising SCL and changed on falling SCL. It writes down what it
/// saw: "S 10+ 0A+ A5+ P" for a write ('+' acknowledged, '-' not), "<3C+" for a byte that it sent.
class I2cSlave
{
public:
    explicit I2cSlave(std::uint8_t address8) : m_address8(address8) {}

    /// Levels that the master drives.
    void lines(bool sda, bool scl);
    /// Level of SDA as the master reads it.
    [[nodiscard]] bool sda() const { return m_masterSda && !m_pullsLow; }

    std::array<std::uint8_t, 256> registers{};
    std::array<std::uint8_t, 256> clearedByReading{}; ///< bits
    bool isSilent = false;                            ///< acknowledges nothing
    int acknowledgedBytes = 10000; ///< bytes of a write that are acknowledged, address and register included
    int stuckRegister = -1;        ///< ignores what is written to this one
    int trapRegister = -1;         ///< acknowledges nothing more once its pointer is set to this
    [[nodiscard]] std::string transcript() const { return m_transcript; }
    void forgetTranscript() { m_transcript.clear(); }

private:
    enum class Phase { Idle, Receive, AckOut, Send, AckIn };

    void clockRose();
    void clockFell();
    void byteReceived();
    void loadByte();
    void note(const std::string& text);

    const std::uint8_t m_address8;
    bool m_masterSda = true;
    bool m_masterScl = true;
    bool m_pullsLow = false;
    Phase m_phase = Phase::Idle;
    int m_bits = 0;
    int m_bytes = 0; ///< since the last START
    std::uint8_t m_shift = 0;
    std::uint8_t m_pointer = 0;
    bool m_isReading = false;
    bool m_isAcknowledged = false;
    std::string m_transcript;
};

} // namespace vt::test
