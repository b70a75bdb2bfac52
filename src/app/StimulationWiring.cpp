// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/StimulationWiring.h"

#include "hardware/CageRandomiser.h"
#include "hardware/StimulationHardware.h"
#include "session/SessionController.h"
#include "ui/setup/DiagnosticsPanel.h"
#include "ui/setup/StimulationTab.h"
#include "ui/setup/VexioCageEditor.h"

#include <QObject>

namespace vt {

namespace {

constexpr std::uint8_t AllCages = 0xFF;

void connectDiagnostics(DiagnosticsPanel& panel, StimulationHardware& hardware)
{
    QObject::connect(&panel, &DiagnosticsPanel::statusRequested, &hardware,
                     &StimulationHardware::readDiagnosticsStatus);
    // A speaker is tested only while its cage is enabled.
    QObject::connect(&panel, &DiagnosticsPanel::speakerTestRequested, &hardware, [&hardware] {
        hardware.updateCageEnableConfig(AllCages);
        hardware.runSpeakerDiagnostics();
    });
    QObject::connect(&hardware, &StimulationHardware::diagnosticsStatusRead, &panel,
                     &DiagnosticsPanel::showStatus);
    QObject::connect(&hardware, &StimulationHardware::diagnosticsStatusReadFailed, &panel,
                     &DiagnosticsPanel::showStatusFailed);
    QObject::connect(&hardware, &StimulationHardware::speakerDiagnosticsResults, &panel,
                     &DiagnosticsPanel::showSpeakers);
    QObject::connect(&hardware, &StimulationHardware::diagnosticsComplete, &panel,
                     &DiagnosticsPanel::showComplete);
}

void connectCages(VexioCageEditor& editor, StimulationHardware& hardware)
{
    QObject::connect(&editor, &VexioCageEditor::readRequested, &hardware, &StimulationHardware::readAllCages);
    QObject::connect(&editor, &VexioCageEditor::clearCountersRequested, &hardware,
                     &StimulationHardware::clearAllActivationCounters);
    QObject::connect(&editor, &VexioCageEditor::writeRequested, &hardware,
                     [&hardware, random = CageRandomiser(CageRandomiser::systemSeed())](
                         const VexioSettings& settings) mutable {
                         hardware.writeAllCagesToHardware(random.draw(settings.cages, settings.randomRange));
                     });
    QObject::connect(&hardware, &StimulationHardware::cageDataRead, &editor, &VexioCageEditor::showCage);
    QObject::connect(&hardware, &StimulationHardware::cageDataReadFailed, &editor,
                     &VexioCageEditor::showReadFailed);
    QObject::connect(&hardware, &StimulationHardware::operationComplete, &editor,
                     &VexioCageEditor::showOperation);
}

} // namespace

void connectStimulationTab(StimulationTab& tab, SessionController& session)
{
    StimulationHardware& hardware = session.stimulationHardware();
    const auto showPresence = [&tab, &hardware] { tab.setUnitPresent(hardware.vexioPresent()); };
    QObject::connect(&hardware, &StimulationHardware::presenceChanged, &tab, showPresence);
    // After a test no cage stays enabled outside a recording.
    QObject::connect(&hardware, &StimulationHardware::diagnosticsComplete, &tab, [&session, &hardware] {
        if (session.state() == SessionState::Idle)
            hardware.updateCageEnableConfig(0);
    });
    connectDiagnostics(*tab.diagnostics(), hardware);
    connectCages(*tab.cageEditor(), hardware);
    showPresence();
}

} // namespace vt
