// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/DIO.h"
#include "hardware/DeviceList.h"
#include "hardware/HardwareContext.h"
#include "hardware/I2C.h"
#include "hardware/McuStatusPoll.h"
#include "hardware/RepeatedAttempt.h"
#include "hardware/StimulationHardware.h"
#include "hardware/VEXIO.h"
#include "hardware/ledCtrl.h"
#include "recording/McuHeader.h"

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <set>

namespace vt {

/// What hangs on the selected device's digital lines: the cage light, three I2C buses, and on them the
/// microcontroller, the stimulation unit and the port expanders. Hardware thread only: every call may take
/// as long as the driver does.
class HardwareSession
{
public:
    /// Runs a step on the interface thread. Steps keep their order.
    using Notify = std::function<void(std::function<void(StimulationHardware&)>)>;

    /// Who waits while a long operation runs.
    struct Waiting
    {
        std::function<void()> letIn;         ///< called where others may cut in
        std::function<bool()> isUrgent;      ///< does one want to cut in?
        std::function<bool()> isEndOfThread; ///< the thread is to end: nobody wants the result any more
    };
    HardwareSession(const HardwareContext& context, Notify notify, Waiting waiting);
    ~HardwareSession();

    /// Resets the device and builds what hangs on it; closes an earlier session first. True when the
    /// microcontroller's bus can be used: everything else may be missing. selection tells the receivers of
    /// notices which device they are about.
    bool open(const DAQDevice& device, quint64 selection);
    /// Switches the digital outputs off and disables the stimulation unit's cages before, as far as they can
    /// be reached.
    void close();
    /// Closes, looks whether the very same unit is still there, opens and probes. True when the
    /// microcontroller answered. The cages' enable mask (written by the next stimulation), held outputs, the
    /// cage light and polling are as before.
    bool rebuild(const DAQDevice& device);

    /// While an acquisition runs, the device as a whole is left alone: a bus that fails is set up again by
    /// itself, with what hangs on it and what that is to do, and so are a stimulation unit and port expanders
    /// that are missed.
    /// Outputs that were to go off when their bus had failed are seen to at any time.
    void setAcquiring(bool isAcquiring);
    /// Has a bus failed that was usable when the device was set up, or the last rebuild?
    [[nodiscard]] bool hasLostBus() const { return !m_lostBuses.empty(); }

    /// Reads the microcontroller's status register. False also when another bus is lost: a recovery is due.
    [[nodiscard]] bool probe();
    /// Reads its whole register file. Empty also when this is not one of the known layout.
    [[nodiscard]] std::optional<MCUHeader> readHeader();
    /// 16-bit words of its EEPROM at even addresses (DataEeprom.h).
    [[nodiscard]] std::optional<std::uint16_t> readDataEE(std::uint8_t address);
    [[nodiscard]] bool writeDataEE(std::uint8_t address, std::uint16_t value);

    /// Without a bus when the unit is not there; it then says so to every request.
    [[nodiscard]] VEXIO& vexio();
    /// Null when there are no port expanders.
    [[nodiscard]] DIO* dio() { return m_dio.get(); }

    /// Also counts when the port expanders are away: these outputs stay off when they are back.
    void clearOutput(std::uint16_t cageMask);
    void endOutputHold(std::uint16_t cageMask);

    void startVexioPolling();
    void stopVexioPolling();
    /// Also tells the inputs as they are now.
    void startDIORecording(int nChannels);
    void stopDIORecording();
    /// Also counts for port expanders that come later.
    void watchInputs(bool isWatched);
    void toggleLEDCtrl();

private:
    static constexpr std::array AllBuses{UnitBus::Microcontroller, UnitBus::StimulationUnit,
                                         UnitBus::PortExpanders};

    /// What a rebuilt session takes over.
    struct Kept
    {
        std::uint8_t configMask = 0;
        DIO::HeldOutputs heldOutputs{};
        /// Fixes the variant of the port expanders, and their polarity. Without it they are left alone.
        std::optional<int> channelCount;
        bool isLightOn = false;
    };

    void tell(std::function<void(StimulationHardware&)> step);
    template <typename... Args>
    void forward(void (VEXIO::*from)(Args...), void (StimulationHardware::*to)(Args...));
    void makeVexio();
    void lookAtInputs();
    void releaseKeptOutputs(std::uint16_t cageMask);
    void keepState();
    void tearDown();
    bool build();
    [[nodiscard]] std::optional<int> readChannelCount();
    void initDio();
    void initVexio();
    void tellPresence();

    // HardwareRecovery.cpp
    [[nodiscard]] std::unique_ptr<I2C> makeBus(UnitBus which) const;
    [[nodiscard]] std::unique_ptr<I2C>& bus(UnitBus which);
    void watchBus(UnitBus which);
    void updateAttempts();
    [[nodiscard]] bool attempt(UnitBus which);
    [[nodiscard]] bool replaceBus(UnitBus which);
    [[nodiscard]] bool attemptDio();
    [[nodiscard]] bool attemptVexio();
    void startStatusPoll();
    void restoreState();

    const HardwareContext m_context;
    const Notify m_notify;
    const Waiting m_waiting;
    DAQDevice m_device;
    quint64 m_selection = 0;
    Kept m_kept;
    bool m_isComplete = false; ///< built and restored: its state is worth keeping
    std::set<UnitBus> m_lostBuses;
    bool m_isDioIncomplete = false; ///< its bus is back, but an expander did not answer then
    bool m_isAcquiring = false;
    std::array<std::unique_ptr<RepeatedAttempt>, AllBuses.size()> m_attempts; ///< by UnitBus
    bool m_isVexioPolling = false;
    std::optional<int> m_dioRecordingChannels;
    bool m_isInputWatched = false;

    std::unique_ptr<ledCtrl> m_led;
    std::unique_ptr<I2C> m_mcuBus;
    std::unique_ptr<I2C> m_stimulationBus;
    std::unique_ptr<I2C> m_dioBus;
    std::unique_ptr<DIO> m_dio;
    std::unique_ptr<VEXIO> m_vexio;
    std::unique_ptr<McuStatusPoll> m_statusPoll;
};

} // namespace vt
