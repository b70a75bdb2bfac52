// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/AnalogInput.h"

#include "platform/CrashHandler.h"
#include "simulation/DriverErrors.h"

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

/// How long the as-ready clock waits before it asks again. Short against the ten frames that the program's
/// queue holds at a thousand times real time.
constexpr std::int64_t ReadyPollUs = 200;
/// A fast clock that fell behind by more than this does not try to catch up.
constexpr std::int64_t MaximumLagUs = 1'000'000;
constexpr std::int64_t IdleWaitUs = 10'000'000;

} // namespace

AnalogInput::AnalogInput(Pacing pacing, double speed, std::unique_ptr<AnalogSource> source)
    : m_pacing(pacing), m_speed(speed), m_source(std::move(source))
{
    if (pacing != Pacing::Manual)
        m_thread = std::thread([this] { runClock(); });
}

AnalogInput::~AnalogInput()
{
    shutDown();
}

void AnalogInput::shutDown()
{
    {
        MutexLock lock(m_mutex);
        m_quit = true;
        endRun();
    }
    if (m_thread.joinable())
        m_thread.join();
}

bool AnalogInput::ownsRun(daqmx::TaskHandle handle) const
{
    return m_active && m_run.handle == handle;
}

std::int32_t AnalogInput::start(const Run& run)
{
    MutexLock lock(m_mutex);
    if (m_active)
        return drivererror::ResourceReserved;
    m_run = run;
    m_active = true;
    m_overflow = m_stopping = false;
    m_acquired = m_signalled = m_read = 0;
    m_startUs = m_time.monotonicUs();
    ++m_generation;
    m_changed.notify_all();
    return 0;
}

void AnalogInput::endRun()
{
    if (m_active && m_acquired > m_read)
        m_source->skip(m_run.channels, static_cast<std::uint64_t>(m_acquired - m_read));
    m_active = false;
    ++m_generation;
    m_changed.notify_all();
}

void AnalogInput::stop(daqmx::TaskHandle handle)
{
    MutexLock lock(m_mutex);
    if (ownsRun(handle))
        m_stopping = true; // no further callback; the one under way may still read
    while (m_callbackHandle == handle && m_callbackThread != std::this_thread::get_id() && !m_quit)
        m_changed.wait(m_mutex);
    if (!ownsRun(handle))
        return;
    if (m_pacing == Pacing::RealTime)
        acquireUntilNow();
    endRun();
}

void AnalogInput::abort()
{
    MutexLock lock(m_mutex);
    ++m_aborts;
    endRun();
}

bool AnalogInput::isRunning(daqmx::TaskHandle handle)
{
    MutexLock lock(m_mutex);
    return ownsRun(handle) && !m_overflow;
}

bool AnalogInput::isAsleep(int channel, std::uint64_t sample)
{
    MutexLock lock(m_mutex);
    return m_source->isAsleep(channel, sample);
}

std::int64_t AnalogInput::dueUs(std::int64_t sample) const
{
    return m_startUs + static_cast<std::int64_t>(std::ceil(double(sample) * 1e6 / (SampleRateHz * m_speed)));
}

void AnalogInput::acquire(std::int64_t samples)
{
    if (!m_active || m_overflow)
        return;
    const std::int64_t room = BufferSamples - available();
    m_acquired += std::min(samples, room);
    m_overflow = samples > room;
    m_changed.notify_all();
}

void AnalogInput::acquireUntilNow()
{
    const double elapsedUs = double(m_time.monotonicUs() - m_startUs);
    const auto due = static_cast<std::int64_t>(elapsedUs * 1e-6 * SampleRateHz * m_speed);
    if (due > m_acquired)
        acquire(due - m_acquired);
}

bool AnalogInput::callbackDue() const
{
    return m_active && !m_stopping && !m_stalled && m_run.callback && m_run.blockSamples > 0 &&
           m_acquired - m_signalled >= std::int64_t{m_run.blockSamples};
}

void AnalogInput::deliverCallback()
{
    m_signalled += m_run.blockSamples;
    const daqmx::EveryNSamplesCallback callback = m_run.callback;
    const daqmx::TaskHandle handle = m_run.handle;
    const std::uint32_t blockSamples = m_run.blockSamples;
    void* const callbackData = m_run.callbackData;
    m_callbackHandle = handle;
    m_callbackThread = std::this_thread::get_id();
    ++m_blocksDelivered;
    m_mutex.unlock();
    callback(handle, daqmx::ValAcquiredIntoBuffer, blockSamples, callbackData);
    m_mutex.lock();
    m_callbackHandle = nullptr;
    m_changed.notify_all();
}

void AnalogInput::waitUs(std::int64_t durationUs)
{
    if (durationUs > 0)
        m_changed.wait_for(m_mutex, std::chrono::microseconds(durationUs));
}

void AnalogInput::runClock()
{
    CrashHandler::prepareThread();
    MutexLock lock(m_mutex);
    while (!m_quit) {
        const bool paused = m_stalled && m_pacing == Pacing::AsReady;
        const bool ended = m_overflow && !callbackDue();
        if (!m_active || m_stopping || paused || ended)
            waitUs(IdleWaitUs);
        else if (m_pacing == Pacing::RealTime)
            stepRealTime();
        else
            stepAsReady();
    }
}

void AnalogInput::stepRealTime()
{
    acquireUntilNow();
    if (!callbackDue()) {
        const bool idle = m_stalled || !m_run.callback || m_run.blockSamples == 0;
        waitUs(idle ? IdleWaitUs : dueUs(m_signalled + m_run.blockSamples) - m_time.monotonicUs());
        return;
    }
    const std::uint64_t generation = m_generation;
    const std::int64_t heldUntilUs = m_time.monotonicUs() + std::int64_t{m_delayMs} * 1000;
    while (m_time.monotonicUs() < heldUntilUs && generation == m_generation)
        waitUs(heldUntilUs - m_time.monotonicUs());
    if (generation == m_generation && callbackDue())
        deliverCallback();
}

void AnalogInput::stepAsReady()
{
    if (!m_run.callback || m_run.blockSamples == 0) {
        waitUs(IdleWaitUs);
        return;
    }
    const std::int64_t nowUs = m_time.monotonicUs();
    if (m_speed > 0.0) {
        const std::int64_t nextUs = dueUs(m_signalled + m_run.blockSamples);
        if (nextUs > nowUs) {
            waitUs(nextUs - nowUs);
            return;
        }
        if (nowUs - nextUs > MaximumLagUs)
            m_startUs += nowUs - nextUs;
    }
    const std::uint64_t generation = m_generation;
    if (m_ready) {
        m_mutex.unlock();
        const bool ready = m_ready();
        m_mutex.lock();
        if (!ready && generation == m_generation)
            waitUs(ReadyPollUs);
        if (!ready)
            return;
    }
    const std::int64_t heldUntilUs = nowUs + std::int64_t{m_delayMs} * 1000;
    while (m_time.monotonicUs() < heldUntilUs && generation == m_generation)
        waitUs(heldUntilUs - m_time.monotonicUs());
    if (generation != m_generation)
        return;
    acquire(m_run.blockSamples);
    if (callbackDue())
        deliverCallback();
}

int AnalogInput::advance(int n)
{
    MutexLock lock(m_mutex);
    int delivered = 0;
    for (int i = 0; i < n && m_active; ++i) {
        acquire(m_run.blockSamples > 0 ? m_run.blockSamples : 20);
        while (callbackDue()) {
            deliverCallback();
            ++delivered;
        }
    }
    return delivered;
}

std::int32_t AnalogInput::applyReadFaults()
{
    if (m_hangMs > 0) {
        const std::int64_t untilUs = m_time.monotonicUs() + std::int64_t{m_hangMs} * 1000;
        const std::uint64_t aborts = m_aborts;
        m_hangMs = 0;
        while (m_aborts == aborts && !m_quit && m_time.monotonicUs() < untilUs)
            waitUs(untilUs - m_time.monotonicUs());
    }
    if (m_readFailCount == 0)
        return 0;
    if (m_readFailCount > 0)
        --m_readFailCount;
    return m_readFailCode;
}

std::int32_t AnalogInput::waitForSamples(daqmx::TaskHandle handle, std::int64_t wanted, double timeoutSeconds)
{
    const std::int64_t deadlineUs =
        timeoutSeconds < 0 ? INT64_MAX
                           : m_time.monotonicUs() + static_cast<std::int64_t>(timeoutSeconds * 1e6);
    while (true) {
        if (!ownsRun(handle))
            return drivererror::TaskAborted;
        if (m_pacing == Pacing::RealTime)
            acquireUntilNow();
        else if (m_pacing == Pacing::AsReady && !m_run.callback && wanted > available())
            acquire(wanted - available());
        if (m_overflow)
            return drivererror::SamplesOverwritten;
        const std::int64_t missing = wanted - available();
        if (missing <= 0)
            return 0;
        const std::int64_t leftUs = deadlineUs - m_time.monotonicUs();
        if (leftUs <= 0)
            return drivererror::SamplesNotYetAvailable;
        const bool paced = m_pacing == Pacing::RealTime;
        const std::int64_t dueInUs = paced ? dueUs(m_acquired + missing) - m_time.monotonicUs() : IdleWaitUs;
        waitUs(std::min(leftUs, std::max<std::int64_t>(dueInUs, 1)));
    }
}

std::int32_t AnalogInput::read(daqmx::TaskHandle handle, int samplesPerChannel, double timeoutSeconds,
                               double* out, std::uint32_t outSize, std::int32_t* samplesRead)
{
    MutexLock lock(m_mutex);
    *samplesRead = 0;
    if (!ownsRun(handle))
        return drivererror::TaskNotRunning;
    if (const std::int32_t fault = applyReadFaults())
        return fault;
    std::int64_t wanted = samplesPerChannel;
    if (samplesPerChannel < 0)
        wanted = available();
    if (static_cast<std::uint64_t>(wanted) * m_run.channels.size() > outSize)
        return drivererror::ReadBufferTooSmall;
    const std::int32_t status = waitForSamples(handle, wanted, timeoutSeconds);
    if (status != 0)
        return status;
    m_source->read(m_run.channels, static_cast<int>(wanted), out);
    m_read += wanted;
    *samplesRead = static_cast<std::int32_t>(wanted);
    return 0;
}

void AnalogInput::failReads(std::int32_t code, int count)
{
    MutexLock lock(m_mutex);
    m_readFailCode = code;
    m_readFailCount = count;
}

void AnalogInput::setStalled(bool stalled)
{
    MutexLock lock(m_mutex);
    m_stalled = stalled;
    m_changed.notify_all();
}

void AnalogInput::setCallbackDelayMs(int delayMs)
{
    MutexLock lock(m_mutex);
    m_delayMs = std::max(delayMs, 0);
}

void AnalogInput::hangNextRead(int hangMs)
{
    MutexLock lock(m_mutex);
    m_hangMs = std::max(hangMs, 0);
}

} // namespace vt
