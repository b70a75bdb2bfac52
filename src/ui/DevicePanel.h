// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"
#include "session/UnitInfo.h"
#include "ui/Card.h"

#include <QString>
#include <vector>

class QGridLayout;
class QLabel;
class QListWidget;
class QListWidgetItem;
class QPushButton;
class QStackedWidget;

namespace vt {

/// Lists what can be recorded from and tells about the chosen unit. Knows plain values only; the window asks
/// the session to select and refresh. Interface thread.
class DevicePanel : public Card
{
    Q_OBJECT
public:
    explicit DevicePanel(QWidget* parent = nullptr);

    /// Keeps the selection when a device of that name is still offered and free.
    void setDevices(const std::vector<DeviceEntry>& devices);
    /// What the selected unit answered.
    void setDetails(const DeviceDetails& details);
    /// What the selected unit says of itself, and what is wrong with it; empty: nothing is known.
    void setUnitInfo(const UnitInfo& info);
    /// A search for units is under way; the list can be used meanwhile.
    void setSearching(bool isSearching);
    /// Selects the offered device of that name, as a click would; a name that is not offered does nothing.
    void chooseDevice(const QString& name);
    /// Name of the selected device, or empty.
    [[nodiscard]] QString selectedDevice() const;
    /// While a recording runs the unit cannot be changed.
    void setLocked(bool locked);

signals:
    /// The user chose a device; empty: none. Details are expected to follow.
    void deviceChosen(const QString& name);
    void refreshRequested();

private:
    void showDetails(const QString& channels, const QString& animal, const QString& gain);
    void showMessage(const QString& text);
    void handleSelection();
    void fitList(int devices);

    QListWidget* m_list;
    QLabel* m_noDevices;
    QStackedWidget* m_listOrHint;
    QLabel* m_searching;
    QPushButton* m_refresh;
    QLabel* m_message;
    QWidget* m_details;
    QLabel* m_channels;
    QLabel* m_animal;
    QLabel* m_gain;
    QLabel* m_warnings;
    QWidget* m_info;
    QGridLayout* m_infoGrid;
    QString m_chosen;
    bool m_filling = false;
};

} // namespace vt
