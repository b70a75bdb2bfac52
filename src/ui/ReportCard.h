// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/RecordingSummary.h"
#include "ui/Card.h"

#include <QPointer>

class QDialog;
class QPushButton;

namespace vt {

/// What the last recording has come to, in two or three lines: how it ended and after how long, and whether
/// anything is missing. The whole report opens in a window of its own. Hidden until there is one. Interface
/// thread.
class ReportCard : public Card
{
    Q_OBJECT
public:
    explicit ReportCard(QWidget* parent = nullptr);

    /// Without a text the card hides and the report closes.
    void setReport(const RecordingReport& report);
    /// Opens the whole report, or brings it to the front.
    void openReport();

private:
    QPushButton* m_open;
    QLabel* m_end;
    QLabel* m_verdict;
    QLabel* m_gaps;
    QString m_text;
    QPointer<QDialog> m_dialog;
};

} // namespace vt
