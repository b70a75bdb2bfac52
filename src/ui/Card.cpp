// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/Card.h"

#include "ui/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace vt {

Card::Card(const QString& title, QWidget* parent)
    : QFrame(parent), m_header(new QHBoxLayout), m_body(new QVBoxLayout)
{
    setKind(this, QStringLiteral("card"));
    setAccessibleName(title);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(spacing::Medium, spacing::Small, spacing::Medium, spacing::Medium);
    layout->setSpacing(spacing::Small);
    auto* label = new QLabel(title, this);
    setTextRole(label, TextRole::Title);
    m_header->addWidget(label, 1);
    m_body->setSpacing(spacing::Small);
    layout->addLayout(m_header);
    layout->addLayout(m_body, 1);
}

void Card::addHeaderWidget(QWidget* widget)
{
    m_header->addWidget(widget);
}

} // namespace vt
