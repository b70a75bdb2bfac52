// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FakeAnalogDriver.h"
#include "WatchedTimeSource.h"
#include "acquisition/NIDAQ_data_thread.h"
#include "acquisition/PhysicalChannels.h"

#include <atomic>
#include <memory>
#include <vector>

namespace vt::test {

/// An acquisition object over the fake driver, with two channels.
struct NidaqHarness
{
    static constexpr int Channels = 2;
    static constexpr int StopWaitMs = 10000;

    NidaqHarness()
        : device(std::make_unique<NIDAQ_data_thread>(driver, time, physicalChannels(u"Dev1"_qs, Channels),
                                                     Channels))
    {
        device->setDataNotifier([this](int) { ++notified; });
        QObject::connect(
            device.get(), &DAQInterface::frameLimitReached, device.get(), [this] { ++limitReached; },
            Qt::DirectConnection);
    }

    /// Starts and waits until the task runs.
    [[nodiscard]] bool startRunning()
    {
        device->start();
        return driver.waitForRunning();
    }
    /// The next frame, or an empty vector.
    [[nodiscard]] std::vector<double> pull()
    {
        std::vector<double> buffer(static_cast<std::size_t>(device->frameSize()));
        int samplesRead = 0;
        if (!device->getLatestData(buffer.data(), device->frameSize(), &samplesRead))
            return {};
        ++pulled;
        return buffer;
    }
    [[nodiscard]] bool isBalanced() const
    {
        const AcquisitionCounters counters = device->counters();
        return counters.framesAcquired == pulled + counters.framesDropped + counters.framesQueued;
    }

    FakeAnalogDriver driver;
    WatchedTimeSource time;
    std::unique_ptr<NIDAQ_data_thread> device;
    std::atomic<int> notified{0};
    std::atomic<int> limitReached{0};
    quint64 pulled = 0;
};

} // namespace vt::test
