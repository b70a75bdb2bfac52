// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/StimulationTab.h"

#include "session/ScheduleHours.h"
#include "ui/StatusText.h"
#include "ui/Theme.h"
#include "ui/setup/DiagnosticsPanel.h"
#include "ui/setup/Fields.h"
#include "ui/setup/ProtocolPage.h"
#include "ui/setup/SchedulePage.h"
#include "ui/setup/VexioCageEditor.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace vt {

QStringList stimulationNotes(const VexioSettings& vexio, const DioSettings& dio)
{
    QStringList notes;
    if (!vexio.enabled && !dio.enabled)
        return notes;
    const auto& schedule = vexio.enabled ? vexio.schedule : dio.schedule;
    if (!allowsAnyTime(hourSchedule(schedule)))
        notes << StimulationTab::tr("The schedule has no hour in which stimulation is allowed.");
    if (!vexio.enabled)
        return notes;
    const auto byProtocol = static_cast<quint16>(vexio.cageEnableMask & ~vexio.extTriggerMask);
    if ((vexio.cageEnableMask | vexio.extTriggerMask) == 0)
        notes << StimulationTab::tr("No cage is enabled on the page Cages, so none is stimulated.");
    else if (byProtocol == 0)
        notes << StimulationTab::tr("All cages follow their trigger, so the protocol stimulates none.");
    quint16 silent = 0;
    for (std::size_t cage = 0; cage < vexio.cages.size(); ++cage) {
        const CageSettings& profile = vexio.cages[cage];
        const bool isUsed = ((vexio.cageEnableMask | vexio.extTriggerMask) >> cage & 1) != 0;
        const bool isSilent = (profile.amplitude == 0 && !profile.randomAmplitude) ||
                              (profile.duration == 0 && !profile.randomDuration);
        if (isUsed && isSilent)
            silent = static_cast<quint16>(silent | 1U << cage);
    }
    if (silent != 0)
        notes << StimulationTab::tr("With an amplitude or duration of 0 nothing is felt. Cages concerned: %1")
                     .arg(statustext::cageList(silent));
    return notes;
}

StimulationTab::StimulationTab(QWidget* parent)
    : QWidget(parent), m_buttons(new QButtonGroup(this)), m_pages(new QStackedWidget(this)),
      m_protocol(new ProtocolPage(this)), m_cages(new VexioCageEditor(this)),
      m_schedule(new SchedulePage(this)), m_diagnostics(new DiagnosticsPanel(this)),
      m_notes(fields::hint({}, this))
{
    auto* bar = new QHBoxLayout;
    bar->setSpacing(spacing::Tiny);
    addPage(bar, Protocol, tr("&Protocol"), m_protocol);
    addPage(bar, Cages, tr("Ca&ges"), m_cages);
    addPage(bar, Schedule, tr("Sche&dule"), m_schedule);
    addPage(bar, Diagnostics, tr("Diag&nostics"), m_diagnostics);
    bar->addStretch();
    m_buttons->button(Protocol)->setChecked(true);
    connect(m_buttons, &QButtonGroup::idClicked, m_pages, &QStackedWidget::setCurrentIndex);

    m_notes->setObjectName(QStringLiteral("stimulationNotes"));
    setEmphasis(m_notes, Emphasis::Warning);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, spacing::Small, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addLayout(bar);
    layout->addWidget(m_pages, 1);
    layout->addWidget(m_notes);

    connect(m_protocol, &ProtocolPage::changed, this, &StimulationTab::collect);
    connect(m_cages, &VexioCageEditor::changed, this, &StimulationTab::collect);
    connect(m_schedule, &SchedulePage::changed, this, &StimulationTab::collect);
    showSettings({}, {});
}

void StimulationTab::addPage(QHBoxLayout* bar, Page page, const QString& name, QWidget* content)
{
    auto* button = new QPushButton(name, this);
    button->setCheckable(true);
    button->setAutoDefault(false);
    button->setObjectName(QStringLiteral("stimulationPage%1").arg(page));
    button->setToolTip(tr("Show the page \"%1\"").arg(QString(name).remove(QLatin1Char('&'))));
    m_buttons->addButton(button, page);
    bar->addWidget(button);
    m_pages->addWidget(content);
}

void StimulationTab::setPage(Page page)
{
    m_buttons->button(page)->setChecked(true);
    m_pages->setCurrentIndex(page);
}

void StimulationTab::showSettings(const std::optional<VexioSettings>& vexio,
                                  const std::optional<DioSettings>& dio)
{
    m_vexio = vexio;
    m_dio = dio;
    const VexioSettings unit = vexio.value_or(VexioSettings{});
    const DioSettings outputs = dio.value_or(DioSettings{});
    m_protocol->showSettings(unit, outputs);
    m_cages->showSettings(unit);
    m_schedule->showSettings(unit, outputs);
    showNotes();
}

void StimulationTab::collect()
{
    VexioSettings unit = m_vexio.value_or(VexioSettings{});
    DioSettings outputs = m_dio.value_or(DioSettings{});
    m_protocol->collect(unit, outputs);
    m_cages->collect(unit);
    m_schedule->collect(unit, outputs);
    if (m_vexio || unit != VexioSettings{})
        m_vexio = unit;
    if (m_dio || outputs != DioSettings{})
        m_dio = outputs;
    showNotes();
    emit changed();
}

void StimulationTab::showNotes()
{
    const QStringList notes =
        stimulationNotes(m_vexio.value_or(VexioSettings{}), m_dio.value_or(DioSettings{}));
    m_notes->setText(notes.join(u'\n'));
    m_notes->setVisible(!notes.isEmpty());
}

void StimulationTab::setLightCycle(QTime lightOnset, QTime darkOnset)
{
    m_schedule->setLightCycle(lightOnset, darkOnset);
}

void StimulationTab::setChannelCount(int count)
{
    m_cages->setChannelCount(count);
}

void StimulationTab::setUnitPresent(bool isPresent)
{
    m_cages->setUnitPresent(isPresent);
    m_diagnostics->setUnitPresent(isPresent);
}

void StimulationTab::setLocked(bool isLocked)
{
    m_protocol->setEnabled(!isLocked);
    m_schedule->setEnabled(!isLocked);
    m_cages->setLocked(isLocked);
    m_diagnostics->setLocked(isLocked);
}

} // namespace vt
