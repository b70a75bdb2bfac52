// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QWidget>
#include <array>
#include <optional>

class QLabel;
class QPushButton;
class QTableWidget;

namespace vt {

/// The stimulation unit's state and its speakers, and the test that looks at them. Knows plain values;
/// whoever owns the hardware connects it. Interface thread.
class DiagnosticsPanel : public QWidget
{
    Q_OBJECT
public:
    explicit DiagnosticsPanel(QWidget* parent = nullptr);

    /// Without a unit there is nothing to ask.
    void setUnitPresent(bool isPresent);
    /// While a recording runs its stimulation is not interrupted by a test.
    void setLocked(bool isLocked);

    /// The unit's registers 0x0A to 0x0D, as they were read.
    void showStatus(quint8 systemStatus, quint8 extraStatus, quint8 speakerFaults0C, quint8 speakerFaults0D);
    /// The unit has not answered.
    void showStatusFailed();
    void showSpeakers(quint8 speakerFaults0C, quint8 speakerFaults0D);
    /// The end of a test.
    void showComplete(bool isSuccess, const QString& message);

signals:
    /// showStatus or showStatusFailed is to follow.
    void statusRequested();
    /// showSpeakers and showComplete are to follow.
    void speakerTestRequested();

protected:
    void changeEvent(QEvent* event) override;

private:
    void updateButtons();
    void showSpeakerTable();
    void clear();

    QLabel* m_presence;
    QLabel* m_power;
    QLabel* m_temperature;
    QLabel* m_registers;
    QTableWidget* m_speakers;
    QLabel* m_result;
    QPushButton* m_read;
    QPushButton* m_test;
    std::optional<std::array<quint8, 2>> m_faults; ///< as last told
    bool m_isPresent = false;
    bool m_isLocked = false;
    bool m_isTesting = false;
};

} // namespace vt
