// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/HardwareCard.h"

#include "ui/ClockText.h"
#include "ui/Theme.h"
#include "ui/ToggleSwitch.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <memory>

namespace vt {

namespace {

QString sign(const HardwareProblem& problem)
{
    return problem.isWarning ? QStringLiteral("⚠ ") : QStringLiteral("✗ ");
}

/// Never broken across lines.
QString sinceText(const HardwareProblem& problem)
{
    return HardwareCard::tr("since %1")
        .arg(clocktext::clock(problem.since))
        .replace(u' ', QChar(QChar::Nbsp));
}

QLabel* problemLine(const HardwareProblem& problem, QWidget* parent)
{
    const QString kind = problem.isWarning ? HardwareCard::tr("Warning") : HardwareCard::tr("Fault");
    const QString since = HardwareCard::tr("Since %1").arg(clocktext::moment(problem.since));
    auto* line = new QLabel(sign(problem) + problem.text + QStringLiteral(", ") + sinceText(problem), parent);
    line->setObjectName(QStringLiteral("hardwareProblem"));
    line->setTextFormat(Qt::PlainText);
    line->setWordWrap(true);
    line->setToolTip(kind + QStringLiteral(": ") + problem.detail + u'\n' + since);
    line->setAccessibleName(HardwareCard::tr("%1: %2").arg(kind, problem.text));
    line->setAccessibleDescription(problem.detail + u' ' + since);
    setEmphasis(line, problem.isWarning ? Emphasis::Warning : Emphasis::Danger);
    return line;
}

} // namespace

HardwareCard::HardwareCard(QWidget* parent)
    : Card(tr("Hardware"), parent), m_diagnostics(new QPushButton(tr("Diagnostics…"), this)),
      m_summary(new QLabel(this)), m_lines(new QWidget(this)),
      m_light(new ToggleSwitch(tr("Cage light"), this))
{
    setObjectName(QStringLiteral("hardwareCard"));
    m_diagnostics->setObjectName(QStringLiteral("diagnosticsButton"));
    m_diagnostics->setToolTip(tr("State and speakers of the stimulation unit (Ctrl+D)"));
    setKind(m_diagnostics, QStringLiteral("plain"));
    addHeaderWidget(m_diagnostics);
    m_summary->setObjectName(QStringLiteral("hardwareSummary"));
    m_summary->setWordWrap(true);
    body()->addWidget(m_summary);
    auto* lines = new QVBoxLayout(m_lines);
    lines->setContentsMargins(0, 0, 0, 0);
    lines->setSpacing(spacing::Tiny);
    body()->addWidget(m_lines);
    m_light->setObjectName(QStringLiteral("cageLight"));
    body()->addWidget(m_light);
    connect(m_diagnostics, &QPushButton::clicked, this, &HardwareCard::diagnosticsRequested);
    connect(m_light, &ToggleSwitch::clicked, this, [this] {
        m_light->setChecked(m_isLightOn); // until the unit has taken it
        emit lightToggleRequested();
    });
    setLight(false, false);
    showProblems();
}

void HardwareCard::setUnit(const QString& name)
{
    if (name == m_unit)
        return;
    m_unit = name;
    showSummary();
}

void HardwareCard::setProblems(const std::vector<HardwareProblem>& problems)
{
    if (problems == m_problems)
        return;
    m_problems = problems;
    showProblems();
}

void HardwareCard::setLight(bool isUsable, bool isOn)
{
    m_isLightOn = isOn;
    m_light->setEnabled(isUsable);
    m_light->setChecked(isOn);
    m_light->setText(isOn ? tr("Cage light: on") : tr("Cage light: off"));
    m_light->setToolTip(isUsable ? tr("Switch the cage light on or off (Ctrl+L)")
                                 : tr("The cage light cannot be switched: its unit is not there"));
}

void HardwareCard::showSummary()
{
    const auto warnings = static_cast<int>(std::count_if(
        m_problems.begin(), m_problems.end(), [](const auto& problem) { return problem.isWarning; }));
    const int faults = static_cast<int>(m_problems.size()) - warnings;
    QStringList counts;
    if (faults > 0)
        counts << (faults == 1 ? tr("1 fault") : tr("%1 faults").arg(faults));
    if (warnings > 0)
        counts << (warnings == 1 ? tr("1 warning") : tr("%1 warnings").arg(warnings));
    const bool isFine = counts.isEmpty();
    const QString words = isFine ? tr("No fault known") : counts.join(QStringLiteral(", "));
    m_summary->setText((isFine        ? QStringLiteral("✓ ")
                        : faults == 0 ? QStringLiteral("⚠ ")
                                      : QStringLiteral("✗ ")) +
                       (m_unit.isEmpty() ? words : tr("%1: %2").arg(m_unit, words)));
    m_summary->setToolTip(isFine ? tr("Nothing is wrong with the unit and its hardware, as far as they tell")
                                 : tr("What is wrong now; a line goes when its cause has gone"));
    m_summary->setAccessibleName(tr("Hardware: %1").arg(words));
    setEmphasis(m_summary, isFine ? Emphasis::Muted : faults == 0 ? Emphasis::Warning : Emphasis::Danger);
    setVisible(!m_unit.isEmpty() || !isFine);
}

void HardwareCard::showProblems()
{
    while (const std::unique_ptr<QLayoutItem> item{m_lines->layout()->takeAt(0)}) {
        item->widget()->hide(); // before the next event loop deletes it
        item->widget()->deleteLater();
    }
    for (const HardwareProblem& problem : m_problems)
        m_lines->layout()->addWidget(problemLine(problem, m_lines));
    m_lines->setVisible(!m_problems.empty());
    showSummary();
}

} // namespace vt
