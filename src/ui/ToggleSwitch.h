// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCheckBox>

namespace vt {

/// Switches something on or off, where a check box would be an entry of a form. Off, a hollow knob stands
/// where the text's line begins; on, the knob has moved on and carries a check mark, so that neither state is
/// a matter of colour. Nothing moves by itself. To keys, mnemonics and screen readers it is a check box.
/// Interface thread.
class ToggleSwitch : public QCheckBox
{
    Q_OBJECT
public:
    explicit ToggleSwitch(const QString& text, QWidget* parent = nullptr);
    explicit ToggleSwitch(QWidget* parent = nullptr);

    /// All of the text on its lines; in a narrower place the end of a single line is left out.
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    /// Where the knob moves, in this widget.
    [[nodiscard]] QRect trackRect() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    [[nodiscard]] bool hitButton(const QPoint& position) const override;

private:
    [[nodiscard]] QSize trackSize() const;
    /// As written from left to right; mirrored where the language is not.
    [[nodiscard]] QRect textRect() const;
    void paintTrack(QPainter& painter) const;
    void paintText(QPainter& painter) const;
};

} // namespace vt
