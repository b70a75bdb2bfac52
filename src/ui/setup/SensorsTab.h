// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QWidget>

class QLabel;
class QPushButton;
class QStackedWidget;
class QTableWidget;
class QTableWidgetItem;

namespace vt {

class EnvironmentSession;

/// One environmental sensor as the tab shows it.
struct SensorRow
{
    QString serialNumber;
    QString label;
    QString portName;
    bool isEnabled = true;
    bool isConnected = true;
    bool operator==(const SensorRow&) const = default;
};

/// The setup's tab "Env. Sensors": which sensors there are, their labels, which are used. Changes are a draft
/// until commit. Interface thread.
class SensorsTab : public QWidget
{
    Q_OBJECT
public:
    explicit SensorsTab(QWidget* parent = nullptr);

    /// Follows the session's sensors, and writes to it at commit. session outlives the tab, or is unbound by
    /// null.
    void bind(EnvironmentSession* session);
    void setSensors(const QList<SensorRow>& sensors, bool isSearching);
    /// While a recording runs labels stay, and ticks take effect at once: its log takes sensors in and leaves
    /// them out. A sensor that comes to another port is found by a search.
    void setLocked(bool isLocked);

    /// By serial number: of the sensors that are there, and others that were loaded.
    [[nodiscard]] const QMap<QString, QString>& labels() const { return m_labels; }
    void setLabels(const QMap<QString, QString>& labels);
    /// Only those that the user has changed.
    [[nodiscard]] const QMap<QString, bool>& enabledChanges() const { return m_enabled; }

    void commit();
    /// Forgets what was changed and not committed; labels are given back with setLabels.
    void discard();

signals:
    /// By the user.
    void changed();
    void rescanRequested();
    /// By the user while a recording runs.
    void useChosen(const QString& serialNumber, bool isTicked);

protected:
    void changeEvent(QEvent* event) override;

private:
    void readSession();
    void showSensors();
    void handleItem(QTableWidgetItem* item);

    EnvironmentSession* m_session = nullptr;
    QTableWidget* m_table;
    QStackedWidget* m_tableOrHint;
    QLabel* m_hint;
    QLabel* m_searching;
    QPushButton* m_rescan;
    QList<SensorRow> m_sensors;
    QMap<QString, QString> m_labels;
    QMap<QString, bool> m_enabled;
    bool m_isSearching = false;
    bool m_isLocked = false;
    bool m_filling = false;
};

} // namespace vt
