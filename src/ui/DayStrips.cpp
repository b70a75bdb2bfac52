// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/DayStrips.h"

#include "ui/ActivityDays.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr qint64 DayMs = qint64{24} * 3600 * 1000;
constexpr qint64 ActivityBinMs = DayMs / StepHistory::BinsPerDay;
constexpr double AwakeShare = 0.25;
constexpr int HatchPeriod = 5; ///< device-independent pixels, as the next
constexpr int DotPeriod = 4;

QString text(const char* source)
{
    return QCoreApplication::translate("DayStrips", source);
}

/// Share of the second colour, 0 to 1.
QRgb blend(const QColor& below, const QColor& above, double share)
{
    const auto mixed = [share](int from, int to) {
        return static_cast<int>(std::lround(from + (to - from) * share));
    };
    return qRgb(mixed(below.red(), above.red()), mixed(below.green(), above.green()),
                mixed(below.blue(), above.blue()));
}

/// Draws columns one device pixel wide, straight into the pixels: a page of strips has tens of thousands.
class ColumnPen
{
public:
    ColumnPen(QImage& image, double ratio, const Theme& theme)
        : m_pixels(reinterpret_cast<QRgb*>(image.bits())),
          m_stride(image.bytesPerLine() / static_cast<qsizetype>(sizeof(QRgb))), m_height(image.height()),
          m_line(std::max(1, static_cast<int>(std::lround(ratio)))), m_asleep(theme.asleep.rgb()),
          m_awake(theme.awake.rgb()), m_awakeField(blend(theme.surface, theme.awake, AwakeShare)),
          m_muted(theme.mutedText.rgb()), m_trace(theme.trace.rgb())
    {}
    void scored(int x, double asleepShare) const
    {
        const int open = m_height - static_cast<int>(std::lround(asleepShare * m_height));
        const int edge = std::min(open, 2 * m_line);
        fill(x, 0, edge, m_awake);
        fill(x, edge, open, m_awakeField);
        fill(x, open, m_height, m_asleep);
    }
    void noSignal(int x) const
    {
        const int period = HatchPeriod * m_line;
        for (int y = 0; y < m_height; ++y)
            if ((x + y) % period < m_line)
                fill(x, y, y + 1, m_muted);
    }
    void notScored(int x) const
    {
        if (x % (DotPeriod * m_line) < 2 * m_line)
            fill(x, m_height / 2, std::min(m_height / 2 + m_line, m_height), m_muted);
    }
    /// A resting animal leaves a line, so that it can be told from no data.
    void active(int x, double share) const
    {
        const int height = static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * m_height));
        fill(x, m_height - std::max(height, std::min(m_line, m_height)), m_height, m_trace);
    }

private:
    void fill(int x, int from, int to, QRgb color) const
    {
        for (int y = from; y < to; ++y)
            m_pixels[y * m_stride + x] = color;
    }
    QRgb* m_pixels;
    qsizetype m_stride;
    int m_height;
    int m_line;
    QRgb m_asleep;
    QRgb m_awake;
    QRgb m_awakeField;
    QRgb m_muted;
    QRgb m_trace;
};

QImage blankStrip(QSize size, const Theme& theme)
{
    QImage image(size.expandedTo({1, 1}), QImage::Format_RGB32);
    image.fill(theme.surface);
    return image;
}

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
    QImage image = blankStrip(size, theme);
    if (m_isActivityOnly)
        drawActivity(image, channel, devicePixelRatio, theme);
    else
        drawSleep(image, channel, devicePixelRatio, theme);
    image.setDevicePixelRatio(devicePixelRatio);
    return image;
}

void DayStrips::drawSleep(QImage& image, int channel, double devicePixelRatio, const Theme& theme) const
{
    const ColumnPen pen(image, devicePixelRatio, theme);
    int x = 0;
    for (const HypnogramCell& cell : m_bins.cells(channel, image.width())) {
        switch (cell.kind()) {
        case HypnogramCell::Kind::Scored:
            pen.scored(x, cell.asleepShare());
            break;
        case HypnogramCell::Kind::NoSignal:
            pen.noSignal(x);
            break;
        case HypnogramCell::Kind::NotScored:
            pen.notScored(x);
            break;
        case HypnogramCell::Kind::Empty:
            break;
        }
        ++x;
    }
}

void DayStrips::drawActivity(QImage& image, int channel, double devicePixelRatio, const Theme& theme) const
{
    const Activity& activity = m_activity[static_cast<std::size_t>(channel)];
    const ColumnPen pen(image, devicePixelRatio, theme);
    const auto count = static_cast<int>(activity.size());
    for (int x = 0; x < image.width() && count > 0; ++x)
        if (const auto& value = activity[static_cast<std::size_t>(x * count / image.width())])
            pen.active(x, *value);
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

QImage DayStrips::sample(Pattern pattern, QSize size, double devicePixelRatio, const Theme& theme)
{
    QImage image = blankStrip(size, theme);
    if (pattern == Pattern::LightsOff)
        image.fill(LightColors::of(theme).off);
    const ColumnPen pen(image, devicePixelRatio, theme);
    for (int x = 0; x < image.width(); ++x) {
        switch (pattern) {
        case Pattern::Asleep:
            pen.scored(x, 1.0);
            break;
        case Pattern::Awake:
            pen.scored(x, 0.0);
            break;
        case Pattern::NoSignal:
            pen.noSignal(x);
            break;
        case Pattern::NotScored:
            pen.notScored(x);
            break;
        case Pattern::Activity:
            pen.active(x, x * 3 / image.width() == 1 ? 0.8 : 0.0);
            break;
        case Pattern::LightsOff:
            break;
        }
    }
    image.setDevicePixelRatio(devicePixelRatio);
    return image;
}

} // namespace vt
