// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/ChannelHeader.h"

#include "ui/ElidedLabel.h"
#include "ui/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QStyle>
#include <QVBoxLayout>

namespace vt {

using statustext::SleepDisplay;

ChannelHeader::ChannelHeader(QWidget* parent)
    : QWidget(parent), m_number(new QLabel(this)), m_animal(new ElidedLabel(this, Qt::ElideRight)),
      m_state(new QLabel(this)), m_range(new QLabel(this))
{
    setTextRole(m_number, TextRole::Caption);
    setTextRole(m_range, TextRole::Caption);
    m_range->setToolTip(tr("Height of the trace area"));
    setKind(m_state, QStringLiteral("chip"));
    m_state->setAlignment(Qt::AlignCenter);
    m_state->setToolTip(tr("Sleep state of the last 2-s step"));
    QFont bold = m_animal->font();
    bold.setWeight(QFont::DemiBold);
    m_animal->setFont(bold);

    auto* top = new QHBoxLayout;
    top->setSpacing(spacing::Small);
    top->addWidget(m_number);
    top->addWidget(m_animal, 1);
    auto* bottom = new QHBoxLayout;
    bottom->setSpacing(spacing::Small);
    bottom->addWidget(m_state);
    bottom->addStretch();
    bottom->addWidget(m_range);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(spacing::Medium, 0, spacing::Small, 0);
    layout->setSpacing(spacing::Tiny);
    layout->addStretch();
    layout->addLayout(top);
    layout->addLayout(bottom);
    layout->addStretch();
    setSleep(SleepDisplay::Waiting);
}

void ChannelHeader::setChannel(int channel, const QString& animalId)
{
    const QString number = QString::number(channel);
    const bool unnamed = animalId.isEmpty() || animalId == number;
    m_number->setText(number);
    m_number->setVisible(!unnamed);
    m_animal->setText(unnamed ? tr("Channel %1").arg(number) : animalId);
    updateAccessibleName();
}

void ChannelHeader::setSleep(SleepDisplay display)
{
    const QString text = statustext::sleepText(display);
    if (m_state->text() == text)
        return;
    m_state->setText(text);
    const char* look = display == SleepDisplay::Asleep     ? "asleep"
                       : display == SleepDisplay::Awake    ? "awake"
                       : display == SleepDisplay::NoSignal ? "nosignal"
                                                           : "other";
    m_state->setProperty("sleep", QLatin1String(look));
    m_state->style()->unpolish(m_state);
    m_state->style()->polish(m_state);
    updateAccessibleName();
}

QString ChannelHeader::rangeText(double rangeVolts)
{
    return rangeVolts < 0.1 ? tr("±%1 mV").arg(QLocale().toString(rangeVolts * 1000, 'g', 3))
                            : tr("±%1 V").arg(QLocale().toString(rangeVolts, 'g', 3));
}

void ChannelHeader::setRange(double rangeVolts)
{
    m_range->setText(rangeText(rangeVolts));
}

QString ChannelHeader::stateText() const
{
    return m_state->text();
}

void ChannelHeader::updateAccessibleName()
{
    setAccessibleName(tr("Channel %1, %2, %3").arg(m_number->text(), m_animal->text(), m_state->text()));
}

} // namespace vt
