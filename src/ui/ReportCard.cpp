// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/ReportCard.h"

#include "ui/StatusText.h"
#include "ui/Theme.h"

#include <QClipboard>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace vt {

namespace {

constexpr qsizetype MostGapLines = 5; ///< the rest is in the report
constexpr int ReportColumns = 96;
constexpr int ReportLines = 28;

QString endText(const RecordingReport& report)
{
    const QString time = statustext::elapsedText(report.elapsedMs);
    switch (report.reason) {
    case EndReason::DeviceLost:
        return ReportCard::tr("Ended after %1: the unit stopped responding").arg(time);
    case EndReason::DurationReached:
        return ReportCard::tr("Ended as planned after %1").arg(time);
    case EndReason::ForcedStop:
        return ReportCard::tr("Ended by the system after %1").arg(time);
    case EndReason::None:
    case EndReason::UserStop:
    case EndReason::CouldNotStart:
        break;
    }
    return ReportCard::tr("Stopped after %1").arg(time);
}

QDialog* makeReport(const QString& text, QWidget* parent)
{
    auto* dialog = new QDialog(parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setObjectName(QStringLiteral("reportDialog"));
    dialog->setWindowTitle(ReportCard::tr("Report of the Last Recording"));
    auto* words = new QPlainTextEdit(text, dialog);
    words->setReadOnly(true);
    words->setLineWrapMode(QPlainTextEdit::NoWrap); // the table of the channels
    words->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    words->setAccessibleName(dialog->windowTitle());
    words->setTabChangesFocus(true);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
    QPushButton* copy = buttons->addButton(ReportCard::tr("&Copy"), QDialogButtonBox::ActionRole);
    copy->setToolTip(ReportCard::tr("Copy the report, for the laboratory's notebook"));
    QObject::connect(copy, &QPushButton::clicked, dialog,
                     [text] { QGuiApplication::clipboard()->setText(text); });
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::close);
    auto* layout = new QVBoxLayout(dialog);
    layout->addWidget(words, 1);
    layout->addWidget(buttons);
    const QFontMetrics metrics(words->font());
    dialog->resize(metrics.averageCharWidth() * ReportColumns, metrics.lineSpacing() * ReportLines);
    return dialog;
}

} // namespace

ReportCard::ReportCard(QWidget* parent)
    : Card(tr("Last recording"), parent), m_open(new QPushButton(tr("Re&port…"), this)),
      m_end(new QLabel(this)), m_verdict(new QLabel(this)), m_gaps(new QLabel(this))
{
    m_open->setObjectName(QStringLiteral("reportButton"));
    m_open->setToolTip(tr("Files, sleep and losses of the last recording"));
    setKind(m_open, QStringLiteral("plain"));
    addHeaderWidget(m_open);
    for (QLabel* line : {m_end, m_verdict, m_gaps}) {
        line->setWordWrap(true);
        body()->addWidget(line);
    }
    m_end->setObjectName(QStringLiteral("reportEnd"));
    m_verdict->setObjectName(QStringLiteral("reportVerdict"));
    connect(m_open, &QPushButton::clicked, this, &ReportCard::openReport);
    hide();
}

void ReportCard::setReport(const RecordingReport& report)
{
    m_text = report.text;
    if (m_dialog)
        m_dialog->close();
    setVisible(!m_text.isEmpty());
    m_end->setText(endText(report));
    const bool isCutShort = report.reason == EndReason::DeviceLost || report.reason == EndReason::ForcedStop;
    setEmphasis(m_end, isCutShort ? Emphasis::Warning : Emphasis::Normal);
    m_verdict->setText(report.hasLosses        ? tr("✗ Something is missing:")
                       : report.gaps.isEmpty() ? tr("✓ Nothing is missing")
                                               : tr("⚠ Not everything worked:"));
    setEmphasis(m_verdict, report.hasLosses        ? Emphasis::Danger
                           : report.gaps.isEmpty() ? Emphasis::Good
                                                   : Emphasis::Warning);
    QStringList gaps = report.gaps.mid(0, MostGapLines);
    if (report.gaps.size() > MostGapLines)
        gaps << tr("The report has more.");
    m_gaps->setText(gaps.join(QLatin1Char('\n')));
    m_gaps->setVisible(!gaps.isEmpty());
}

void ReportCard::openReport()
{
    if (!m_dialog)
        m_dialog = makeReport(m_text, window());
    m_dialog->show();
    m_dialog->raise();
    m_dialog->activateWindow();
}

} // namespace vt
