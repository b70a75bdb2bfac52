// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/EnvironmentView.h"

#include "ui/Card.h"
#include "ui/EmptyMessage.h"
#include "ui/EnvironmentChart.h"
#include "ui/RadioGroup.h"
#include "ui/SensorCard.h"
#include "ui/Theme.h"

#include <QGridLayout>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QStackedLayout>
#include <QVBoxLayout>

#include <algorithm>

namespace vt {

using envunits::PressureUnit;
using envunits::Quantity;
using envunits::TemperatureUnit;

namespace {

constexpr int HourChoices[] = {1, 6, 24};
constexpr qint64 MsPerHour = 3'600'000;
constexpr qint64 PresentMs = 10'000; ///< a reading is due every 2 s

} // namespace

EnvironmentView::EnvironmentView(QWidget* parent)
    : QWidget(parent), m_pages(new QStackedLayout(this)), m_hours(new RadioGroup(this)),
      m_hint(new QLabel(this)), m_cardArea(new QScrollArea(this)), m_temperatureUnit(new RadioGroup(this)),
      m_pressureUnit(new RadioGroup(this))
{
    m_pages->addWidget(
        new EmptyMessage(tr("No environmental sensor."),
                         tr("Plug one into a USB port; it is found when the sensors are looked for."), this));
    m_pages->addWidget(buildPage());
    showUnits();
}

EnvironmentView::~EnvironmentView() = default;

QWidget* EnvironmentView::buildPage()
{
    auto* page = new QWidget(this);
    auto* bar = new QHBoxLayout; // owned by the column below
    bar->setSpacing(spacing::Tiny);
    for (const int hours : HourChoices) {
        RadioSegment* choice =
            m_hours->addChoice(hours, tr("%1 h").arg(hours), tr("Show the last %1 h").arg(hours));
        choice->setAccessibleName(choice->toolTip());
    }
    m_hours->setAccessibleName(tr("Time shown"));
    bar->addWidget(m_hours);
    connect(m_hours, &RadioGroup::valueChanged, this, [this](int hours) {
        emit hoursChosen(hours);
        emit refreshWanted();
    });
    setTextRole(m_hint, TextRole::Hint);
    bar->addSpacing(spacing::Small);
    bar->addWidget(m_hint, 1);

    m_cardArea->setWidgetResizable(true);
    m_cardArea->setFrameShape(QFrame::NoFrame);
    m_cardArea->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_cardArea->setAccessibleName(tr("Present readings"));
    m_cardArea->setToolTip(tr("What every sensor reads now"));
    auto* row = new QWidget(m_cardArea);
    m_cardRow = new QHBoxLayout(row);
    m_cardRow->setContentsMargins(0, 0, 0, 0);
    m_cardRow->setSpacing(spacing::Small);
    m_cardArea->setWidget(row);

    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(0, spacing::Small, 0, 0);
    column->setSpacing(spacing::Small);
    column->addLayout(bar);
    column->addWidget(m_cardArea);
    column->addWidget(buildCharts(page), 1);
    return page;
}

QWidget* EnvironmentView::buildCharts(QWidget* parent)
{
    auto* charts = new QWidget(parent);
    auto* grid = new QGridLayout(charts);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(spacing::Small);
    for (int i = 0; i < envunits::QuantityCount; ++i) {
        const auto quantity = static_cast<Quantity>(i);
        auto* card = new Card(envunits::quantityName(quantity), charts);
        auto* chart = new EnvironmentChart(quantity, card);
        card->body()->addWidget(chart, 1);
        grid->addWidget(card, i / 2, i % 2);
        grid->setRowStretch(i / 2, 1);
        grid->setColumnStretch(i % 2, 1);
        m_chartCards[static_cast<std::size_t>(i)] = card;
        m_charts[static_cast<std::size_t>(i)] = chart;
        if (quantity == Quantity::Humidity || quantity == Quantity::Light) {
            auto* unit = new QLabel(envunits::symbol(quantity, {}), card);
            setTextRole(unit, TextRole::Caption);
            card->addHeaderWidget(unit);
        }
    }
    buildUnitChoices();
    return charts;
}

void EnvironmentView::buildUnitChoices()
{
    for (const auto unit : {TemperatureUnit::Celsius, TemperatureUnit::Fahrenheit})
        m_temperatureUnit->addChoice(static_cast<int>(unit),
                                     envunits::symbol(Quantity::Temperature, {unit, {}}),
                                     tr("Unit of temperature"));
    for (const auto unit :
         {PressureUnit::Hectopascal, PressureUnit::MillimetreOfMercury, PressureUnit::InchOfMercury})
        m_pressureUnit->addChoice(static_cast<int>(unit), envunits::symbol(Quantity::Pressure, {{}, unit}),
                                  tr("Unit of air pressure"));
    m_temperatureUnit->setAccessibleName(tr("Unit of temperature"));
    m_pressureUnit->setAccessibleName(tr("Unit of air pressure"));
    m_chartCards[static_cast<std::size_t>(Quantity::Temperature)]->addHeaderWidget(m_temperatureUnit);
    m_chartCards[static_cast<std::size_t>(Quantity::Pressure)]->addHeaderWidget(m_pressureUnit);
    for (const RadioGroup* choice : {m_temperatureUnit, m_pressureUnit}) {
        connect(choice, &RadioGroup::valueChanged, this, [this] {
            setUnits({static_cast<TemperatureUnit>(m_temperatureUnit->value()),
                      static_cast<PressureUnit>(m_pressureUnit->value())});
            emit unitsChosen(m_units);
        });
    }
}

void EnvironmentView::setUnits(const envunits::Units& units)
{
    if (units == m_units)
        return;
    m_units = units;
    showUnits();
    emit refreshWanted();
}

void EnvironmentView::showUnits()
{
    const QSignalBlocker quietTemperature(m_temperatureUnit);
    const QSignalBlocker quietPressure(m_pressureUnit);
    m_temperatureUnit->setValue(static_cast<int>(m_units.temperature));
    m_pressureUnit->setValue(static_cast<int>(m_units.pressure));
    for (EnvironmentChart* chart : m_charts)
        chart->setUnits(m_units);
    showCards();
}

int EnvironmentView::hours() const
{
    return m_hours->value();
}

void EnvironmentView::setHours(int hours)
{
    const QSignalBlocker quiet(m_hours);
    m_hours->setValue(hours);
    emit refreshWanted();
}

void EnvironmentView::setSensors(const QList<EnvSeries>& sensors)
{
    std::vector<std::unique_ptr<Sensor>> before = std::move(m_sensors);
    m_sensors.clear();
    bool isSame = static_cast<std::size_t>(sensors.size()) == before.size();
    for (qsizetype i = 0; i < sensors.size(); ++i) {
        const auto known = std::ranges::find_if(before, [&](const std::unique_ptr<Sensor>& sensor) {
            return sensor && sensor->facts.serial == sensors[i].serial;
        });
        isSame = isSame && known == before.begin() + i;
        m_sensors.push_back(known != before.end() ? std::move(*known) : std::make_unique<Sensor>());
        Sensor& sensor = *m_sensors.back();
        // What it has goes further back than what it is told.
        const qint64 newestMs = sensor.history.newestMs();
        for (const EnvPoint& point : sensors[i].points)
            if (point.timeMs > newestMs)
                take(sensor, point);
        sensor.facts = sensors[i];
        sensor.facts.points.clear();
    }
    if (!isSame)
        rebuildCards();
    m_pages->setCurrentIndex(m_sensors.empty() ? 0 : 1);
    emit refreshWanted();
}

void EnvironmentView::take(Sensor& sensor, const EnvPoint& point)
{
    sensor.history.add(point);
    sensor.newest = point;
}

void EnvironmentView::addReading(const QString& serial, const EnvPoint& point)
{
    for (const std::unique_ptr<Sensor>& sensor : m_sensors)
        if (sensor->facts.serial == serial)
            take(*sensor, point);
}

void EnvironmentView::rebuildCards()
{
    while (const std::unique_ptr<QLayoutItem> item{m_cardRow->takeAt(0)})
        if (QWidget* card = item->widget())
            card->deleteLater();
    for (std::size_t i = 0; i < m_sensors.size(); ++i) {
        Sensor& sensor = *m_sensors[i];
        sensor.card = new SensorCard(sensor.facts.serial, static_cast<int>(i), m_cardRow->parentWidget());
        m_cardRow->addWidget(sensor.card);
    }
    m_cardRow->addStretch();
    showCards();
    fitCards();
}

void EnvironmentView::fitCards()
{
    if (m_sensors.empty())
        return;
    const int cards = static_cast<int>(m_sensors.size());
    const QSize card = m_sensors.front()->card->sizeHint();
    const bool isWide = cards * (card.width() + spacing::Small) - spacing::Small > width();
    m_cardArea->setFixedHeight(card.height() +
                               (isWide ? m_cardArea->horizontalScrollBar()->sizeHint().height() : 0));
}

void EnvironmentView::showCards()
{
    bool areReadingsPresent = false;
    for (const std::unique_ptr<Sensor>& sensor : m_sensors) {
        const EnvSeries& facts = sensor->facts;
        const auto state = !facts.connected ? SensorCard::State::Disconnected
                           : !facts.enabled ? SensorCard::State::SwitchedOff
                                            : SensorCard::State::Connected;
        const bool isPresent = sensor->newest && m_nowMs - sensor->newest->timeMs <= PresentMs;
        areReadingsPresent = areReadingsPresent || isPresent;
        sensor->card->show(facts.label, state, isPresent ? sensor->newest : std::nullopt,
                           sensor->history.newestMs(), m_units);
    }
    m_hint->setText(areReadingsPresent ? QString() : tr("Sensors are read while a recording runs."));
}

void EnvironmentView::refresh(qint64 nowMs)
{
    m_nowMs = nowMs;
    if (!isVisible() || m_sensors.empty())
        return;
    showCards();
    showCharts(nowMs);
}

void EnvironmentView::showCharts(qint64 nowMs)
{
    const qint64 fromMs = nowMs - hours() * MsPerHour;
    for (EnvironmentChart* chart : m_charts) {
        std::vector<EnvironmentChart::Line> lines;
        for (std::size_t i = 0; i < m_sensors.size(); ++i) {
            const Sensor& sensor = *m_sensors[i];
            lines.push_back({sensor.facts.label, static_cast<int>(i),
                             sensor.history.curves(chart->quantity(), fromMs, nowMs, chart->columns())});
        }
        chart->setPeriod(fromMs, nowMs);
        chart->setLines(std::move(lines));
    }
}

void EnvironmentView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    emit refreshWanted();
}

void EnvironmentView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    fitCards();
}

} // namespace vt
