// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/EmptyState.h"

#include "ui/Theme.h"

#include <QGridLayout>
#include <QLabel>

namespace vt {

EmptyState::EmptyState(QWidget* parent) : QWidget(parent)
{
    auto* headline = new QLabel(tr("No recording yet."), this);
    setTextRole(headline, TextRole::Headline);
    auto* sentence = new QLabel(tr("Choose a unit, name the file, press Start."), this);
    setTextRole(sentence, TextRole::Body);
    setEmphasis(sentence, Emphasis::Muted);

    auto* grid = new QGridLayout(this);
    grid->setHorizontalSpacing(spacing::Medium);
    grid->setVerticalSpacing(spacing::Small);
    // A little above the middle, where the eye looks first.
    grid->setRowStretch(0, 2);
    grid->setRowMinimumHeight(3, spacing::Large);
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(3, 1);
    grid->addWidget(headline, 1, 1, 1, 2);
    grid->addWidget(sentence, 2, 1, 1, 2);
    const std::array<QString, StepCount> texts{
        tr("Choose a unit: Set Up, tab \"Basic Config\""),
        tr("Name the file with \"Select File...\""),
        tr("Press Start Recording"),
    };
    for (std::size_t step = 0; step < StepCount; ++step) {
        m_marks[step] = new QLabel(this);
        m_marks[step]->setMinimumWidth(spacing::Large);
        m_texts[step] = new QLabel(texts[step], this);
        grid->addWidget(m_marks[step], static_cast<int>(step) + 4, 1);
        grid->addWidget(m_texts[step], static_cast<int>(step) + 4, 2);
    }
    grid->setColumnStretch(2, 0);
    grid->setRowStretch(StepCount + 4, 3);
    showSteps();
}

void EmptyState::setStepDone(Step step, bool done)
{
    m_done[step] = done;
    showSteps();
}

void EmptyState::showSteps()
{
    bool nextFound = false;
    for (std::size_t step = 0; step < StepCount; ++step) {
        const bool next = !m_done[step] && !nextFound;
        nextFound = nextFound || next;
        m_marks[step]->setText(m_done[step] ? QStringLiteral("✓") : QString::number(step + 1));
        m_marks[step]->setAccessibleName(m_done[step] ? tr("done") : tr("to do"));
        setEmphasis(m_marks[step], m_done[step] ? Emphasis::Good : next ? Emphasis::Normal : Emphasis::Muted);
        setEmphasis(m_texts[step], next ? Emphasis::Normal : Emphasis::Muted);
    }
}

} // namespace vt
