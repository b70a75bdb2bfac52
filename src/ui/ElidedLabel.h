// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLabel>

namespace vt {

/// One line of text that gives way in its middle when the place is too narrow. text() keeps the whole text;
/// an elided one is shown as tool tip when no other tool tip was set.
class ElidedLabel : public QLabel
{
    Q_OBJECT
public:
    explicit ElidedLabel(QWidget* parent = nullptr, Qt::TextElideMode mode = Qt::ElideMiddle);

    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    Qt::TextElideMode m_mode;
};

} // namespace vt
