// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRadioButton>
#include <QWidget>

class QButtonGroup;
class QHBoxLayout;

namespace vt {

/// One choice of a RadioGroup: a radio button that looks like a part of a divided button. The chosen one is
/// filled and carries a check mark, for which all of them keep room. Interface thread.
class RadioSegment : public QRadioButton
{
    Q_OBJECT
public:
    explicit RadioSegment(const QString& text, QWidget* parent);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    [[nodiscard]] bool hitButton(const QPoint& position) const override;

private:
    [[nodiscard]] QFont chosenFont() const;
};

/// A few choices of which one holds, all in sight, side by side. Tab leads to the chosen one, the arrow keys
/// to the others, and a mnemonic of a caption, whose buddy this is, to the chosen one. To screen readers it
/// is a group of radio buttons. Interface thread.
class RadioGroup : public QWidget
{
    Q_OBJECT
public:
    static constexpr int NoValue = -1;

    explicit RadioGroup(QWidget* parent = nullptr);

    /// To the right of those there are, or to the left where the language is written that way. value: not
    /// negative, once in the group. The first choice is chosen at once, without a signal.
    RadioSegment* addChoice(int value, const QString& text, const QString& toolTip);
    void clear();
    /// NoValue: there is none.
    [[nodiscard]] int value() const;
    /// Another value only.
    void setValue(int value);
    [[nodiscard]] RadioSegment* choice(int value) const;

signals:
    /// Once a change, whoever made it.
    void valueChanged(int value);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QButtonGroup* m_buttons;
    QHBoxLayout* m_layout;
};

} // namespace vt
