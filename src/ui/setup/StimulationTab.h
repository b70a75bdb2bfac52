// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

#include <QWidget>

class QButtonGroup;
class QHBoxLayout;
class QLabel;
class QStackedWidget;

namespace vt {

class DiagnosticsPanel;
class ProtocolPage;
class SchedulePage;
class VexioCageEditor;

/// The setup's tab "Stimulation": protocol, cages, schedule, diagnostics. Takes and gives plain values; says
/// below what of them keeps cages from being stimulated. Interface thread.
class StimulationTab : public QWidget
{
    Q_OBJECT
public:
    enum Page { Protocol, Cages, Schedule, Diagnostics, PageCount };

    explicit StimulationTab(QWidget* parent = nullptr);

    /// Empty: never set up. Stays empty until the user changes something.
    void showSettings(const std::optional<VexioSettings>& vexio, const std::optional<DioSettings>& dio);
    [[nodiscard]] const std::optional<VexioSettings>& vexio() const { return m_vexio; }
    [[nodiscard]] const std::optional<DioSettings>& dio() const { return m_dio; }
    void setLightCycle(QTime lightOnset, QTime darkOnset);
    void setChannelCount(int count);
    void setUnitPresent(bool isPresent);
    void setLocked(bool isLocked);
    void setPage(Page page);

    [[nodiscard]] VexioCageEditor* cageEditor() const { return m_cages; }
    [[nodiscard]] DiagnosticsPanel* diagnostics() const { return m_diagnostics; }

signals:
    void changed();

private:
    void addPage(QHBoxLayout* bar, Page page, const QString& name, QWidget* content);
    void collect();
    void showNotes();

    QButtonGroup* m_buttons;
    QStackedWidget* m_pages;
    ProtocolPage* m_protocol;
    VexioCageEditor* m_cages;
    SchedulePage* m_schedule;
    DiagnosticsPanel* m_diagnostics;
    QLabel* m_notes;
    std::optional<VexioSettings> m_vexio;
    std::optional<DioSettings> m_dio;
};

/// What keeps these settings from stimulating anything, or from what they seem to say; empty when nothing
/// does. In words.
[[nodiscard]] QStringList stimulationNotes(const VexioSettings& vexio, const DioSettings& dio);

} // namespace vt
