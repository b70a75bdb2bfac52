// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "acquisition/AcquisitionFrame.h"
#include "acquisition/DAQInterface.h"
#include "base/TimeSource.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace vt::test {

/// Plays [channel][sample] signals frame by frame, from their start again when they end.
class FakeDevice final : public DAQInterface
{
public:
    enum class Fault { None, EmptyQueue, NoSamples, ShortFrame };

    explicit FakeDevice(std::vector<std::vector<double>> channels) : m_channels(std::move(channels)) {}

    /// What the next pull does; later ones deliver again.
    void failOnce(Fault fault) { m_fault = fault; }

    bool getLatestData(double* buffer, int maxSize, int* samplesRead) override
    {
        const Fault fault = std::exchange(m_fault, Fault::None);
        *samplesRead = fault == Fault::NoSamples ? 0 : frameSize();
        if (fault == Fault::ShortFrame)
            *samplesRead -= SamplesPerFrame;
        if (fault == Fault::EmptyQueue || maxSize < frameSize())
            return false;
        if (fault != Fault::None)
            return true;
        for (std::size_t c = 0; c < m_channels.size(); ++c)
            std::copy_n(m_channels[c].data() + m_at, SamplesPerFrame, buffer + c * SamplesPerFrame);
        m_at += SamplesPerFrame;
        if (m_at + SamplesPerFrame > m_channels.front().size())
            m_at = 0;
        return true;
    }
    [[nodiscard]] int frameSize() const override { return channelCount() * SamplesPerFrame; }
    [[nodiscard]] int channelCount() const override { return static_cast<int>(m_channels.size()); }
    void start() override {}
    [[nodiscard]] bool stop(int) override { return true; }
    [[nodiscard]] bool released() const override { return true; }
    void setThreadPriority(QThread::Priority) override {}
    [[nodiscard]] AcquisitionCounters counters() const override { return {}; }

private:
    std::vector<std::vector<double>> m_channels;
    std::size_t m_at = 0;
    Fault m_fault = Fault::None;
};

/// A wall clock that the test sets and a monotonic clock that moves a little whenever it is read.
class SteppingTimeSource final : public TimeSource
{
public:
    QDateTime wallClock{QDate(2026, 3, 2), QTime(10, 0)};
    qint64 usPerReading = 0;

    [[nodiscard]] QDateTime now() const override { return wallClock; }
    [[nodiscard]] qint64 monotonicMs() const override { return monotonicUs() / 1000; }
    [[nodiscard]] qint64 monotonicUs() const override { return m_us += usPerReading; }
    [[nodiscard]] std::unique_ptr<Timer> createTimer(QObject*, std::function<void()>) override
    {
        return nullptr;
    }

private:
    mutable qint64 m_us = 0;
};

} // namespace vt::test
