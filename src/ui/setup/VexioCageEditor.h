// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"
#include "session/StimulationValues.h"

#include <QWidget>
#include <array>

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QTableWidget;
class QTableWidgetItem;

namespace vt {

class Card;
class RegisterBox;

/// Which cages are stimulated, which follow an external trigger, and the profile of each: what the fields
/// change holds for all cages that are selected in the table. Talks to the unit through signals and slots
/// with plain values. Interface thread.
class VexioCageEditor : public QWidget
{
    Q_OBJECT
public:
    explicit VexioCageEditor(QWidget* parent = nullptr);

    void showSettings(const VexioSettings& settings);
    void collect(VexioSettings& settings) const;
    /// Cages beyond the unit's eight have an output only.
    void setChannelCount(int count);
    void setUnitPresent(bool isPresent);
    /// While a recording runs profiles can be looked at, but neither changed nor written.
    void setLocked(bool isLocked);

    /// A cage of the unit, 0 to 7: the count always, the profile only after readRequested.
    void showCage(quint8 cage, quint8 frequency, quint8 amplitude, quint8 duration, quint8 waveShape,
                  quint16 activations);
    /// The unit has not answered; of interest after readRequested only.
    void showReadFailed();
    void showOperation(bool isSuccess, const QString& message);

signals:
    void changed();
    /// showCage for each cage, or showReadFailed, is to follow.
    void readRequested();
    /// Random values are drawn by whoever writes; showOperation is to follow.
    void writeRequested(const vt::VexioSettings& settings);
    void clearCountersRequested();

protected:
    void changeEvent(QEvent* event) override;

private:
    enum Column { Cage, Enable, Trigger, Frequency, Amplitude, Duration, Wave, Count, ColumnCount };
    static constexpr int Values = 3; ///< frequency, amplitude, duration

    void buildTable();
    [[nodiscard]] Card* buildProfile();
    [[nodiscard]] Card* buildRange();
    [[nodiscard]] QWidget* buildUnitButtons();
    void connectProfile(std::size_t index);
    [[nodiscard]] std::vector<std::size_t> selectedCages() const;
    template <typename Change>
    void changeSelected(Change change);
    void handleItem(QTableWidgetItem* item);
    void handleSelection();
    void handleRange();
    void showTable();
    void showRow(int row);
    void updateButtons();

    QTableWidget* m_table;
    QLabel* m_selected;
    std::array<RegisterBox*, Values> m_fields{}; ///< by CageValue, as the next two
    std::array<QCheckBox*, Values> m_random{};
    std::array<QLabel*, Values> m_stored{};
    QComboBox* m_wave;
    std::array<RegisterBox*, Values> m_lowest{};
    std::array<RegisterBox*, Values> m_highest{};
    QLabel* m_rangeNote;
    QPushButton* m_read;
    QPushButton* m_write;
    QPushButton* m_clear;
    QLabel* m_result;
    QWidget* m_profileFields = nullptr;

    VexioSettings m_settings;
    std::array<int, VexioSettings::CageCount> m_activations{}; ///< -1: not read
    int m_channelCount = VexioSettings::CageCount;
    bool m_filling = false;
    bool m_takesProfiles = false;
    bool m_isPresent = false;
    bool m_isLocked = false;
};

} // namespace vt
