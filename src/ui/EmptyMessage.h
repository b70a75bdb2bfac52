// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QLabel;

namespace vt {

/// What stands on a page that has nothing to show yet: what is missing, and how it comes. Interface thread.
class EmptyMessage : public QWidget
{
    Q_OBJECT
public:
    EmptyMessage(const QString& headline, const QString& sentence, QWidget* parent = nullptr);
    void setTexts(const QString& headline, const QString& sentence);

private:
    QLabel* m_headline;
    QLabel* m_sentence;
};

} // namespace vt
