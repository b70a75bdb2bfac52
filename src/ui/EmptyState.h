// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>
#include <array>

class QLabel;

namespace vt {

/// What stands where traces will be: a sentence, and the steps that lead to a recording, ticked off as they
/// are done. Interface thread.
class EmptyState : public QWidget
{
    Q_OBJECT
public:
    enum Step { ChooseUnit, NameFile, PressStart, StepCount };

    explicit EmptyState(QWidget* parent = nullptr);
    void setStepDone(Step step, bool done);

private:
    void showSteps();

    std::array<QLabel*, StepCount> m_marks{};
    std::array<QLabel*, StepCount> m_texts{};
    std::array<bool, StepCount> m_done{};
};

} // namespace vt
