// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/StrivixDrain.h"

#include "acquisition/AcquisitionFrame.h"

#include <algorithm>

namespace vt {

namespace {

constexpr int FastDrainDepth = 1200;
constexpr int MinIntervalMs = 28;
constexpr int MaxIntervalMs = 38;
constexpr double SmoothingShare = 0.05;

} // namespace

int StrivixDrain::intervalMs(double smoothedDepth)
{
    const int correctionMs = (static_cast<int>(smoothedDepth) - PrimedDepth) * 120 / 600;
    return std::clamp(NominalIntervalMs - correctionMs, MinIntervalMs, MaxIntervalMs);
}

StrivixDrain::Tick StrivixDrain::tick(int depth)
{
    Tick result;
    result.intervalMs = m_intervalMs;
    if (depth <= 0) {
        if (m_isPrimed && !m_isEmpty)
            ++m_underruns;
        m_isEmpty = true;
        result.underrun = m_isPrimed && !m_isUnderrunReported;
        m_isUnderrunReported = m_isUnderrunReported || result.underrun;
        return result;
    }
    m_isEmpty = false;
    if (!m_isPrimed && depth < PrimedDepth)
        return result;
    m_isPrimed = true;
    result.fastDrain = depth > FastDrainDepth;
    result.amount = std::min(result.fastDrain ? depth - PrimedDepth : SamplesPerFrame, depth);
    m_smoothedDepth = SmoothingShare * depth + (1.0 - SmoothingShare) * m_smoothedDepth;
    m_intervalMs = intervalMs(m_smoothedDepth);
    result.intervalMs = m_intervalMs;
    if (depth < m_lowWaterMark) {
        m_lowWaterMark = depth;
        result.newLow = depth;
    }
    return result;
}

bool StrivixDrain::noteArrival(int depth)
{
    if (depth <= m_highWaterMark)
        return false;
    m_highWaterMark = depth;
    return true;
}

} // namespace vt
