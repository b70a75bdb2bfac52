// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/TraceOverlay.h"

#include <QString>
#include <QtGlobal>
#include <vector>

namespace vt {

/// The markers of a recording where traces need them: by sample and by time of day. The newest thousand are
/// kept. A plain value.
class TraceMarkers
{
public:
    void clear() { m_markers.clear(); }
    /// event and label as in the marker file; sample: number of the first sample after it.
    void add(int event, quint64 sample, qint64 timeMs, const QString& label);
    /// Nothing happens when it is not kept.
    void relabel(int event, const QString& label);

    /// Those in a picture of so many seconds that ends before sample number endSample.
    [[nodiscard]] std::vector<TimeMark> bySample(quint64 endSample, int seconds) const;
    /// Those in a picture that ends at a time of day, in milliseconds since the epoch.
    [[nodiscard]] std::vector<TimeMark> byTime(qint64 endMs, int seconds) const;

private:
    struct Marker
    {
        int event;
        quint64 sample;
        qint64 timeMs;
        QString label;
    };
    std::vector<Marker> m_markers;
};

} // namespace vt
