// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

#include <QWidget>
#include <array>

class QCheckBox;
class QLabel;
class QRadioButton;
class QSpinBox;

namespace vt {

class Card;
class ToggleSwitch;
namespace fields {
class NumberBox;
}

/// What stimulates, and who is due: the protocol of the stimulation unit, and that of digital outputs without
/// it. Interface thread.
class ProtocolPage : public QWidget
{
    Q_OBJECT
public:
    explicit ProtocolPage(QWidget* parent = nullptr);

    void showSettings(const VexioSettings& vexio, const DioSettings& dio);
    void collect(VexioSettings& vexio, DioSettings& dio) const;

signals:
    void changed();

private:
    [[nodiscard]] Card* buildUnit();
    [[nodiscard]] Card* buildOutputs();
    [[nodiscard]] QWidget* protocolBlock(StimulationProtocol protocol, const QString& sentence,
                                         const std::vector<QWidget*>& parts);
    void connectFields();
    void handleChange();
    void updateEnabled();
    [[nodiscard]] StimulationProtocol protocol() const;

    ToggleSwitch* m_unit;
    std::array<QRadioButton*, 4> m_protocols{}; ///< by StimulationProtocol
    std::array<QWidget*, 4> m_parts{};          ///< the fields of each
    QSpinBox* m_sleepDuration;
    fields::NumberBox* m_threshold;
    fields::NumberBox* m_minInterval;
    QCheckBox* m_random;
    fields::NumberBox* m_maxInterval;
    QLabel* m_intervalNote;

    ToggleSwitch* m_outputs;
    QLabel* m_outputsNote;
    QWidget* m_outputsAlone;
    QRadioButton* m_outputsAsleep;
    QSpinBox* m_outputsSleep;
    QRadioButton* m_outputsTimed;
    fields::NumberBox* m_outputsInterval;

    VexioSettings m_shownVexio;
    DioSettings m_shownDio;
    bool m_filling = false;
};

} // namespace vt
