// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/HardwareSession.h"

#include "hardware/DataEeprom.h"
#include "hardware/MCUBufferMap.h"
#include "hardware/VexioRegisters.h"

#include <QDebug>
#include <utility>

namespace vt {

namespace {

constexpr std::uint8_t McuAddress8 = 0x10;
constexpr std::uint8_t McuFirstRegister = 0x00;
constexpr std::uint8_t McuSensorCountRegister = 0x04;
constexpr std::uint8_t McuStatusRegister = 0x0A;
constexpr int MostChannels = 16;
constexpr int CountReadings = 3; ///< of the number of sensors, before it counts as unknown

} // namespace

HardwareSession::HardwareSession(const HardwareContext& context, Notify notify, Waiting waiting)
    : m_context(context), m_notify(std::move(notify)), m_waiting(std::move(waiting))
{}

HardwareSession::~HardwareSession() = default;

// ---- notices ----

void HardwareSession::tell(std::function<void(StimulationHardware&)> step)
{
    m_notify([asked = m_selection, step = std::move(step)](StimulationHardware& receiver) {
        if (receiver.selection() == asked)
            step(receiver);
    });
}

template <typename... Args>
void HardwareSession::forward(void (VEXIO::*from)(Args...), void (StimulationHardware::*to)(Args...))
{
    QObject::connect(m_vexio.get(), from, m_vexio.get(), [this, to](Args... arguments) {
        tell([to, ... values = std::decay_t<Args>(arguments)](StimulationHardware& receiver) {
            (receiver.*to)(values...);
        });
    });
}

void HardwareSession::makeVexio()
{
    m_vexio = std::make_unique<VEXIO>(m_context);
    m_vexio->setBetweenTransfers(m_waiting.letIn);
    m_vexio->setUrgentWaiting(m_waiting.isUrgent);
    forward(&VEXIO::cageDataRead, &StimulationHardware::cageDataRead);
    forward(&VEXIO::operationComplete, &StimulationHardware::operationComplete);
    forward(&VEXIO::cageStatusRead, &StimulationHardware::cageStatusRead);
    forward(&VEXIO::diagnosticsStatusRead, &StimulationHardware::diagnosticsStatusRead);
    forward(&VEXIO::diagnosticsComplete, &StimulationHardware::diagnosticsComplete);
    forward(&VEXIO::cageDataReadFailed, &StimulationHardware::cageDataReadFailed);
    forward(&VEXIO::diagnosticsStatusReadFailed, &StimulationHardware::diagnosticsStatusReadFailed);
    forward(&VEXIO::powerFaultDetected, &StimulationHardware::powerFaultDetected);
    forward(&VEXIO::powerRestored, &StimulationHardware::powerRestored);
    forward(&VEXIO::overTempDetected, &StimulationHardware::overTempDetected);
    forward(&VEXIO::systemStatusChanged, &StimulationHardware::systemStatusChanged);
    forward(&VEXIO::speakerDiagnosticsResults, &StimulationHardware::speakerDiagnosticsResults);
    forward(&VEXIO::answeringChanged, &StimulationHardware::vexioAnsweringChanged);
    forward(&VEXIO::unstoppedCagesChanged, &StimulationHardware::unstoppedCagesChanged);
}

VEXIO& HardwareSession::vexio()
{
    if (!m_vexio)
        makeVexio();
    return *m_vexio;
}

// ---- life ----

bool HardwareSession::open(const DAQDevice& device, quint64 selection)
{
    close();
    m_device = device;
    m_selection = selection;
    m_kept = {};
    m_isVexioPolling = false;
    m_dioRecordingChannels.reset();
    m_isInputWatched = false;
    m_isComplete = build();
    return m_isComplete;
}

bool HardwareSession::build()
{
    const QString& deviceName = m_device.name;
    const std::int32_t status = m_context.driver.DAQmxResetDevice(deviceName.toLocal8Bit().constData());
    if (status < 0)
        qWarning().noquote() << "DAQmxResetDevice failed for" << deviceName << "err=" << status;
    qDebug().noquote() << "ledctrl:" << deviceName;
    m_led = std::make_unique<ledCtrl>(m_context.driver, deviceName);
    for (const UnitBus which : AllBuses) {
        bus(which) = makeBus(which);
        m_attempts[static_cast<std::size_t>(which)] =
            std::make_unique<RepeatedAttempt>(m_context, [this, which] { return attempt(which); });
    }
    if (m_mcuBus->failed())
        return false;
    initDio();
    initVexio();
    if (m_mcuBus->failed())
        return false;
    m_lostBuses.clear();
    for (const UnitBus which : AllBuses)
        watchBus(which);
    startStatusPoll();
    tellPresence();
    updateAttempts();
    return true;
}

void HardwareSession::tellPresence()
{
    tell([isVexioPresent = m_vexio->isInitialised(), isDioPresent = m_dio != nullptr](
             StimulationHardware& receiver) { receiver.setPresence(isVexioPresent, isDioPresent); });
}

/// Sensors that the microcontroller counts. It alone knows which box there is: a guess may have the wrong
/// polarity, and would switch all outputs on.
std::optional<int> HardwareSession::readChannelCount()
{
    for (int reading = 0; reading < CountReadings; ++reading) {
        std::uint8_t count = 0;
        if (m_mcuBus->i2cRead(McuAddress8, McuSensorCountRegister, &count, 1) && count >= 1 &&
            count <= MostChannels)
            return count;
    }
    return std::nullopt;
}

void HardwareSession::initDio()
{
    m_isDioIncomplete = false;
    if (!m_kept.channelCount)
        m_kept.channelCount = readChannelCount();
    if (!m_kept.channelCount) {
        qWarning("HardwareSession: the microcontroller does not tell its number of sensors (1 to 16): the "
                 "digital outputs and inputs are left alone");
        return;
    }
    m_dio = std::make_unique<DIO>(m_context, m_device.name, m_kept.heldOutputs);
    QObject::connect(m_dio.get(), &DIO::dioInputStateChanged, m_dio.get(), [this](std::uint16_t inputMask) {
        tell([inputMask](StimulationHardware& receiver) { emit receiver.dioInputStateChanged(inputMask); });
    });
    QObject::connect(m_dio.get(), &DIO::inputsRead, m_dio.get(),
                     [this](std::uint16_t inputMask, std::uint16_t readMask) {
                         tell([inputMask, readMask](StimulationHardware& receiver) {
                             emit receiver.dioInputsRead(inputMask, readMask);
                         });
                     });
    QObject::connect(m_dio.get(), &DIO::answeringChanged, m_dio.get(), [this](bool isAnswering) {
        tell(
            [isAnswering](StimulationHardware& receiver) { emit receiver.dioAnsweringChanged(isAnswering); });
    });
    m_dio->watchInputs(m_isInputWatched);
    if (m_dio->init(m_dioBus.get(), *m_kept.channelCount))
        return;
    qDebug("DIO init failed: port expander not responding. Running without DIO.");
    m_dio.reset();
}

void HardwareSession::initVexio()
{
    makeVexio();
    if (!m_vexio->initVexio(m_stimulationBus.get(), VEXIO_NS::CageCount)) {
        qDebug("DAQInfo::initVexio - ERROR: Failed to initialize Vexio");
        return;
    }
    if (!m_vexio->initInterruptTask(m_device.name))
        qDebug("DAQInfo::initVexio - Warning: Failed to initialize interrupt task");
}

void HardwareSession::startStatusPoll()
{
    const auto onInterface = [this](auto step) { tell(step); };
    m_statusPoll = std::make_unique<McuStatusPoll>(
        m_context, *m_mcuBus,
        McuStatusPoll::Events{[onInterface] {
                                  onInterface([](StimulationHardware& receiver) {
                                      emit receiver.pushButtonPressed();
                                  });
                              },
                              [onInterface](int count) {
                                  onInterface([count](StimulationHardware& receiver) {
                                      emit receiver.sensorCountChanged(count);
                                  });
                              },
                              [onInterface](bool isShorted) {
                                  onInterface([isShorted](StimulationHardware& receiver) {
                                      emit receiver.sensorShorted(isShorted);
                                  });
                              }});
    m_statusPoll->start();
}

void HardwareSession::keepState()
{
    m_vexio->endDiagnostics();
    if (m_vexio->isInitialised())
        m_kept.configMask = m_vexio->configMask();
    if (m_dio)
        m_kept.heldOutputs = m_dio->heldOutputs();
    m_led->getLedState(m_kept.isLightOn);
}

void HardwareSession::close()
{
    if (m_dio)
        m_dio->switchAllOff();
    if (m_vexio && m_vexio->configMask() != 0)
        m_vexio->updateCageEnableConfig(0);
    tearDown();
}

void HardwareSession::tearDown()
{
    if (std::exchange(m_isComplete, false))
        keepState();
    m_statusPoll.reset();
    m_vexio.reset();
    m_dio.reset();
    m_led.reset();
    m_dioBus.reset();
    m_stimulationBus.reset();
    m_mcuBus.reset();
    m_lostBuses.clear();
    m_isDioIncomplete = false;
    m_attempts = {};
    tell([](StimulationHardware& receiver) { receiver.setPresence(false, false); });
}

bool HardwareSession::rebuild(const DAQDevice& device)
{
    tearDown();
    m_lostBuses.insert(UnitBus::Microcontroller); // until it is built: the next try may find the unit there
    m_device = device;
    if (lookForDevice(m_context.driver, device) != DevicePresence::Present) {
        qWarning().noquote() << "DAQInfo::recoverI2CSession: device went unready after"
                             << "deinitI2C; aborting recovery";
        return false;
    }
    if (!build())
        return false;
    restoreState();
    m_isComplete = true;
    return probe();
}

/// The held outputs were put back when the expanders were set up.
void HardwareSession::restoreState()
{
    if (m_kept.isLightOn && !m_led->setLEDCTRL(true)) {
        qWarning("HardwareSession: the cage light could not be switched on again");
        tell([](StimulationHardware& receiver) { emit receiver.ledStateChanged(false); });
    }
    m_vexio->keepConfigMask(m_kept.configMask);
    if (m_isVexioPolling)
        startVexioPolling();
    if (m_dioRecordingChannels)
        startDIORecording(*m_dioRecordingChannels);
}

// ---- microcontroller ----

bool HardwareSession::probe()
{
    std::uint8_t status = 0;
    if (m_mcuBus && m_mcuBus->i2cRead(McuAddress8, McuStatusRegister, &status, 1)) {
        if (m_statusPoll)
            m_statusPoll->note(status);
        if (hasLostBus())
            qWarning("DAQInfo::probeI2C - the microcontroller answers, but another bus has failed");
        return !hasLostBus();
    }
    qWarning("DAQInfo::probeI2C - MCU 0x10 read failed (i2c NAK / no response)");
    return false;
}

std::optional<MCUHeader> HardwareSession::readHeader()
{
    std::array<std::uint8_t, McuRegisterCount> registers{};
    if (!m_mcuBus || !m_mcuBus->i2cRead(McuAddress8, McuFirstRegister, registers.data(), McuRegisterCount,
                                        m_waiting.isEndOfThread)) {
        qWarning("DAQInfo::getMCUHeader - i2cRead failed");
        return std::nullopt;
    }
    const MCUBufferMap map(registers);
    MCUHeader header = map.header();
    if (!map.isFromUnit()) {
        qWarning("DAQInfo::getMCUHeader - all registers of the microcontroller read as 0x%02X: its data line "
                 "seems to be held. The unit cannot be used",
                 registers.front());
        return std::nullopt;
    }
    if (!map.isKnown())
        qWarning(
            "DAQInfo::getMCUHeader - unexpected registers of the microcontroller: map revision %d (should "
            "be 1), animal type %d (should be 1 or 2)",
            header.mapRevision, header.animalType);
    if (m_statusPoll)
        m_statusPoll->note(header.status);
    return header;
}

std::optional<std::uint16_t> HardwareSession::readDataEE(std::uint8_t address)
{
    return m_mcuBus ? dataeeprom::readWord(*m_mcuBus, address, m_waiting.letIn) : std::nullopt;
}

bool HardwareSession::writeDataEE(std::uint8_t address, std::uint16_t value)
{
    return m_mcuBus && dataeeprom::writeWord(*m_mcuBus, address, value, m_waiting.letIn);
}

// ---- outputs, polling and light ----

void HardwareSession::clearOutput(std::uint16_t cageMask)
{
    if (m_dio) {
        m_dio->clearOutput(cageMask);
        updateAttempts();
        return;
    }
    releaseKeptOutputs(cageMask);
}

void HardwareSession::endOutputHold(std::uint16_t cageMask)
{
    if (m_dio) {
        m_dio->endOutputHold(cageMask);
        updateAttempts();
        return;
    }
    releaseKeptOutputs(cageMask);
}

void HardwareSession::releaseKeptOutputs(std::uint16_t cageMask)
{
    for (std::uint8_t& held : m_kept.heldOutputs) {
        held = static_cast<std::uint8_t>(held & ~unsigned{cageMask});
        cageMask = static_cast<std::uint16_t>(cageMask >> 8);
    }
}

void HardwareSession::startVexioPolling()
{
    m_isVexioPolling = true;
    vexio().startInterruptPolling();
    vexio().startStatusPolling();
    updateAttempts();
}

void HardwareSession::stopVexioPolling()
{
    if (std::exchange(m_isVexioPolling, false))
        vexio().checkUnit(); // the last orders may have been acknowledged by nobody
    vexio().stopStatusPolling();
    vexio().stopInterruptPolling();
    updateAttempts();
}

void HardwareSession::startDIORecording(int nChannels)
{
    m_dioRecordingChannels = nChannels;
    lookAtInputs();
    updateAttempts();
}

void HardwareSession::stopDIORecording()
{
    m_dioRecordingChannels.reset();
    if (m_dio) {
        m_dio->checkExpanders(); // the last orders may have been acknowledged by nobody
        m_dio->stopDIORecording();
    }
    updateAttempts();
}

/// From now on, beginning with what the inputs are now.
void HardwareSession::lookAtInputs()
{
    if (!m_dio)
        return;
    m_dio->startDIORecording(*m_dioRecordingChannels);
    m_dio->readAllInputs();
}

void HardwareSession::watchInputs(bool isWatched)
{
    m_isInputWatched = isWatched;
    if (m_dio)
        m_dio->watchInputs(isWatched);
}

void HardwareSession::toggleLEDCtrl()
{
    if (!m_led || !m_led->toggleLEDCtrl())
        return;
    bool isEnabled = false;
    m_led->getLedState(isEnabled);
    tell([isEnabled](StimulationHardware& receiver) { emit receiver.ledStateChanged(isEnabled); });
}

} // namespace vt
