// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/McuStatusPoll.h"

#include "hardware/I2C.h"
#include "recording/McuHeader.h"

#include <tuple>
#include <utility>

namespace vt {

namespace {

constexpr std::uint8_t McuAddress8 = 0x10;
constexpr std::uint8_t SensorCountRegister = 0x04;
constexpr std::uint8_t StatusRegister = 0x0A;

} // namespace

McuStatusPoll::McuStatusPoll(const HardwareContext& context, I2C& mcuBus, Events events)
    : m_bus(mcuBus), m_events(std::move(events)),
      m_timer(context.time.createTimer(context.timerContext, [this] { poll(); }))
{}

void McuStatusPoll::start()
{
    m_timer->start(PollPace::PeriodMs, TimerMode::SingleShot);
}

void McuStatusPoll::note(std::uint8_t status)
{
    std::ignore = judge(status);
}

void McuStatusPoll::poll()
{
    const PollPace::Poll last = look();
    if (!m_bus.failed())
        m_timer->start(m_pace.nextMs(last), TimerMode::SingleShot);
}

PollPace::Poll McuStatusPoll::look()
{
    std::uint8_t status = 0;
    if (!m_bus.i2cRead(McuAddress8, StatusRegister, &status, 1))
        return PollPace::Poll::Missed;
    return judge(status);
}

PollPace::Poll McuStatusPoll::judge(std::uint8_t status)
{
    const std::optional<std::uint8_t> before = std::exchange(m_last, status);
    if (before && (status & McuPushButton) != 0)
        m_events.pushButtonPressed();
    if (((status ^ before.value_or(0)) & McuSensorShorted) != 0)
        m_events.sensorShorted((status & McuSensorShorted) != 0);
    m_isCountOwed = m_isCountOwed || (before && (status & McuSensorCountChanged) != 0);
    if (!m_isCountOwed)
        return PollPace::Poll::Answered;
    std::uint8_t count = 0;
    if (!m_bus.i2cRead(McuAddress8, SensorCountRegister, &count, 1))
        return PollPace::Poll::Missed;
    m_isCountOwed = false;
    if (std::exchange(m_toldCount, count) != count)
        m_events.sensorCountChanged(count);
    return PollPace::Poll::Answered;
}

} // namespace vt
