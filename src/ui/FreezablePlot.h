// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QCustomPlot;

namespace vt {

/// A chart with axes that stands on another ground while its picture is frozen, and follows the theme.
/// Interface thread.
class FreezablePlot : public QWidget
{
    Q_OBJECT
public:
    explicit FreezablePlot(QWidget* parent = nullptr);

    /// endLabel: of the right end of a time axis; empty: now.
    void setFrozen(bool frozen, const QString& endLabel);
    /// Paints; nothing while hidden.
    virtual void redraw();

protected:
    void changeEvent(QEvent* event) override;
    /// Again when the theme or the font changes, or the picture freezes.
    virtual void applyTheme();
    /// Again when the right end has another name.
    virtual void applyTimeTicks() {}
    /// So long before the right end, in seconds: "−5 min"; of the end itself its name.
    [[nodiscard]] QString timeLabel(int secondsBefore) const;
    [[nodiscard]] bool isFrozen() const { return m_frozen; }
    [[nodiscard]] bool canBePainted() const;

    QCustomPlot* const m_plot;

private:
    QString m_endLabel;
    bool m_frozen = false;
};

} // namespace vt
