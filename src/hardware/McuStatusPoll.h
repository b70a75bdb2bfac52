// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/HardwareContext.h"
#include "hardware/PollPace.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace vt {

class I2C;

/// Looks at the microcontroller's status byte every 500 ms (less often while it does not answer) and tells
/// what has changed. Hardware thread. The bus outlives it; a bus that has failed is left alone.
/// The first look tells a shorted sensor, but no button and no new sensor: those are events, and the sensors
/// have just been counted.
class McuStatusPoll
{
public:
    struct Events
    {
        std::function<void()> pushButtonPressed;
        std::function<void(int)> sensorCountChanged; ///< sensors there are now
        std::function<void(bool)> sensorShorted;     ///< some sensor is / none is any more
    };

    McuStatusPoll(const HardwareContext& context, I2C& mcuBus, Events events);
    void start();
    void stop();

private:
    void poll();
    [[nodiscard]] PollPace::Poll look();

    I2C& m_bus;
    const Events m_events;
    std::optional<std::uint8_t> m_last;
    PollPace m_pace;
    std::unique_ptr<Timer> m_timer;
};

} // namespace vt
