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
/// Button and sensor count are events: the unit clears them when they are read, so that each one read is one
/// more. The first look tells a shorted sensor, but no event: the sensors have just been counted. A count
/// that was told is not told again.
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
    /// The status byte as somebody else has read it: reading clears the unit's events.
    void note(std::uint8_t status);

private:
    void poll();
    [[nodiscard]] PollPace::Poll look();
    [[nodiscard]] PollPace::Poll judge(std::uint8_t status);

    I2C& m_bus;
    const Events m_events;
    std::optional<std::uint8_t> m_last;
    bool m_isCountOwed = false; ///< the number of sensors changed and could not be read yet
    std::optional<std::uint8_t> m_toldCount;
    PollPace m_pace;
    std::unique_ptr<Timer> m_timer;
};

} // namespace vt
