// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SensorCard.h"

#include "ui/ClockText.h"
#include "ui/ElidedLabel.h"
#include "ui/SeriesStyle.h"
#include "ui/Theme.h"

#include <QDateTime>
#include <QGridLayout>
#include <QLabel>
#include <QLocale>
#include <QPainter>

namespace vt {

namespace {

constexpr int CardWidth = 204;
constexpr QSize KeySize(34, 14);

class KeySwatch : public QWidget
{
public:
    KeySwatch(int series, QWidget* parent) : QWidget(parent), m_series(series) { setFixedSize(KeySize); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        seriesstyle::drawKey(painter, QRectF(rect()), m_series, Theme::current());
    }

private:
    int m_series;
};

/// A day is kept, so the day of the week is enough for a time of yesterday.
QString clockText(qint64 timeMs)
{
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(timeMs);
    return time.date() == QDate::currentDate() ? clocktext::hoursMinutes(time)
                                               : QLocale().toString(time, QStringLiteral("ddd HH:mm"));
}

} // namespace

SensorCard::SensorCard(const QString& serial, int series, QWidget* parent)
    : QFrame(parent), m_serial(serial), m_label(new ElidedLabel(this)), m_state(new QLabel(this))
{
    setKind(this, QStringLiteral("card"));
    setMinimumWidth(CardWidth);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    setTextRole(m_label, TextRole::Title);
    setTextRole(m_state, TextRole::Hint);
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(spacing::Medium, spacing::Small, spacing::Medium, spacing::Small);
    grid->setVerticalSpacing(2);
    grid->setHorizontalSpacing(spacing::Small);
    auto* head = new QHBoxLayout; // owned by the grid below
    head->setSpacing(spacing::Small);
    head->addWidget(new KeySwatch(series, this));
    head->addWidget(m_label, 1);
    grid->addLayout(head, 0, 0, 1, 2);
    for (int i = 0; i < envunits::QuantityCount; ++i) {
        auto* value = new QLabel(this);
        setTextRole(value, TextRole::Value);
        value->setToolTip(envunits::quantityName(static_cast<envunits::Quantity>(i)));
        grid->addWidget(value, 1 + i / 2, i % 2);
        grid->setColumnStretch(i % 2, 1);
        m_values[static_cast<std::size_t>(i)] = value;
    }
    grid->addWidget(m_state, 3, 0, 1, 2);
}

QSize SensorCard::sizeHint() const
{
    return {CardWidth, QFrame::sizeHint().height()};
}

void SensorCard::show(const QString& label, State state, const std::optional<EnvPoint>& newest,
                      qint64 lastReadingMs, const envunits::Units& units)
{
    m_label->setText(label);
    const bool isLive = state == State::Connected && newest && newest->hasReading();
    for (int i = 0; i < envunits::QuantityCount; ++i) {
        const auto quantity = static_cast<envunits::Quantity>(i);
        QLabel* value = m_values[static_cast<std::size_t>(i)];
        value->setText(isLive ? envunits::valueText(quantity, newest->value(quantity), units)
                              : QStringLiteral("–"));
        value->setAccessibleName(tr("%1: %2").arg(envunits::quantityName(quantity), value->text()));
        setEmphasis(value, isLive ? Emphasis::Normal : Emphasis::Muted);
    }
    QString text;
    if (state == State::Disconnected)
        text = lastReadingMs > 0 ? tr("Disconnected since %1").arg(clockText(lastReadingMs))
                                 : tr("Disconnected");
    else if (state == State::SwitchedOff)
        text = tr("Switched off");
    else if (isLive)
        text = tr("Connected");
    else
        text = lastReadingMs > 0 ? tr("No reading since %1").arg(clockText(lastReadingMs))
                                 : tr("No reading yet");
    m_state->setText(text);
    setEmphasis(m_state, state == State::Disconnected ? Emphasis::Warning : Emphasis::Muted);
    const bool hasOwnLabel = label != m_serial;
    setToolTip(hasOwnLabel ? tr("Sensor %1 (%2): %3").arg(label, m_serial, text)
                           : tr("Sensor %1: %2").arg(label, text));
    setAccessibleName(toolTip());
}

} // namespace vt
