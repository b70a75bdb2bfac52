// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/FeatureTable.h"

#include "acquisition/AcquisitionFrame.h"
#include "ui/Theme.h"

#include <QCoreApplication>
#include <QHeaderView>
#include <QLocale>

#include <cmath>
#include <limits>

namespace vt {

namespace {

constexpr double Unknown = std::numeric_limits<double>::quiet_NaN();

enum class Needs { Nothing, Scoring, Rat };

struct Quantity
{
    const char* name;
    const char* unit;
    int decimals;
    Needs needs;
    double (*value)(const ChannelStep&);
    const char* explanation;
};

template <double FeatureSet::*member>
double feature(const ChannelStep& step)
{
    return step.features.*member;
}

// clang-format off
constexpr Quantity Quantities[] = {
    {QT_TRANSLATE_NOOP("FeatureTable", "Decision statistic"), "", 2, Needs::Scoring,
     [](const ChannelStep& step) { return step.decisionStat; },
     QT_TRANSLATE_NOOP("FeatureTable", "Above 0: asleep")},
    {QT_TRANSLATE_NOOP("FeatureTable", "Spectral contrast"), "dB", 1, Needs::Nothing,
     feature<&FeatureSet::spectralContrast>,
     QT_TRANSLATE_NOOP("FeatureTable", "Highest power in the breathing band minus highest power of all; 0 when breathing is the strongest")},
    {QT_TRANSLATE_NOOP("FeatureTable", "Breath regularity"), "", 3, Needs::Nothing,
     feature<&FeatureSet::breathRegularity>,
     QT_TRANSLATE_NOOP("FeatureTable", "Height of the best autocorrelation peak of the breathing band; 1 is perfectly regular")},
    {QT_TRANSLATE_NOOP("FeatureTable", "Breath rate"), "Hz", 2, Needs::Nothing,
     feature<&FeatureSet::breathRate>, QT_TRANSLATE_NOOP("FeatureTable", "0 when none was found")},
    {QT_TRANSLATE_NOOP("FeatureTable", "Envelope variability"), "", 3, Needs::Nothing,
     feature<&FeatureSet::envelopeVariability>,
     QT_TRANSLATE_NOOP("FeatureTable", "Standard deviation of the smoothed envelope, relative to its mean")},
    {QT_TRANSLATE_NOOP("FeatureTable", "Envelope level"), "V", 4, Needs::Nothing,
     feature<&FeatureSet::envelopeLevel>,
     QT_TRANSLATE_NOOP("FeatureTable", "Mean of the smoothed envelope; scaled for mice")},
    {QT_TRANSLATE_NOOP("FeatureTable", "Signal power"), "V", 4, Needs::Nothing,
     feature<&FeatureSet::signalPower>,
     QT_TRANSLATE_NOOP("FeatureTable", "Four times the effective value of the breathing band, newest 4 s")},
    {QT_TRANSLATE_NOOP("FeatureTable", "Activity regularity"), "", 3, Needs::Rat,
     feature<&FeatureSet::activityRegularity>,
     QT_TRANSLATE_NOOP("FeatureTable", "Height of the best autocorrelation peak of the activity band")},
    {QT_TRANSLATE_NOOP("FeatureTable", "Activity variability"), "", 3, Needs::Rat,
     feature<&FeatureSet::activityVariability>,
     QT_TRANSLATE_NOOP("FeatureTable", "As the envelope's, of the activity band")},
    {QT_TRANSLATE_NOOP("FeatureTable", "Activity level"), "V", 4, Needs::Rat,
     feature<&FeatureSet::activityLevel>,
     QT_TRANSLATE_NOOP("FeatureTable", "Mean of the activity band's envelope")},
    {QT_TRANSLATE_NOOP("FeatureTable", "Activity index"), "", 2, Needs::Nothing,
     [](const ChannelStep& step) { return step.activityIndex; },
     QT_TRANSLATE_NOOP("FeatureTable", "Signal power against the animal's own baseline, 0 to 6")},
};
// clang-format on

enum Column { Name, Value, Unit, ColumnCount };

} // namespace

FeatureTable::FeatureTable(QWidget* parent) : QTableWidget(0, ColumnCount, parent)
{
    setAccessibleName(tr("Features of the last step"));
    setToolTip(tr("What the last step of 2 s found out about this channel"));
    setHorizontalHeaderLabels({tr("Feature"), tr("Value"), tr("Unit")});
    horizontalHeaderItem(Name)->setTextAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    horizontalHeaderItem(Value)->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    horizontalHeaderItem(Unit)->setTextAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    horizontalHeader()->setSectionResizeMode(Name, QHeaderView::Stretch);
    horizontalHeader()->setSectionResizeMode(Value, QHeaderView::ResizeToContents);
    horizontalHeader()->setSectionResizeMode(Unit, QHeaderView::ResizeToContents);
    horizontalHeader()->setHighlightSections(false);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    verticalHeader()->setMinimumSectionSize(fontMetrics().height() + 2);
    setShowGrid(false);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionMode(QAbstractItemView::NoSelection);
    setTabKeyNavigation(false);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setRows(AnimalMouse, false);
}

void FeatureTable::setRows(int animalType, bool isActivityOnly)
{
    m_shown.clear();
    setRowCount(0);
    for (int i = 0; i < static_cast<int>(std::size(Quantities)); ++i) {
        const Quantity& quantity = Quantities[i];
        if ((quantity.needs == Needs::Scoring && isActivityOnly) ||
            (quantity.needs == Needs::Rat && animalType != AnimalRat))
            continue;
        const int row = rowCount();
        insertRow(row);
        m_shown.push_back(i);
        const auto put = [&](Column column, const QString& text, Qt::Alignment alignment) {
            auto* item = new QTableWidgetItem(text); // the table owns it
            item->setTextAlignment(alignment | Qt::AlignVCenter);
            item->setToolTip(QCoreApplication::translate("FeatureTable", quantity.explanation));
            setItem(row, column, item);
        };
        put(Name, QCoreApplication::translate("FeatureTable", quantity.name), Qt::AlignLeft);
        put(Value, QStringLiteral("–"), Qt::AlignRight);
        put(Unit, QString::fromUtf8(quantity.unit), Qt::AlignLeft);
    }
}

void FeatureTable::setValues(const ChannelStep& step)
{
    for (int row = 0; row < rowCount(); ++row) {
        const Quantity& quantity = Quantities[m_shown[static_cast<std::size_t>(row)]];
        const double value = quantity.value(step);
        item(row, Value)
            ->setText(std::isfinite(value) ? QLocale().toString(value, 'f', quantity.decimals)
                                           : QStringLiteral("–"));
    }
}

void FeatureTable::clearValues()
{
    setValues(unknownStep());
}

ChannelStep FeatureTable::unknownStep()
{
    ChannelStep step;
    step.features = {Unknown, Unknown, Unknown, Unknown, Unknown, Unknown, Unknown, Unknown, Unknown};
    step.decisionStat = Unknown;
    return step;
}

QString FeatureTable::valueText(int row) const
{
    return item(row, Value)->text();
}

} // namespace vt
