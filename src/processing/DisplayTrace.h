// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>
#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <limits>
#include <span>
#include <vector>

namespace vt {

/// Ring of the newest values of one trace: written by the processing thread, read by the interface thread,
/// without locks. The ring is much longer than what is ever read at once, so that a reader is overtaken only
/// when it stands still for minutes; values that were overwritten meanwhile come out as NaN.
class DisplayTrace
{
public:
    /// capacity: values kept; a few more are allocated, for the push that may be under way during a copy.
    explicit DisplayTrace(std::size_t capacity) : m_values(capacity + MaxPush) {}

    /// Processing thread. Does not allocate or block.
    void push(std::span<const double> values)
    {
        const quint64 count = m_count.load(std::memory_order_relaxed);
        std::size_t slot = static_cast<std::size_t>(count % m_values.size());
        for (double value : values) {
            m_values[slot].store(static_cast<float>(value), std::memory_order_release);
            slot = slot + 1 == m_values.size() ? 0 : slot + 1;
        }
        m_count.store(count + values.size(), std::memory_order_release);
    }

    /// Any thread. Fills out with the newest values, oldest first; the last one is number n - 1, n being the
    /// returned count of all values ever pushed. Where there are fewer values than asked for, the leading
    /// entries are NaN.
    quint64 copyNewest(std::span<float> out) const
    {
        constexpr float Missing = std::numeric_limits<float>::quiet_NaN();
        const quint64 count = m_count.load(std::memory_order_acquire);
        const quint64 available = std::min<quint64>({count, out.size(), m_values.size() - MaxPush});
        const std::size_t lead = out.size() - static_cast<std::size_t>(available);
        std::fill_n(out.begin(), lead, Missing);
        const quint64 first = count - available;
        std::size_t slot = static_cast<std::size_t>(first % m_values.size());
        for (std::size_t i = lead; i < out.size(); ++i) {
            out[i] = m_values[slot].load(std::memory_order_acquire);
            slot = slot + 1 == m_values.size() ? 0 : slot + 1;
        }
        // One push may be under way beyond the count that is read now.
        const quint64 newest = m_count.load(std::memory_order_relaxed) + MaxPush;
        const quint64 oldestIntact = newest > m_values.size() ? newest - m_values.size() : 0;
        if (oldestIntact > first) {
            const quint64 lost = std::min(oldestIntact - first, available);
            std::fill_n(out.begin() + static_cast<std::ptrdiff_t>(lead), static_cast<std::size_t>(lost),
                        Missing);
        }
        return count;
    }

private:
    static constexpr quint64 MaxPush = 4; ///< values per push at most: the decimated samples of a frame
    std::vector<std::atomic<float>> m_values;
    std::atomic<quint64> m_count{0};
};

/// The latest spectrum of a channel. Written to one of a few slots in turn, so that a reader nearly never has
/// to begin again.
class DisplaySpectrum
{
public:
    static constexpr std::size_t Bins = 480;

    /// Processing thread. values: 480 values in dB.
    void publish(std::span<const double> values)
    {
        const quint64 count = m_count.load(std::memory_order_relaxed);
        auto& slot = m_slots[count % Slots];
        for (std::size_t k = 0; k < Bins; ++k)
            slot[k].store(static_cast<float>(values[k]), std::memory_order_release);
        m_count.store(count + 1, std::memory_order_release);
    }

    /// Any thread. Copies the first out.size() bins of the latest spectrum; bins that do not exist, and all
    /// bins before the first spectrum, become NaN. Returns the number of spectra so far.
    quint64 copyLatest(std::span<float> out) const
    {
        const std::size_t bins = std::min(out.size(), Bins);
        std::fill(out.begin(), out.end(), std::numeric_limits<float>::quiet_NaN());
        for (;;) {
            const quint64 count = m_count.load(std::memory_order_acquire);
            if (count == 0)
                return 0;
            const auto& slot = m_slots[(count - 1) % Slots];
            for (std::size_t k = 0; k < bins; ++k)
                out[k] = slot[k].load(std::memory_order_acquire);
            if (m_count.load(std::memory_order_relaxed) - count < Slots - 1)
                return count;
        }
    }

private:
    static constexpr quint64 Slots = 4;
    std::array<std::array<std::atomic<float>, Bins>, Slots> m_slots{};
    std::atomic<quint64> m_count{0};
};

} // namespace vt
