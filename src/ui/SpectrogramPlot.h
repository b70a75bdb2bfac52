// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/SpectrogramColumns.h"

#include <QColor>
#include <QWidget>

class QCPColorMap;
class QCPColorScale;
class QCustomPlot;

namespace vt {

/// Power over time and frequency: ten minutes, one spectrum every 2 s. The colours run from dark blue over
/// green to yellow, growing lighter all the way, so that they can be read without telling hues apart.
/// Interface thread.
class SpectrogramPlot : public QWidget
{
    Q_OBJECT
public:
    explicit SpectrogramPlot(QWidget* parent = nullptr);

    /// Shows the columns of the picture that ends before sample endNumber.
    void setColumns(const SpectrogramColumns& columns, quint64 endNumber);
    void setFrozen(bool frozen, const QString& endLabel);
    /// Paints; nothing while hidden.
    void redraw();
    /// Columns of the picture that hold something.
    [[nodiscard]] int columnCount() const { return m_columnCount; }
    /// Colour of a level from 0 (lowest) to 1.
    [[nodiscard]] static QColor colorAt(double level);

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyTheme();
    void applyTimeTicks();
    void writeColumn(int key, std::span<const float> decibels);

    QCustomPlot* m_plot;
    QCPColorMap* m_map;
    QCPColorScale* m_scale;
    QString m_endLabel;
    double m_topDb = 0.0;
    int m_columnCount = 0;
    bool m_frozen = false;
};

} // namespace vt
