// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/Theme.h"

#include "ui/InstrumentStyle.h"

#include <QApplication>
#include <QPainter>
#include <QStyle>
#include <QWidget>

#include <algorithm>
#include <cmath>
#include <memory>

namespace vt {

namespace {

/// share of b in the mix, 0..1
QColor mix(const QColor& a, const QColor& b, double share)
{
    const auto channel = [share](int from, int to) {
        return static_cast<int>(std::lround(from + (to - from) * share));
    };
    return {channel(a.red(), b.red()), channel(a.green(), b.green()), channel(a.blue(), b.blue())};
}

/// Relative luminance, WCAG 2.1.
double luminance(const QColor& color)
{
    const auto linear = [](double value) {
        return value <= 0.03928 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

/// Moves a colour towards text until it can be read on the background.
QColor readable(QColor color, const QColor& text, const QColor& background, double ratio)
{
    for (int step = 0; step < 20 && Theme::contrast(color, background) < ratio; ++step)
        color = mix(color, text, 0.1);
    return color;
}

void setProperty(QWidget* widget, const char* name, const QString& value)
{
    if (widget->property(name).toString() == value)
        return;
    widget->setProperty(name, value);
    widget->style()->unpolish(widget);
    widget->style()->polish(widget);
    widget->update();
}

QString roleName(TextRole role)
{
    switch (role) {
    case TextRole::Caption:
        return QStringLiteral("caption");
    case TextRole::Body:
        return QStringLiteral("body");
    case TextRole::Value:
        return QStringLiteral("value");
    case TextRole::Title:
        return QStringLiteral("title");
    case TextRole::Headline:
        return QStringLiteral("headline");
    case TextRole::Hint:
        return QStringLiteral("hint");
    }
    return {};
}

QString emphasisName(Emphasis emphasis)
{
    switch (emphasis) {
    case Emphasis::Normal:
        return QStringLiteral("normal");
    case Emphasis::Good:
        return QStringLiteral("good");
    case Emphasis::Warning:
        return QStringLiteral("warning");
    case Emphasis::Danger:
        return QStringLiteral("danger");
    case Emphasis::Muted:
        return QStringLiteral("muted");
    }
    return {};
}

struct Colours
{
    const char* window;
    const char* base;
    const char* alternate;
    const char* text;
    const char* button;
    const char* highlight;
    const char* disabled;
};

QPalette paletteOf(const Colours& colours)
{
    const auto color = [](const char* name) { return QColor(QLatin1String(name)); };
    QPalette palette(color(colours.button), color(colours.window));
    for (const auto role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText})
        palette.setColor(role, color(colours.text));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, color(colours.disabled));
    palette.setColor(QPalette::PlaceholderText, color(colours.disabled));
    palette.setColor(QPalette::Window, color(colours.window));
    palette.setColor(QPalette::Base, color(colours.base));
    palette.setColor(QPalette::AlternateBase, color(colours.alternate));
    palette.setColor(QPalette::ToolTipBase, color(colours.base));
    palette.setColor(QPalette::Highlight, color(colours.highlight));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, color(colours.highlight));
    return palette;
}

constexpr const char* SheetTemplate = R"(
QMainWindow { background: @window; }
QToolTip { background: @surface; color: @text; border: 1px solid @border; padding: 4px; }
QFrame[kind="card"] { background: @surface; border: 1px solid @border; border-radius: @radiuspx; }
QFrame[kind="rule"] { background: @border; border: none; }
QScrollArea { background: transparent; border: none; }
QScrollArea > QWidget#qt_scrollarea_viewport > QWidget { background: transparent; }

QLabel[textRole="caption"] { color: @muted; font-size: @captionpt; }
QLabel[textRole="hint"] { color: @muted; font-size: @hintpt; }
QLabel[textRole="value"] { color: @text; font-size: @valuept; font-weight: 600; }
QLabel[textRole="title"] { color: @text; font-size: @titlept; font-weight: 600; }
QLabel[textRole="headline"] { color: @text; font-size: @headlinept; font-weight: 600; }
QLabel[emphasis="good"] { color: @good; }
QLabel[emphasis="warning"] { color: @warning; }
QLabel[emphasis="danger"] { color: @danger; }
QLabel[emphasis="muted"] { color: @muted; }

QLabel[kind="chip"] { border: 1px solid @border; border-radius: 4px; padding: 1px 6px; color: @muted;
    font-size: @captionpt; font-weight: 600; }
QLabel[kind="chip"][sleep="asleep"] { background: @asleep; border-color: @asleep; color: @onAccent; }
QLabel[kind="chip"][sleep="awake"] { border-color: @awake; color: @awake; }
QLabel[kind="chip"][sleep="nosignal"] { border: 1px dashed @muted; color: @muted; }

QPushButton { background: @button; color: @text; border: 1px solid @border; border-radius: @radiuspx;
    padding: 5px 12px; }
QPushButton:hover { border-color: @muted; }
QPushButton:pressed { background: @border; }
QPushButton:disabled { color: @disabled; background: @window; }
QPushButton:focus { border: 2px solid @accent; padding: 4px 11px; }
QPushButton:checked { background: @accent; border-color: @accent; color: @onAccent; }
QPushButton[kind="primary"], QPushButton[kind="danger"] { padding: 9px 12px; font-weight: 600; }
QPushButton[kind="primary"]:enabled { background: @accent; border-color: @accent; color: @onAccent; }
QPushButton[kind="primary"]:enabled:hover { background: @accentHover; }
QPushButton[kind="primary"]:focus, QPushButton[kind="danger"]:focus { border: 2px solid @text; padding: 8px 11px; }
QPushButton[kind="danger"]:enabled { background: @danger; border-color: @danger; color: @onDanger; }
QPushButton[kind="danger"]:enabled:hover { background: @dangerHover; }
QPushButton[kind="plain"] { padding: 9px 12px; }
QPushButton[kind="plain"]:focus { padding: 8px 11px; }

QTabWidget::pane { border: none; }
QTabBar { qproperty-drawBase: 0; }
QTabBar::tab { background: transparent; color: @muted; padding: 7px 12px; border: none;
    border-bottom: 2px solid transparent; }
QTabBar::tab:selected { color: @text; border-bottom: 2px solid @accent; font-weight: 600; }
QTabBar::tab:hover:!selected { color: @text; }
QTabBar::tab:focus { color: @accent; }

QTableView, QListView, QPlainTextEdit { background: @surface; border: 1px solid @border; gridline-color: @grid;
    border-radius: 4px; outline: 0; }
QTableView:focus, QListView:focus, QPlainTextEdit:focus { border: 1px solid @accent; }
QTableView::item { padding: 0 6px; border: none; }
QTableView::item:selected { background: @highlight; color: @onHighlight; }
QHeaderView { background: transparent; }
QHeaderView::section { background: @window; color: @muted; border: none; border-bottom: 1px solid @border;
    padding: 4px 9px; font-size: @captionpt; }
QStatusBar { background: @window; border-top: 1px solid @border; }
QStatusBar::item { border: none; }
)";

} // namespace

double Theme::contrast(const QColor& a, const QColor& b)
{
    const double first = luminance(a);
    const double second = luminance(b);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

Theme Theme::fromPalette(const QPalette& palette)
{
    Theme theme;
    theme.window = palette.color(QPalette::Active, QPalette::Window);
    theme.surface = palette.color(QPalette::Active, QPalette::Base);
    theme.text = palette.color(QPalette::Active, QPalette::Text);
    theme.dark = luminance(theme.surface) < luminance(theme.text);
    const auto pick = [&theme](const char* onLight, const char* onDark) {
        const QColor color(QLatin1String(theme.dark ? onDark : onLight));
        // Cards are drawn on surface, the status bar on window; what is readable on both is readable
        // anywhere.
        return readable(readable(color, theme.text, theme.surface, 4.5), theme.text, theme.window, 4.5);
    };
    theme.mutedText = readable(readable(mix(theme.text, theme.surface, 0.45), theme.text, theme.surface, 4.6),
                               theme.text, theme.window, 4.6);
    theme.border = mix(theme.surface, theme.text, theme.dark ? 0.2 : 0.17);
    theme.outline = readable(mix(theme.surface, theme.text, 0.4), theme.text, theme.surface, 3.0);
    theme.grid = mix(theme.surface, theme.text, theme.dark ? 0.1 : 0.08);
    theme.accent = pick("#0067a3", "#56b4e9");
    theme.good = pick("#007a5a", "#2fbf94");
    theme.warning = pick("#8a5a00", "#e69f00");
    theme.danger = pick("#b84a00", "#f08a4b");
    theme.asleep = theme.accent;
    theme.awake = theme.warning;
    theme.trace = mix(theme.text, theme.accent, 0.45);
    const QColor ink(QStringLiteral("#10161d"));
    const QColor paper(Qt::white);
    const auto on = [&](const QColor& fill) {
        return contrast(paper, fill) >= contrast(ink, fill) ? paper : ink;
    };
    theme.onAccent = on(theme.accent);
    theme.onDanger = on(theme.danger);
    return theme;
}

Theme Theme::current()
{
    return fromPalette(QApplication::palette());
}

QPalette Theme::lightPalette()
{
    return paletteOf({"#f2f4f6", "#ffffff", "#f7f9fa", "#1a222b", "#fbfcfd", "#0067a3", "#8b949e"});
}

QPalette Theme::darkPalette()
{
    return paletteOf({"#14181d", "#1c2229", "#20272f", "#e4e9ee", "#262e37", "#2a78ab", "#6f7b87"});
}

QColor Theme::emphasisColor(Emphasis emphasis) const
{
    switch (emphasis) {
    case Emphasis::Normal:
        return text;
    case Emphasis::Good:
        return good;
    case Emphasis::Warning:
        return warning;
    case Emphasis::Danger:
        return danger;
    case Emphasis::Muted:
        return mutedText;
    }
    return text;
}

QFont Theme::font(TextRole role, const QFont& base)
{
    const auto scaled = [&base](double factor, QFont::Weight weight) {
        QFont font(base);
        if (base.pointSizeF() > 0)
            font.setPointSizeF(base.pointSizeF() * factor);
        else
            font.setPixelSize(static_cast<int>(std::lround(base.pixelSize() * factor)));
        font.setWeight(weight);
        return font;
    };
    switch (role) {
    case TextRole::Caption:
        return scaled(0.85, QFont::Normal);
    case TextRole::Body:
        return scaled(1.0, QFont::Normal);
    case TextRole::Value:
        return scaled(1.15, QFont::DemiBold);
    case TextRole::Title:
        return scaled(1.05, QFont::DemiBold);
    case TextRole::Headline:
        return scaled(1.6, QFont::DemiBold);
    case TextRole::Hint:
        return scaled(0.92, QFont::Normal);
    }
    return base;
}

QString Theme::styleSheet(const QFont& base) const
{
    const auto points = [&base](TextRole role) {
        const QFont scaled = font(role, base);
        return scaled.pointSizeF() > 0 ? QString::number(scaled.pointSizeF(), 'f', 1) + QStringLiteral("pt")
                                       : QString::number(scaled.pixelSize()) + QStringLiteral("px");
    };
    const QPalette palette = QApplication::palette();
    // Longer names first: "@accentHover" begins with "@accent".
    const std::pair<QLatin1String, QString> values[] = {
        {QLatin1String("@captionpt"), points(TextRole::Caption)},
        {QLatin1String("@hintpt"), points(TextRole::Hint)},
        {QLatin1String("@valuept"), points(TextRole::Value)},
        {QLatin1String("@titlept"), points(TextRole::Title)},
        {QLatin1String("@headlinept"), points(TextRole::Headline)},
        {QLatin1String("@radius"), QString::number(spacing::Radius)},
        {QLatin1String("@accentHover"), mix(accent, text, 0.15).name()},
        {QLatin1String("@dangerHover"), mix(danger, text, 0.15).name()},
        {QLatin1String("@onAccent"), onAccent.name()},
        {QLatin1String("@onDanger"), onDanger.name()},
        {QLatin1String("@window"), window.name()},
        {QLatin1String("@surface"), surface.name()},
        {QLatin1String("@text"), text.name()},
        {QLatin1String("@muted"), mutedText.name()},
        {QLatin1String("@border"), border.name()},
        {QLatin1String("@accent"), accent.name()},
        {QLatin1String("@good"), good.name()},
        {QLatin1String("@warning"), warning.name()},
        {QLatin1String("@danger"), danger.name()},
        {QLatin1String("@asleep"), asleep.name()},
        {QLatin1String("@awake"), awake.name()},
        {QLatin1String("@grid"), grid.name()},
        {QLatin1String("@highlight"), palette.color(QPalette::Active, QPalette::Highlight).name()},
        {QLatin1String("@onHighlight"), palette.color(QPalette::Active, QPalette::HighlightedText).name()},
        {QLatin1String("@button"), palette.color(QPalette::Active, QPalette::Button).name()},
        {QLatin1String("@disabled"), palette.color(QPalette::Disabled, QPalette::ButtonText).name()},
    };
    QString sheet = QLatin1String(SheetTemplate);
    for (const auto& [name, value] : values)
        sheet.replace(name, value);
    return sheet;
}

void applyApplicationStyle(QApplication& application)
{
    application.setStyle(std::make_unique<InstrumentStyle>().release()); // the application owns it
}

void setTextRole(QWidget* widget, TextRole role)
{
    setProperty(widget, "textRole", roleName(role));
}

void setEmphasis(QWidget* widget, Emphasis emphasis)
{
    setProperty(widget, "emphasis", emphasisName(emphasis));
}

void setKind(QWidget* widget, const QString& kind)
{
    setProperty(widget, "kind", kind);
}

void setSleepLook(QWidget* widget, const QString& look)
{
    setProperty(widget, "sleep", look);
}

void drawCheckMark(QPainter& painter, const QRectF& rect, const QColor& color)
{
    const auto at = [&rect](double x, double y) {
        return QPointF(rect.left() + x * rect.width(), rect.top() + y * rect.height());
    };
    painter.setPen(QPen(color, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(QPolygonF{{at(0.22, 0.52), at(0.42, 0.72), at(0.78, 0.28)}});
}

} // namespace vt
