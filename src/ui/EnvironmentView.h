// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/EnvironmentHistory.h"

#include <QList>
#include <QString>
#include <QWidget>
#include <array>
#include <memory>
#include <optional>
#include <vector>

class QHBoxLayout;
class QLabel;
class QScrollArea;
class QStackedLayout;

namespace vt {

class Card;
class EnvironmentChart;
class RadioGroup;
class SensorCard;

/// What the view is told about a sensor.
struct EnvSeries
{
    QString serial;
    QString label;
    bool connected = true;
    bool enabled = true;
    QList<EnvPoint> points = {}; ///< what is known from before, oldest first
};

/// The room around the cages: a card per sensor with its present readings, and charts of temperature,
/// humidity, light and pressure. It keeps a day of readings by itself and takes them hidden or not, but draws
/// only while it can be seen: it asks (refreshWanted) when it has been shown, and is to be refreshed every
/// 2 s from then on. Interface thread.
class EnvironmentView : public QWidget
{
    Q_OBJECT
public:
    explicit EnvironmentView(QWidget* parent = nullptr);
    ~EnvironmentView() override;

    /// All sensors there are, in order. Of a sensor that was there before, readings are kept.
    void setSensors(const QList<EnvSeries>& sensors);
    /// As it comes; one without values means that the sensor did not answer.
    void addReading(const QString& serial, const EnvPoint& point);
    /// Draws what ends at this time. Nothing while hidden.
    void refresh(qint64 nowMs);

    [[nodiscard]] const envunits::Units& units() const { return m_units; }
    void setUnits(const envunits::Units& units);
    /// 1, 6 or 24.
    [[nodiscard]] int hours() const;
    void setHours(int hours);

signals:
    /// The user chose other units: store them.
    void unitsChosen(const vt::envunits::Units& units);
    void hoursChosen(int hours);
    /// Something is shown that has not been refreshed yet.
    void refreshWanted();

protected:
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    struct Sensor
    {
        EnvSeries facts;
        EnvHistory history;
        std::optional<EnvPoint> newest; ///< with or without values
        SensorCard* card = nullptr;     ///< owned by the row of cards
    };
    [[nodiscard]] QWidget* buildPage();
    [[nodiscard]] QWidget* buildCharts(QWidget* parent);
    void buildUnitChoices();
    void rebuildCards();
    void fitCards();
    void take(Sensor& sensor, const EnvPoint& point);
    void showCards();
    void showCharts(qint64 nowMs);
    void showUnits();

    std::vector<std::unique_ptr<Sensor>> m_sensors;
    qint64 m_nowMs = 0; ///< of the last refresh, since the epoch
    envunits::Units m_units;
    QStackedLayout* m_pages;
    RadioGroup* m_hours;
    QLabel* m_hint;
    QScrollArea* m_cardArea;
    QHBoxLayout* m_cardRow = nullptr;
    RadioGroup* m_temperatureUnit;
    RadioGroup* m_pressureUnit;
    std::array<Card*, envunits::QuantityCount> m_chartCards{};
    std::array<EnvironmentChart*, envunits::QuantityCount> m_charts{};
};

} // namespace vt
