// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/FreezablePlot.h"
#include "ui/SpectrogramColumns.h"

#include <QColor>

class QCPColorMap;
class QCPColorScale;

namespace vt {

/// Power over time and frequency: ten minutes, one spectrum every 2 s. The colours run from dark blue over
/// green to yellow, growing lighter all the way, so that they can be read without telling hues apart.
/// Interface thread.
class SpectrogramPlot : public FreezablePlot
{
    Q_OBJECT
public:
    explicit SpectrogramPlot(QWidget* parent = nullptr);

    /// Shows the columns of the picture that ends before sample endNumber.
    void setColumns(const SpectrogramColumns& columns, quint64 endNumber);
    /// Columns of the picture that hold something.
    [[nodiscard]] int columnCount() const { return m_columnCount; }
    /// Colour of a level from 0 (lowest) to 1.
    [[nodiscard]] static QColor colorAt(double level);

protected:
    void applyTheme() override;
    void applyTimeTicks() override;

private:
    void writeColumn(int key, std::span<const float> decibels);

    QCPColorMap* m_map;
    QCPColorScale* m_scale;
    double m_topDb = 0.0;
    int m_columnCount = 0;
};

} // namespace vt
