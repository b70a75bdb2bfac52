// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/Actogram.h"

#include "ui/Theme.h"

#include <QLocale>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr int HoursShown = 48;
constexpr int BinsShown = 2 * StepHistory::BinsPerDay;
constexpr int LightBarHeight = 12;
constexpr int LeastRowHeight = 8;
constexpr int MostRowHeight = 96;
constexpr int RowGap = 2;
constexpr int BinsPerHour = StepHistory::BinsPerDay / 24;

int xOfBin(const QRect& plot, int bin)
{
    return plot.left() + bin * plot.width() / BinsShown;
}

int xOfHour(const QRect& plot, double hour)
{
    return plot.left() + static_cast<int>(std::lround(hour / HoursShown * plot.width()));
}

QString dateText(QDate date)
{
    return QLocale().toString(date, QStringLiteral("ddd d MMM"));
}

QString binTime(int bin)
{
    return QTime(bin / BinsPerHour, bin % BinsPerHour * (60 / BinsPerHour)).toString(QStringLiteral("HH:mm"));
}

} // namespace

Actogram::Actogram(QWidget* parent) : HoverChart(parent)
{
    setAccessibleName(tr("Actogram"));
}

QSize Actogram::minimumSizeHint() const
{
    return {260, 160};
}

void Actogram::setCycle(const LightCycle& cycle)
{
    m_cycle = cycle;
    update();
}

void Actogram::setDays(const activitydays::Days& days)
{
    m_days = days;
    m_fullScale = activitydays::fullScale(days);
    setAccessibleDescription(tr("Days shown: %1; each row is a day and the day after it")
                                 .arg(activitydays::doublePlot(m_days).size()));
    update();
}

QRect Actogram::plotRect() const
{
    const QFontMetrics metrics(Theme::font(TextRole::Caption, font()));
    // The widest day and month of most languages.
    const int left = metrics.horizontalAdvance(dateText(QDate(2024, 9, 25))) + spacing::Small;
    const int top = LightBarHeight + spacing::Tiny;
    const int bottom = metrics.height() + spacing::Small;
    const int right = metrics.horizontalAdvance(QStringLiteral("24")) / 2 + 2;
    return {left, top, std::max(width() - left - right, 1), std::max(height() - top - bottom, 1)};
}

int Actogram::rowHeight(int rows) const
{
    return std::clamp(plotRect().height() / std::max(rows, 1), LeastRowHeight, MostRowHeight);
}

void Actogram::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const Theme theme = Theme::current();
    painter.setFont(Theme::font(TextRole::Caption, font()));
    const QRect plot = plotRect();
    std::vector<activitydays::Row> rows = activitydays::doublePlot(m_days);
    const int pitch = rowHeight(static_cast<int>(rows.size()));
    const auto fitting = static_cast<std::size_t>(std::max(plot.height() / pitch, 1));
    if (rows.size() > fitting) // the newest ones stay
        rows.erase(rows.begin(), rows.end() - static_cast<std::ptrdiff_t>(fitting));
    const int bottom = plot.top() + pitch * std::max(static_cast<int>(rows.size()), 1);
    drawCycle(painter, plot, bottom);
    drawHours(painter, plot, bottom);
    // Dates are left out where they would touch each other.
    const int textHeight = painter.fontMetrics().height();
    const auto every = static_cast<std::size_t>((textHeight + pitch - 1) / pitch);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const QRect area(plot.left(), plot.top() + static_cast<int>(i) * pitch + RowGap, plot.width(),
                         pitch - RowGap);
        drawRow(painter, area, rows[i]);
        if (i % every != 0)
            continue;
        painter.setPen(theme.mutedText);
        painter.drawText(QRect(0, area.bottom() - std::max(textHeight, area.height()) + 1,
                               plot.left() - spacing::Small, std::max(textHeight, area.height())),
                         Qt::AlignRight | Qt::AlignVCenter, dateText(rows[i].date));
    }
}

void Actogram::drawCycle(QPainter& painter, const QRect& plot, int rowsBottom) const
{
    if (!m_cycle.isKnown())
        return;
    const Theme theme = Theme::current();
    const QRect bar(plot.left(), 0, plot.width(), LightBarHeight);
    painter.fillRect(bar, theme.outline);
    const LightColors colors = LightColors::of(theme);
    painter.fillRect(bar.adjusted(1, 1, -1, -1), colors.on);
    for (const double day : {0.0, 24.0}) {
        for (const auto& [begin, end] : m_cycle.darkHours()) {
            const int left = xOfHour(plot, begin + day);
            const int right = xOfHour(plot, end + day);
            painter.fillRect(QRect(left, bar.top() + 1, right - left, bar.height() - 2), colors.off);
            painter.fillRect(QRect(left, plot.top(), right - left, rowsBottom - plot.top()), theme.grid);
        }
    }
    painter.setPen(theme.outline);
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(bar.adjusted(0, 0, -1, -1));
}

void Actogram::drawHours(QPainter& painter, const QRect& plot, int rowsBottom) const
{
    const Theme theme = Theme::current();
    const QFontMetrics metrics = painter.fontMetrics();
    const int labelWidth = metrics.horizontalAdvance(QStringLiteral("24"));
    const int step = plot.width() / 8 > 2 * labelWidth ? 6 : 12;
    for (int hour = 0; hour <= HoursShown; hour += step) {
        const int x = xOfHour(plot, hour);
        painter.fillRect(x, plot.top(), 1, rowsBottom - plot.top() + 3,
                         hour == HoursShown / 2 ? theme.outline : theme.border);
        painter.setPen(theme.mutedText);
        painter.drawText(QRect(x - labelWidth, rowsBottom + 4, 2 * labelWidth, metrics.height()),
                         Qt::AlignHCenter | Qt::AlignTop,
                         QString::number(hour == HoursShown ? 24 : hour % 24));
    }
}

void Actogram::drawRow(QPainter& painter, const QRect& area, const activitydays::Row& row) const
{
    const Theme theme = Theme::current();
    for (int bin = 0; bin < BinsShown; ++bin) {
        const std::optional<double> mean = activitydays::mean(row, bin);
        if (!mean)
            continue;
        const int left = xOfBin(area, bin);
        const int height = static_cast<int>(std::lround(std::min(*mean / m_fullScale, 1.0) * area.height()));
        const int shown = std::max(height, 1);
        painter.fillRect(left, area.bottom() + 1 - shown, xOfBin(area, bin + 1) - left, shown, theme.trace);
    }
}

QString Actogram::textAt(QPoint position) const
{
    const QRect plot = plotRect();
    const std::vector<activitydays::Row> rows = activitydays::doublePlot(m_days);
    const int pitch = rowHeight(static_cast<int>(rows.size()));
    const int fitting = std::max(plot.height() / pitch, 1);
    const int hidden = std::max(static_cast<int>(rows.size()) - fitting, 0);
    const int index = (position.y() - plot.top()) / pitch + hidden;
    const int bin = (position.x() - plot.left()) * BinsShown / plot.width();
    if (position.y() < plot.top() || position.x() < plot.left() || index >= static_cast<int>(rows.size()) ||
        bin >= BinsShown)
        return tr("Activity by day: each row is two days, the dark phase is shaded");
    const activitydays::Row& row = rows[static_cast<std::size_t>(index)];
    const QDate date = row.date.addDays(bin / StepHistory::BinsPerDay);
    const std::optional<double> mean = activitydays::mean(row, bin);
    return tr("%1 %2: %3")
        .arg(dateText(date), binTime(bin % StepHistory::BinsPerDay),
             mean ? tr("activity %1").arg(QLocale().toString(*mean, 'f', 2)) : tr("not recorded"));
}

} // namespace vt
