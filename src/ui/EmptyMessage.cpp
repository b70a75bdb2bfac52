// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/EmptyMessage.h"

#include "ui/Theme.h"

#include <QLabel>
#include <QVBoxLayout>

namespace vt {

EmptyMessage::EmptyMessage(const QString& headline, const QString& sentence, QWidget* parent)
    : QWidget(parent), m_headline(new QLabel(this)), m_sentence(new QLabel(this))
{
    setTextRole(m_headline, TextRole::Headline);
    setTextRole(m_sentence, TextRole::Body);
    setEmphasis(m_sentence, Emphasis::Muted);
    auto* column = new QVBoxLayout(this);
    column->setSpacing(spacing::Small);
    // A little above the middle, where the eye looks first.
    column->addStretch(2);
    for (QLabel* label : {m_headline, m_sentence}) {
        label->setAlignment(Qt::AlignHCenter);
        label->setWordWrap(true);
        column->addWidget(label);
    }
    column->addStretch(3);
    setTexts(headline, sentence);
}

void EmptyMessage::setTexts(const QString& headline, const QString& sentence)
{
    m_headline->setText(headline);
    m_sentence->setText(sentence);
}

} // namespace vt
