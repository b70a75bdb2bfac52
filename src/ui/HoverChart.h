// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

namespace vt {

/// A chart that says in a tool tip what is under the mouse. Interface thread.
class HoverChart : public QWidget
{
    Q_OBJECT
public:
    explicit HoverChart(QWidget* parent = nullptr);
    /// position: in this widget.
    [[nodiscard]] virtual QString textAt(QPoint position) const = 0;

protected:
    bool event(QEvent* event) override;
};

} // namespace vt
