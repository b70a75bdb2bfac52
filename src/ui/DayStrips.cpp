// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/DayStrips.h"

#include "ui/ActivityDays.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr qint64 DayMs = qint64{24} * 3600 * 1000;
constexpr qint64 ActivityBinMs = DayMs / StepHistory::BinsPerDay;
constexpr double AwakeAlpha = 0.25;
constexpr int HatchPeriod = 5; ///< device-independent pixels, as the next
constexpr int DotPeriod = 4;

QString text(const char* source)
{
    return QCoreApplication::translate("DayStrips", source);
}

/// Draws columns one device pixel wide.
class ColumnBrush
{
public:
    ColumnBrush(QPainter& painter, const QRect& area, double ratio, const Theme& theme)
        : m_painter(painter), m_area(area), m_line(std::max(1, static_cast<int>(std::lround(ratio)))),
          m_asleep(theme.asleep), m_awake(theme.awake), m_awakeField(theme.awake), m_muted(theme.mutedText)
    {
        m_awakeField.setAlphaF(AwakeAlpha);
    }
    void scored(int x, double asleepShare) const
    {
        const int filled = static_cast<int>(std::lround(asleepShare * m_area.height()));
        const int open = m_area.height() - filled;
        if (open > 0) {
            m_painter.fillRect(x, m_area.top(), 1, open, m_awakeField);
            m_painter.fillRect(x, m_area.top(), 1, std::min(open, 2 * m_line), m_awake);
        }
        m_painter.fillRect(x, m_area.top() + open, 1, filled, m_asleep);
    }
    void noSignal(int x) const
    {
        const int period = HatchPeriod * m_line;
        for (int y = 0; y < m_area.height(); ++y)
            if ((x + y) % period < m_line)
                m_painter.fillRect(x, m_area.top() + y, 1, 1, m_muted);
    }
    void notScored(int x) const
    {
        if (x % (DotPeriod * m_line) < 2 * m_line)
            m_painter.fillRect(x, m_area.center().y(), 1, m_line, m_muted);
    }

private:
    QPainter& m_painter;
    QRect m_area;
    int m_line;
    QColor m_asleep;
    QColor m_awake;
    QColor m_awakeField;
    QColor m_muted;
};

} // namespace

void DayStrips::begin(int channels, const LightCycle& cycle)
{
    m_bins.begin(channels);
    m_cycle = cycle;
    m_activity.assign(static_cast<std::size_t>(std::max(channels, 0)), {});
    m_isActivityOnly = false;
    m_activityEndMs = 0;
    ++m_generation;
}

void DayStrips::update(const StepHistory& history)
{
    if (history.channelCount() != m_bins.channelCount() || history.size() == 0)
        return;
    ++m_generation;
    m_isActivityOnly = history.isActivityOnly();
    m_bins.update(history);
    if (!m_isActivityOnly)
        return;
    const qint64 newestMs = history.timeMs(history.size() - 1);
    m_activityEndMs = (newestMs / ActivityBinMs + 1) * ActivityBinMs;
    const auto bins = activitydays::lastDay(newestMs);
    for (std::size_t channel = 0; channel < m_activity.size(); ++channel) {
        const auto& days = history.activityDays(static_cast<int>(channel));
        const double scale = activitydays::fullScale(days);
        m_activity[channel].clear();
        for (const activitydays::Slot& bin : bins) {
            const auto mean = activitydays::mean(days, bin);
            m_activity[channel].push_back(mean ? std::optional<double>(*mean / scale) : std::nullopt);
        }
    }
}

std::pair<qint64, qint64> DayStrips::period() const
{
    if (m_bins.isEmpty())
        return {0, 0};
    const qint64 end = m_isActivityOnly ? m_activityEndMs : m_bins.endMs();
    return {end - DayMs, end};
}

QImage DayStrips::image(int channel, QSize size, double devicePixelRatio, const Theme& theme) const
{
    QImage image(size.expandedTo({1, 1}), QImage::Format_RGB32);
    image.fill(theme.surface);
    if (m_isActivityOnly)
        drawActivity(image, channel, theme);
    else
        drawSleep(image, channel, devicePixelRatio, theme);
    image.setDevicePixelRatio(devicePixelRatio);
    return image;
}

void DayStrips::drawSleep(QImage& image, int channel, double devicePixelRatio, const Theme& theme) const
{
    QPainter painter(&image);
    const ColumnBrush brush(painter, image.rect(), devicePixelRatio, theme);
    int x = 0;
    for (const HypnogramCell& cell : m_bins.cells(channel, image.width())) {
        switch (cell.kind()) {
        case HypnogramCell::Kind::Scored:
            brush.scored(x, cell.asleepShare());
            break;
        case HypnogramCell::Kind::NoSignal:
            brush.noSignal(x);
            break;
        case HypnogramCell::Kind::NotScored:
            brush.notScored(x);
            break;
        case HypnogramCell::Kind::Empty:
            break;
        }
        ++x;
    }
}

void DayStrips::drawActivity(QImage& image, int channel, const Theme& theme) const
{
    QPainter painter(&image);
    const Activity& activity = m_activity[static_cast<std::size_t>(channel)];
    const auto count = static_cast<int>(activity.size());
    for (int bin = 0; bin < count; ++bin) {
        const std::optional<double>& value = activity[static_cast<std::size_t>(bin)];
        if (!value)
            continue;
        const int left = bin * image.width() / count;
        const int right = (bin + 1) * image.width() / count;
        // A resting animal leaves a line, so that it can be told from no data.
        const int height = std::max(1, static_cast<int>(std::lround(std::min(*value, 1.0) * image.height())));
        painter.fillRect(left, image.height() - height, right - left, height, theme.trace);
    }
}

QString DayStrips::textAt(int channel, double place) const
{
    const auto [from, to] = period();
    if (to == 0 || channel < 0 || channel >= m_bins.channelCount())
        return {};
    place = std::clamp(place, 0.0, 1.0 - 1e-9);
    const QString time =
        QDateTime::fromMSecsSinceEpoch(from + static_cast<qint64>(place * static_cast<double>(to - from)))
            .toString(QStringLiteral("HH:mm"));
    if (m_isActivityOnly) {
        const Activity& activity = m_activity[static_cast<std::size_t>(channel)];
        const auto bin = static_cast<std::size_t>(place * static_cast<double>(activity.size()));
        const bool isKnown = bin < activity.size() && activity[bin].has_value();
        return text("%1: %2").arg(time, isKnown ? text("activity recorded") : text("no data"));
    }
    const auto cells = m_bins.cells(channel, HypnogramBins::BinCount);
    const HypnogramCell& cell = cells[static_cast<std::size_t>(place * HypnogramBins::BinCount)];
    switch (cell.kind()) {
    case HypnogramCell::Kind::Scored:
        return text("%1: asleep %2 % of this minute")
            .arg(time, QLocale().toString(100.0 * cell.asleepShare(), 'f', 0));
    case HypnogramCell::Kind::NoSignal:
        return text("%1: no signal").arg(time);
    case HypnogramCell::Kind::NotScored:
        return text("%1: not scored").arg(time);
    case HypnogramCell::Kind::Empty:
        break;
    }
    return text("%1: not recorded").arg(time);
}

void DayStrips::drawPattern(QPainter& painter, const QRect& rect, Pattern pattern, const Theme& theme)
{
    painter.fillRect(rect, theme.surface);
    const ColumnBrush brush(painter, rect, 1.0, theme);
    for (int x = rect.left(); x <= rect.right(); ++x) {
        switch (pattern) {
        case Pattern::Asleep:
            brush.scored(x, 1.0);
            break;
        case Pattern::Awake:
            brush.scored(x, 0.0);
            break;
        case Pattern::NoSignal:
            brush.noSignal(x);
            break;
        case Pattern::NotScored:
            brush.notScored(x);
            break;
        case Pattern::LightsOff:
            painter.fillRect(x, rect.top(), 1, rect.height(), theme.text);
            break;
        }
    }
}

} // namespace vt
