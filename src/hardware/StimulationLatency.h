// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace vt {

/// How long it takes from the arrival of the frame that completed a decision to the return of the register
/// write that starts the stimulation. Keeps every value (4 bytes each, 43200 a day at most), for exact
/// percentiles. Pure; one thread.
class StimulationLatency
{
public:
    /// A request to activate cages goes out; its number. frameArrivalUs (monotonic clock): empty for
    /// stimulations that no frame has caused.
    [[nodiscard]] quint64 requestSent(std::optional<qint64> frameArrivalUs);
    /// A request came back: when the register write had returned, or empty when there was none. Its latency
    /// in microseconds, when it has one.
    std::optional<qint64> requestReturned(quint64 request, std::optional<qint64> returnedUs);
    /// Requests that are still out will never come back.
    void forgetRequests() { m_outstanding.clear(); }

    /// Counts one latency, in microseconds; negative ones count as 0.
    void add(qint64 microseconds);
    [[nodiscard]] std::size_t count() const { return m_valuesUs.size(); }
    /// "12 stimulations: median 41.3 ms, 95th percentile 52.0 ms, maximum 60.2 ms". The median of an even
    /// number of values is the mean of the two in the middle; the percentile is the smallest value that at
    /// least 95 % of the values do not exceed.
    [[nodiscard]] QString summary() const;
    void clear();

private:
    static constexpr std::size_t MaxOutstanding = 64;
    struct Request
    {
        quint64 number;
        std::optional<qint64> arrivalUs;
    };
    quint64 m_requests = 0;
    std::deque<Request> m_outstanding;
    std::vector<std::uint32_t> m_valuesUs;
};

} // namespace vt
