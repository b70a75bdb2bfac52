// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/DeviceEventLog.h"
#include "simulation/I2cSlave.h"
#include "simulation/UnitClock.h"

#include <array>
#include <cstdint>

namespace vt {

/// The eight-cage stimulation unit as its register map:
///
///   0x00 w    start mask: an enabled cage's profile, once, for its duration; a running one begins anew
///   0x04 w    stop mask
///   0x08 rw   enabled cages; one that is disabled stops
///   0x09 r    running cages
///   0x0A r    bit 0 over-temperature (sticky), bit 2 a speaker fault is reported, bit 7 no 12 V
///   0x0B r    sticky: bit 4 brown-out, bit 7 12 V was lost
///             sticky bits of 0x0A (0x79) and 0x0B (0x90) are cleared by writing 1
///   0x0C/0x0D speaker faults, two bits per cage from bit 0, cages 1..4 / 5..8; cleared by writing 0
///   0x32 rw   bit 6: speaker diagnostics
///   0x34 r    diagnostic cycles, mod 256
///   0x38+8c   profile of cage c = 0..7: frequency, amplitude, duration (0.5 s), shape, u16 LE activations
///   0x78..7E  u32 LE serial number, u16 LE 0x0001, 0x10
///
/// Everything else is plain memory; writes to what can only be read are acknowledged and ignored.
///
/// Profiles need 12 V, and none starts while diagnostics are on. Diagnostics count a cycle every
/// DiagnosticCycleUs as long as there are 12 V and an enabled cage; from the third cycle after they were
/// switched on they report the faults of enabled cages' speakers. A shorted speaker is also reported when its
/// cage is started. The interrupt output is high while a sticky bit is set.
class VexioModel final : public I2cSlave
{
public:
    static constexpr std::uint8_t Address8 = 0x10; ///< 8-bit form, R/W bit clear
    static constexpr int CageCount = 8;
    static constexpr std::int64_t DiagnosticCycleUs = 100'000;

    /// Values of the two fault bits.
    enum class Speaker : std::uint8_t { Ok = 0, Open = 1, Short = 2, ShortToGround = 3 };

    /// events outlives the model.
    VexioModel(std::uint32_t serialNumber, UnitClock clock, DeviceEventLog& events);

    /// Brings profiles and diagnostics up to the clock: what has ended meanwhile becomes an event.
    void update();
    [[nodiscard]] bool interruptLevel() const { return m_stickyStatus != 0 || m_stickyExtra != 0; }

    // What happens to the unit. These conditions survive a power-up.
    void setSupplyPresent(bool present); ///< the 12 V
    void setOverTemperature(bool hot);
    void setSpeaker(int cage, Speaker speaker); ///< cage 0..7
    /// The enabled cages are forgotten and everything stops.
    void brownOut();
    /// Everything stops; registers as after power-up.
    void restart();

protected:
    [[nodiscard]] std::uint8_t readRegister(std::uint8_t address) override;
    [[nodiscard]] bool writeRegister(std::uint8_t address, std::uint8_t value) override;

private:
    void initialiseRegisters();
    void endProfiles(std::int64_t nowUs);
    void runDiagnostics(std::int64_t nowUs);
    void reportFaults(std::uint8_t cages, std::uint8_t leastCode);
    void activate(std::uint8_t mask, std::int64_t nowUs);
    void stop(std::uint8_t mask, std::int64_t timeUs);
    void configure(std::uint8_t mask, std::int64_t nowUs);
    void setDiagnosticControl(std::uint8_t value, std::int64_t nowUs);
    [[nodiscard]] bool diagnosing() const;
    [[nodiscard]] bool amplifierPowered() const;
    [[nodiscard]] std::uint8_t systemStatus() const;

    const std::uint32_t m_serialNumber;
    const UnitClock m_clock;
    DeviceEventLog& m_events;

    bool m_supplyPresent = true;
    bool m_overTemperature = false;
    std::array<Speaker, CageCount> m_speakers{};

    std::array<std::uint8_t, 256> m_registers{};
    std::uint8_t m_active = 0; ///< bit c: cage c runs until m_endUs[c]
    std::array<std::int64_t, CageCount> m_endUs{};
    std::uint8_t m_stickyStatus = 0;
    std::uint8_t m_stickyExtra = 0;
    std::int64_t m_nextCycleUs = 0;
    std::int64_t m_cycles = 0; ///< since diagnostics were switched on
};

} // namespace vt
