// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/SchedulePage.h"

#include "ui/Card.h"
#include "ui/RadioGroup.h"
#include "ui/Theme.h"
#include "ui/setup/Fields.h"
#include "ui/setup/ScheduleGrid.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace vt {

namespace {

enum Restriction { AnyTime, MarkedHours };

QString timeText(QTime time)
{
    return time.toString(time.second() == 0 ? QStringLiteral("HH:mm") : QStringLiteral("HH:mm:ss"));
}

QString windowText(const StimulationWindow& window)
{
    QStringList days;
    for (std::size_t day = 0; day < window.days.size(); ++day)
        if (window.days[day])
            days << QLocale().standaloneDayName(static_cast<int>(day) + 1, QLocale::ShortFormat);
    return SchedulePage::tr("%1–%2 (%3)")
        .arg(timeText(window.startTime), timeText(window.endTime), days.join(QStringLiteral(", ")));
}

} // namespace

SchedulePage::SchedulePage(QWidget* parent)
    : QWidget(parent), m_which(new QComboBox(this)), m_restriction(new RadioGroup(this)),
      m_grid(new ScheduleGrid(this)), m_tools(nullptr), m_exact(fields::hint({}, this)),
      m_removeExact(new QPushButton(tr("&Remove"), this))
{
    auto* card = new Card(tr("When stimulation is allowed"), this);
    m_tools = buildTools();
    card->body()->addWidget(buildChoice());
    card->body()->addWidget(m_grid, 1);
    card->body()->addWidget(m_tools);
    fields::describe(m_removeExact, tr("Remove the exact times"),
                     tr("Forget these times, so that only marked hours count"));
    auto* exact = new QHBoxLayout;
    exact->setSpacing(spacing::Small);
    exact->addWidget(m_exact, 1);
    exact->addWidget(m_removeExact);
    card->body()->addLayout(exact);
    card->body()->addWidget(fields::hint(
        tr("The computer's clock counts. Marked hours of a day belong to that day: for the night from Monday "
           "to Tuesday mark Monday's late hours and Tuesday's early ones."),
        card));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(card, 1);

    connect(m_which, &QComboBox::currentIndexChanged, this, &SchedulePage::showCurrent);
    connect(m_restriction, &RadioGroup::valueChanged, this,
            [this](int restriction) { setRestricted(restriction == MarkedHours); });
    connect(m_grid, &ScheduleGrid::changed, this, [this] {
        edited().hours.hours = m_grid->hours();
        touch();
    });
    connect(m_removeExact, &QPushButton::clicked, this, [this] {
        edited().hours.exact.clear();
        touch();
        showCurrent();
        m_grid->setFocus();
    });
    showCurrent();
}

QWidget* SchedulePage::buildChoice()
{
    auto* row = new QWidget(this);
    m_which->addItems({tr("Stimulation unit"), tr("Digital outputs alone")});
    fields::describe(m_which, tr("Schedule of"),
                     tr("Digital outputs have a schedule of their own when the unit is not used"));
    m_restriction->setAccessibleName(tr("When stimulation is allowed"));
    m_restriction->addChoice(AnyTime, tr("At &any time"), tr("The protocol alone decides"))
        ->setObjectName(QStringLiteral("scheduleAlways"));
    m_restriction
        ->addChoice(MarkedHours, tr("In &marked hours only"),
                    tr("Nothing is stimulated outside the hours that are marked below"))
        ->setObjectName(QStringLiteral("scheduleHours"));
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(fields::caption(tr("Schedule o&f"), m_which, row));
    layout->addWidget(m_which);
    layout->addSpacing(spacing::Large);
    layout->addWidget(m_restriction);
    layout->addStretch();
    return row;
}

QWidget* SchedulePage::buildTools()
{
    auto* row = new QWidget(this);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Small);
    const auto add = [&](const QString& name, const QString& toolTip, auto pressed) {
        auto* button = new QPushButton(name, row);
        button->setToolTip(toolTip);
        connect(button, &QPushButton::clicked, this, pressed);
        layout->addWidget(button);
    };
    add(tr("Mark Dar&k Phase"), tr("Mark the hours that are dark, by the light cycle on Basic Config"),
        [this] { mark(m_darkOnset, m_lightOnset); });
    add(tr("Mark &Light Phase"), tr("Mark the hours that are light, by the light cycle on Basic Config"),
        [this] { mark(m_lightOnset, m_darkOnset); });
    add(tr("Cl&ear"), tr("Clear all hours"), [this] {
        edited().hours.hours = {};
        touch();
        showCurrent();
    });
    layout->addStretch();
    return row;
}

SchedulePage::Edited& SchedulePage::edited()
{
    return m_edited[m_which->currentIndex() == OfOutputs ? OfOutputs : OfUnit];
}

void SchedulePage::showSettings(const VexioSettings& vexio, const DioSettings& dio)
{
    m_edited[OfUnit] = {vexio.schedule, hourSchedule(vexio.schedule), false};
    m_edited[OfOutputs] = {dio.schedule, hourSchedule(dio.schedule), false};
    const QSignalBlocker block(m_which);
    m_which->setCurrentIndex(!vexio.enabled && dio.enabled ? OfOutputs : OfUnit);
    showCurrent();
}

void SchedulePage::collect(VexioSettings& vexio, DioSettings& dio) const
{
    vexio.schedule = m_edited[OfUnit].windows();
    dio.schedule = m_edited[OfOutputs].windows();
}

void SchedulePage::setLightCycle(QTime lightOnset, QTime darkOnset)
{
    m_lightOnset = lightOnset;
    m_darkOnset = darkOnset;
}

void SchedulePage::touch()
{
    edited().isTouched = true;
    emit changed();
}

void SchedulePage::mark(QTime from, QTime to)
{
    const auto hours = hoursBetween(from, to);
    for (auto& day : edited().hours.hours)
        for (std::size_t hour = 0; hour < day.size(); ++hour)
            day[hour] = day[hour] || hours[hour];
    touch();
    showCurrent();
}

void SchedulePage::setRestricted(bool isRestricted)
{
    edited().hours.isRestricted = isRestricted;
    touch();
    showCurrent();
}

void SchedulePage::showCurrent()
{
    const HourSchedule& hours = edited().hours;
    const QSignalBlocker quiet(m_restriction);
    m_restriction->setValue(hours.isRestricted ? MarkedHours : AnyTime);
    m_grid->setHours(hours.hours);
    m_grid->setPartial(touchedHours(hours.exact));
    m_grid->setEnabled(hours.isRestricted);
    m_tools->setEnabled(hours.isRestricted);
    QStringList exact;
    for (const StimulationWindow& window : hours.exact)
        exact << windowText(window);
    const bool hasExact = hours.isRestricted && !exact.isEmpty();
    m_exact->setText(tr("Also allowed, and kept as it is, because it does not begin and end on the hour: %1")
                         .arg(exact.join(QStringLiteral("; "))));
    m_exact->setVisible(hasExact);
    m_removeExact->setVisible(hasExact);
}

} // namespace vt
