// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QString>

class QApplication;
class QPainter;
class QRectF;
class QWidget;

namespace vt {

/// Distances in device-independent pixels. Everything in the window is a multiple of four.
namespace spacing {
inline constexpr int Tiny = 4;
inline constexpr int Small = 8;
inline constexpr int Medium = 12;
inline constexpr int Large = 16;
inline constexpr int Huge = 32;
inline constexpr int Radius = 6;                  ///< corners of cards and buttons
inline constexpr int SideColumnWidth = 372;       ///< controls and setup, left of the traces
inline constexpr int NarrowSideColumnWidth = 324; ///< likewise, in a narrow window
inline constexpr int HeaderHeight = 56;           ///< controls and status above them
} // namespace spacing

/// How prominent a text is. Sizes are relative to the application's font, so that the user's own size holds.
enum class TextRole {
    Caption,  ///< muted, names a value
    Body,     ///< ordinary text
    Value,    ///< a number or word that is read at a glance
    Title,    ///< head of a section
    Headline, ///< the one sentence of an empty page
    Hint      ///< muted explanation
};

/// How much attention a value asks for. Always accompanied by words: colour alone says nothing.
enum class Emphasis { Normal, Good, Warning, Danger, Muted };

/// The one place for colours, type sizes and the style sheet. Backgrounds and text come from the palette, so
/// that light, dark and high-contrast desktops look at home; the signal colours are those of Okabe and Ito
/// ("Color Universal Design", 2008), darkened or lightened until they can be read as text.
struct Theme
{
    bool dark = false;
    QColor window;    ///< behind the cards
    QColor surface;   ///< cards, tables, traces
    QColor text;      ///< at least 7:1 on surface with the palettes below
    QColor mutedText; ///< at least 4.5:1 on surface and window
    QColor border;    ///< of cards and rows
    QColor outline;   ///< of fields, at least 3:1 on surface
    QColor accent;    ///< selection, focus
    QColor onAccent;
    QColor good;
    QColor warning;
    QColor danger; ///< also: recording
    QColor onDanger;
    QColor asleep;
    QColor awake;
    QColor trace;
    QColor grid;

    [[nodiscard]] static Theme fromPalette(const QPalette& palette);
    /// Of the running application's palette. Interface thread.
    [[nodiscard]] static Theme current();

    [[nodiscard]] static QPalette lightPalette();
    [[nodiscard]] static QPalette darkPalette();

    /// Style sheet of the main window. Widgets are addressed by the properties that the functions below set.
    [[nodiscard]] QString styleSheet(const QFont& base) const;
    [[nodiscard]] QColor emphasisColor(Emphasis emphasis) const;

    [[nodiscard]] static QFont font(TextRole role, const QFont& base);
    /// WCAG 2.1 contrast ratio, 1 to 21.
    [[nodiscard]] static double contrast(const QColor& a, const QColor& b);
};

/// The style that the sheet is drawn for, the same on every platform. Called once by the program.
void applyApplicationStyle(QApplication& application);

void setTextRole(QWidget* widget, TextRole role);
void setEmphasis(QWidget* widget, Emphasis emphasis);
/// "primary", "danger" or "plain" buttons; "card" frames; "chip" labels.
void setKind(QWidget* widget, const QString& kind);
/// Of a "chip" label: "asleep", "awake", "nosignal" or "other".
void setSleepLook(QWidget* widget, const QString& look);

/// The mark of what is ticked, switched on or chosen, inside the rectangle.
void drawCheckMark(QPainter& painter, const QRectF& rect, const QColor& color);

} // namespace vt
