// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "base/TimeSource.h"
#include "daqmx/DaqmxApi.h"
#include "simulation/AnalogSource.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace vt {

/// The analog side of the simulated unit: paces blocks, keeps the driver's buffer of unread samples and runs
/// the every-N-samples callback. One acquisition at a time. Thread-safe.
///
/// Samples are made when they are read; the buffer is a count of acquired and not yet read samples. When more
/// than BufferSamples per channel are unread, acquisition stops, and reads answer SamplesOverwritten until
/// the task is stopped. Samples left unread at a stop are passed over.
///
/// stop() waits for a callback of the acquisition that is under way on another thread, as the driver does,
/// and lets it read its block; on the callback's own thread it does not wait. Faults delay or suppress
/// callbacks; see the members.
class AnalogInput
{
public:
    static constexpr double SampleRateHz = 600.0;
    static constexpr std::int64_t BufferSamples = 6000; ///< per channel: 10 s

    enum class Pacing { RealTime, AsReady, Manual };

    /// What a started task asks for.
    struct Run
    {
        daqmx::TaskHandle handle = nullptr;
        std::vector<int> channels;
        std::uint32_t blockSamples = 0; ///< samples per channel between callbacks; 0: no callback
        daqmx::EveryNSamplesCallback callback = nullptr;
        void* callbackData = nullptr;
    };

    /// speed: times real time; for AsReady 0 or less means without limit.
    AnalogInput(Pacing pacing, double speed, std::unique_ptr<AnalogSource> source);
    ~AnalogInput();
    /// Ends the acquisition and the clock thread, waiting for a callback that is under way. For good.
    void shutDown();

    /// Pacing::AsReady: asked before each block, on the clock's thread. Set before the first start.
    void setReadyForMore(std::function<bool()> ready) { m_ready = std::move(ready); }

    [[nodiscard]] std::int32_t start(const Run& run);
    void stop(daqmx::TaskHandle handle);
    /// Ends the acquisition without waiting for its callback: the device went away or was reset.
    void abort();
    [[nodiscard]] bool isRunning(daqmx::TaskHandle handle);
    /// samplesPerChannel < 0: all that are available. Sets *samplesRead (per channel).
    [[nodiscard]] std::int32_t read(daqmx::TaskHandle handle, int samplesPerChannel, double timeoutSeconds,
                                    double* out, std::uint32_t outSize, std::int32_t* samplesRead);

    /// Pacing::Manual, one thread at a time: acquires n blocks and runs the callbacks that are due on the
    /// calling thread. Returns how many callbacks ran.
    int advance(int n);
    [[nodiscard]] std::uint64_t blocksDelivered() const { return m_blocksDelivered.load(); }
    [[nodiscard]] bool isAsleep(int channel, std::uint64_t sample);

    /// The next count reads fail with code and leave the samples in the buffer; count < 0: all; 0: none.
    void failReads(std::int32_t code, int count);
    /// No callbacks while stalled; the device goes on acquiring (AsReady: pauses).
    void setStalled(bool stalled);
    /// Each callback is held back by this time. No effect with Pacing::Manual.
    void setCallbackDelayMs(int delayMs);
    /// The next read blocks for this long before it does its work, and a stop waits for it all that time;
    /// only an abort ends it early.
    void hangNextRead(int hangMs);

private:
    void runClock();
    /// One round of the clock thread: runs a callback or waits until something is due.
    void stepRealTime() VT_REQUIRES(m_mutex);
    void stepAsReady() VT_REQUIRES(m_mutex);
    void acquireUntilNow() VT_REQUIRES(m_mutex);
    void acquire(std::int64_t samples) VT_REQUIRES(m_mutex);
    [[nodiscard]] bool callbackDue() const VT_REQUIRES(m_mutex);
    void deliverCallback() VT_REQUIRES(m_mutex);
    void endRun() VT_REQUIRES(m_mutex);
    void waitUs(std::int64_t durationUs) VT_REQUIRES(m_mutex);
    [[nodiscard]] std::int64_t dueUs(std::int64_t sample) const VT_REQUIRES(m_mutex);
    [[nodiscard]] std::int64_t available() const VT_REQUIRES(m_mutex) { return m_acquired - m_read; }
    [[nodiscard]] std::int32_t applyReadFaults() VT_REQUIRES(m_mutex);
    [[nodiscard]] std::int32_t waitForSamples(daqmx::TaskHandle handle, std::int64_t wanted,
                                              double timeoutSeconds) VT_REQUIRES(m_mutex);
    [[nodiscard]] bool ownsRun(daqmx::TaskHandle handle) const VT_REQUIRES(m_mutex);

    const Pacing m_pacing;
    const double m_speed;
    SystemTimeSource m_time;
    std::atomic<std::uint64_t> m_blocksDelivered{0};
    std::function<bool()> m_ready; ///< set once, before the first start

    Mutex m_mutex;
    std::condition_variable_any m_changed;
    std::unique_ptr<AnalogSource> m_source VT_GUARDED_BY(m_mutex);
    Run m_run VT_GUARDED_BY(m_mutex);
    bool m_active VT_GUARDED_BY(m_mutex) = false;
    bool m_stopping VT_GUARDED_BY(m_mutex) = false;
    bool m_overflow VT_GUARDED_BY(m_mutex) = false;
    bool m_quit VT_GUARDED_BY(m_mutex) = false;
    std::uint64_t m_generation VT_GUARDED_BY(m_mutex) = 0; ///< changes with every start, stop and abort
    std::uint64_t m_aborts VT_GUARDED_BY(m_mutex) = 0;
    std::int64_t m_startUs VT_GUARDED_BY(m_mutex) = 0;
    std::int64_t m_acquired VT_GUARDED_BY(m_mutex) = 0;  ///< samples per channel since the start
    std::int64_t m_signalled VT_GUARDED_BY(m_mutex) = 0; ///< of these, announced by callbacks
    std::int64_t m_read VT_GUARDED_BY(m_mutex) = 0;      ///< of these, read

    daqmx::TaskHandle m_callbackHandle VT_GUARDED_BY(m_mutex) = nullptr; ///< whose callback runs now
    std::thread::id m_callbackThread VT_GUARDED_BY(m_mutex);

    std::int32_t m_readFailCode VT_GUARDED_BY(m_mutex) = 0;
    int m_readFailCount VT_GUARDED_BY(m_mutex) = 0;
    bool m_stalled VT_GUARDED_BY(m_mutex) = false;
    int m_delayMs VT_GUARDED_BY(m_mutex) = 0;
    int m_hangMs VT_GUARDED_BY(m_mutex) = 0;

    std::thread m_thread;
};

} // namespace vt
