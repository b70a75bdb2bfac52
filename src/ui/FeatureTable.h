// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/StepRecord.h"

#include <QTableWidget>

namespace vt {

/// The values of one channel and one step, with their units. Interface thread.
class FeatureTable : public QTableWidget
{
    Q_OBJECT
public:
    explicit FeatureTable(QWidget* parent = nullptr);

    /// Rats have features that mice do not have; without scoring there is no statistic.
    void setRows(int animalType, bool isActivityOnly);
    /// NaN shows as "–".
    void setValues(const ChannelStep& step);
    /// All "–".
    void clearValues();
    /// A step of which nothing is known.
    [[nodiscard]] static ChannelStep unknownStep();
    [[nodiscard]] QString valueText(int row) const;

private:
    std::vector<int> m_shown; ///< of each row: which value
};

} // namespace vt
