// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/StripDelegate.h"

#include "ui/ChartTicks.h"
#include "ui/DayStrips.h"
#include "ui/SleepModel.h"

#include <QDateTime>
#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr int StripMargin = 3;
constexpr int LightBandHeight = 5;
constexpr QSize PatternSize(28, 12);

QSize devicePixels(QSize size, double ratio)
{
    return {static_cast<int>(std::lround(size.width() * ratio)),
            static_cast<int>(std::lround(size.height() * ratio))};
}

struct LegendEntry
{
    DayStrips::Pattern pattern;
    QString text;
};

std::vector<LegendEntry> legendEntries(const DayStrips& strips)
{
    using Pattern = DayStrips::Pattern;
    std::vector<LegendEntry> entries;
    if (strips.isActivityOnly())
        entries = {{Pattern::Activity, StripLegend::tr("Activity by 10 minutes; a line: at rest")}};
    else
        entries = {{Pattern::Asleep, StripLegend::tr("Asleep")},
                   {Pattern::Awake, StripLegend::tr("Awake")},
                   {Pattern::NoSignal, StripLegend::tr("No signal")},
                   {Pattern::NotScored, StripLegend::tr("Not scored")}};
    if (strips.cycle().isKnown())
        entries.push_back({Pattern::LightsOff, StripLegend::tr("Lights off (above the strips)")});
    return entries;
}

} // namespace

StripDelegate::StripDelegate(const DayStrips& strips, QObject* parent)
    : QStyledItemDelegate(parent), m_strips(strips)
{}

QRect StripDelegate::stripRect(const QRect& cell)
{
    return cell.adjusted(spacing::Small, StripMargin, -spacing::Small, -StripMargin);
}

void StripDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const
{
    QStyledItemDelegate::paint(painter, option, index); // the background of the row
    const QRect rect = stripRect(option.rect);
    const int channel = index.data(SleepModel::ChannelRole).toInt();
    if (rect.isEmpty() || channel < 0)
        return;
    if (m_drawn.size() <= static_cast<std::size_t>(channel))
        m_drawn.resize(static_cast<std::size_t>(channel) + 1);
    Drawn& drawn = m_drawn[static_cast<std::size_t>(channel)];
    const double ratio = painter->device()->devicePixelRatioF();
    const QSize size = devicePixels(rect.size(), ratio);
    const Theme theme = Theme::current();
    if (drawn.generation != m_strips.generation() || drawn.size != size ||
        drawn.surface != theme.surface.rgb())
        drawn = {m_strips.image(channel, size, ratio, theme), size, m_strips.generation(),
                 theme.surface.rgb()};
    painter->drawImage(rect.topLeft(), drawn.image);
}

bool StripDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                              const QModelIndex& index)
{
    if (event->type() != QEvent::ToolTip)
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    const QRect rect = stripRect(option.rect);
    const double place = static_cast<double>(event->pos().x() - rect.left()) / std::max(rect.width(), 1);
    QToolTip::showText(event->globalPos(),
                       m_strips.textAt(index.data(SleepModel::ChannelRole).toInt(), place));
    return true;
}

StripHeader::StripHeader(const DayStrips& strips, QWidget* parent)
    : QHeaderView(Qt::Horizontal, parent), m_strips(strips)
{}

void StripHeader::paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const
{
    painter->save();
    QHeaderView::paintSection(painter, rect, logicalIndex);
    painter->restore();
    const auto [from, to] = m_strips.period();
    if (logicalIndex != SleepModel::LastDay || to == 0)
        return;
    const Theme theme = Theme::current();
    const QRect strip = StripDelegate::stripRect(rect);
    const auto xOf = [&, begin = from, end = to](qint64 ms) {
        return strip.left() + static_cast<int>(std::lround(static_cast<double>(ms - begin) /
                                                           static_cast<double>(end - begin) * strip.width()));
    };
    const QRect band(strip.left(), rect.bottom() - LightBandHeight - 1, strip.width(), LightBandHeight);
    if (m_strips.cycle().isKnown()) {
        const LightColors colors = LightColors::of(theme);
        painter->fillRect(band, theme.outline);
        painter->fillRect(band.adjusted(1, 1, -1, -1), colors.on);
        for (const auto& [begin, end] : m_strips.cycle().darkPeriods(from, to))
            painter->fillRect(xOf(begin), band.top() + 1, xOf(end) - xOf(begin), band.height() - 2,
                              colors.off);
    }
    const QFont font = Theme::font(TextRole::Caption, this->font());
    const QFontMetrics metrics(font);
    const int labelWidth = metrics.horizontalAdvance(QStringLiteral("00:00"));
    painter->save();
    painter->setFont(font);
    painter->setPen(theme.mutedText);
    for (const qint64 tick : ticks::timeTicks(from, to, strip.width() / (2 * labelWidth))) {
        const int x = xOf(tick);
        painter->fillRect(x, band.top() - 3, 1, 3, theme.outline);
        const int left = std::clamp(x - labelWidth / 2, rect.left(), rect.right() - labelWidth);
        painter->drawText(QRect(left, band.top() - 3 - metrics.height(), labelWidth, metrics.height()),
                          Qt::AlignCenter,
                          QDateTime::fromMSecsSinceEpoch(tick).toString(QStringLiteral("HH:mm")));
    }
    painter->restore();
}

StripLegend::StripLegend(const DayStrips& strips, QWidget* parent) : QWidget(parent), m_strips(strips)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    refresh();
}

void StripLegend::refresh()
{
    QStringList texts;
    for (const LegendEntry& entry : legendEntries(m_strips))
        texts << entry.text;
    const QString name = tr("Patterns of the strips: %1").arg(texts.join(QStringLiteral(", ")));
    if (name == accessibleName())
        return;
    setAccessibleName(name);
    update();
}

QSize StripLegend::sizeHint() const
{
    return {0, QFontMetrics(Theme::font(TextRole::Caption, font())).height() + spacing::Tiny};
}

void StripLegend::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const Theme theme = Theme::current();
    painter.setFont(Theme::font(TextRole::Caption, font()));
    const double ratio = devicePixelRatioF();
    int x = 0;
    for (const LegendEntry& entry : legendEntries(m_strips)) {
        const QRect frame(x, (height() - PatternSize.height()) / 2, PatternSize.width(),
                          PatternSize.height());
        painter.fillRect(frame, theme.outline);
        const QRect inner = frame.adjusted(1, 1, -1, -1);
        painter.drawImage(inner.topLeft(),
                          DayStrips::sample(entry.pattern, devicePixels(inner.size(), ratio), ratio, theme));
        x += PatternSize.width() + spacing::Tiny + 2;
        painter.setPen(theme.mutedText);
        const int textWidth = painter.fontMetrics().horizontalAdvance(entry.text);
        painter.drawText(QRect(x, 0, textWidth + 1, height()), Qt::AlignVCenter | Qt::AlignLeft, entry.text);
        x += textWidth + spacing::Large;
    }
}

} // namespace vt
