// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/DiskForecast.h"

#include "acquisition/AcquisitionFrame.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace vt {

qint64 recordedBytesPerHour(int channelCount, int animalType)
{
    const qint64 valuesPerStep = (animalType == AnimalMouse ? 4 : 6) + 2;
    return qint64{channelCount} * 3600 * (qint64{2} * DecimatedRateHz + valuesPerStep * 8 / 2);
}

void DiskForecast::note(qint64 nowMs, qint64 freeBytes, int filmingCameras)
{
    if (filmingCameras > std::exchange(m_filmingCameras, filmingCameras)) {
        m_samples.clear(); // how fast the disk filled without this one says little
        m_rate.reset();
    }
    if (freeBytes < 0 || (!m_samples.empty() && nowMs - m_samples.back().atMs < SpacingMs))
        return;
    m_samples.push_back({nowMs, freeBytes});
    while (nowMs - m_samples.front().atMs > LongestMs)
        m_samples.pop_front();
    m_rate = medianFall();
}

qint64 DiskForecast::bytesPerHour(qint64 computed) const
{
    return std::max(computed, m_rate.value_or(0));
}

std::optional<qint64> DiskForecast::medianFall() const
{
    if (m_samples.back().atMs - m_samples.front().atMs < ShortestMs)
        return std::nullopt;
    constexpr double msPerHour = 3'600'000;
    std::vector<double> falls;
    falls.reserve(m_samples.size() * (m_samples.size() - 1) / 2);
    for (auto later = m_samples.begin(); later != m_samples.end(); ++later)
        for (auto earlier = m_samples.begin(); earlier != later; ++earlier)
            falls.push_back(static_cast<double>(earlier->freeBytes - later->freeBytes) * msPerHour /
                            static_cast<double>(later->atMs - earlier->atMs));
    const auto median = falls.begin() + static_cast<std::ptrdiff_t>(falls.size() / 2);
    std::nth_element(falls.begin(), median, falls.end());
    return std::max<qint64>(0, qRound64(*median));
}

} // namespace vt
