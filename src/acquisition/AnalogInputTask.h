// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"

#include <array>
#include <atomic>

namespace vt {

/// One continuous analog-input task after another over the same channels: referenced single-ended, +-10 V,
/// 600 Hz, a callback every 20 samples. A handle that was cleared, or whose clearing failed, is forgotten at
/// once and never given to the driver again.
/// Acquisition thread, except read(), which runs in the driver's callback while the task is set up.
class AnalogInputTask
{
public:
    static constexpr std::size_t ChannelListSize = 64; ///< with the terminating zero
    using ChannelList = std::array<char, ChannelListSize>;

    AnalogInputTask(DaqmxApi& driver, const ChannelList& channels, int bufferSizeInSamples);

    /// The five steps in order; stops at the first that fails (logged by name), or between two when
    /// abandoned becomes true. False then; the caller clears what is there.
    [[nodiscard]] bool setUp(daqmx::EveryNSamplesCallback callback, void* callbackData,
                             const std::atomic<bool>& abandoned);
    /// Logs "Task done: yes" or "Task done: no".
    void reportDone();
    /// Stops a task that was started; nothing otherwise.
    void stop();
    /// Clears the task if there is one.
    void clear();

    /// Driver's thread. The status is the driver's, unjudged.
    [[nodiscard]] std::int32_t read(double* buffer, std::int32_t* samplesPerChannelRead);

private:
    [[nodiscard]] bool create();

    DaqmxApi& m_driver;
    const ChannelList m_channels;
    const int m_bufferSize;
    std::atomic<daqmx::TaskHandle> m_task{nullptr};
    bool m_isStarted = false;
};

} // namespace vt
