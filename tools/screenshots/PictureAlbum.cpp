// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureAlbum.h"

#include "ui/Theme.h"

#include <QApplication>
#include <QEventLoop>
#include <QHash>
#include <QImage>
#include <QMainWindow>
#include <QTextStream>
#include <QTimer>
#include <QWidget>
#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace vt {

namespace {

constexpr int SettleMs = 150;   ///< for displays that draw on a timer of their own
constexpr int SmallestFile = 0; ///< quality of a PNG file: the most compression
constexpr int MostColours = 256;
constexpr int SameColour = 60; ///< squared distance below which two colours are told apart by nobody

int squaredDistance(QRgb a, QRgb b)
{
    const int red = qRed(a) - qRed(b);
    const int green = qGreen(a) - qGreen(b);
    const int blue = qBlue(a) - qBlue(b);
    return red * red + green * green + blue * blue;
}

/// The most frequent colours that differ visibly; then, where there is room, the most frequent others.
QList<QRgb> paletteOf(const QHash<QRgb, int>& counts)
{
    std::vector<std::pair<int, QRgb>> byCount;
    for (auto colour = counts.begin(); colour != counts.end(); ++colour)
        byCount.emplace_back(colour.value(), colour.key());
    std::sort(byCount.begin(), byCount.end(), std::greater<>());
    QList<QRgb> palette;
    for (const int least : {SameColour, 1})
        for (const auto& [count, colour] : byCount) {
            if (palette.size() == MostColours)
                return palette;
            const bool isNew = std::none_of(palette.begin(), palette.end(), [&, wanted = colour](QRgb other) {
                return squaredDistance(wanted, other) < least;
            });
            if (isNew)
                palette << colour;
        }
    return palette;
}

uchar nearest(QRgb wanted, const QList<QRgb>& palette)
{
    int best = 0;
    int bestDistance = std::numeric_limits<int>::max();
    for (int index = 0; index < palette.size(); ++index)
        if (const int distance = squaredDistance(wanted, palette[index]); distance < bestDistance) {
            best = index;
            bestDistance = distance;
        }
    return static_cast<uchar>(best);
}

/// A third of the file's size, and nothing to see of it: texts and lines have few colours.
QImage withFewColours(const QImage& picture)
{
    const QImage source = picture.convertToFormat(QImage::Format_RGB32);
    QHash<QRgb, int> counts;
    for (int y = 0; y < source.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(source.constScanLine(y));
        for (int x = 0; x < source.width(); ++x)
            ++counts[line[x]];
    }
    const QList<QRgb> palette = paletteOf(counts);
    QHash<QRgb, uchar> indexes;
    QImage result(source.size(), QImage::Format_Indexed8);
    result.setColorTable(palette);
    for (int y = 0; y < source.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(source.constScanLine(y));
        uchar* target = result.scanLine(y);
        for (int x = 0; x < source.width(); ++x) {
            auto index = indexes.constFind(line[x]);
            if (index == indexes.constEnd())
                index = indexes.insert(line[x], nearest(line[x], palette));
            target[x] = index.value();
        }
    }
    return result;
}

} // namespace

void letEventsRun(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Windows have the theme's sheet from their start.
void PictureAlbum::setTheme(const QPalette& palette)
{
    QApplication::setPalette(palette);
    for (QWidget* window : QApplication::topLevelWidgets())
        if (qobject_cast<QMainWindow*>(window))
            window->setStyleSheet(Theme::current().styleSheet(window->font()));
    letEventsRun(SettleMs);
}

void PictureAlbum::save(QWidget& widget, const QString& name, const std::function<void()>& prepare)
{
    const std::pair<QString, QPalette> themes[]{{QStringLiteral("dark"), Theme::darkPalette()},
                                                {QStringLiteral("light"), Theme::lightPalette()}};
    for (const auto& [theme, palette] : themes) { // ends in the one that the window began with
        setTheme(palette);
        if (prepare)
            prepare();
        const QString file = QStringLiteral("%1-%2.png").arg(name, theme);
        if (withFewColours(widget.grab().toImage()).save(m_folder.filePath(file), "PNG", SmallestFile)) {
            ++m_count;
        } else {
            QTextStream(stderr) << "Could not save " << file << '\n';
            m_isComplete = false;
        }
    }
}

} // namespace vt
