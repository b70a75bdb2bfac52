// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/StatusStrip.h"

#include "ui/ClockText.h"
#include "ui/ElidedLabel.h"
#include "ui/StatusText.h"

#include <QDir>
#include <QHBoxLayout>
#include <QLocale>
#include <QVBoxLayout>

#include <algorithm>

namespace vt {

namespace {

constexpr double LowDiskHours = 24;
constexpr int SmallestNameWidth = 90;

Emphasis stateEmphasis(SessionState state)
{
    switch (state) {
    case SessionState::Recording:
        return Emphasis::Danger; // the red of a recording light
    case SessionState::Paused:
    case SessionState::Resuming:
        return Emphasis::Warning;
    case SessionState::Idle:
        return Emphasis::Muted;
    default:
        return Emphasis::Normal;
    }
}

QString dash()
{
    return QStringLiteral("–");
}

} // namespace

MetricCell::MetricCell(const QString& caption, const QString& objectName, const QString& widest,
                       QWidget* parent)
    : QWidget(parent), m_caption(caption), m_value(new ElidedLabel(this))
{
    const QFontMetrics captionMetrics(Theme::font(TextRole::Caption, font()));
    const QFontMetrics valueMetrics(Theme::font(TextRole::Value, font()));
    setMinimumWidth(
        std::max(captionMetrics.horizontalAdvance(caption), valueMetrics.horizontalAdvance(widest)) + 2);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    auto* captionLabel = new ElidedLabel(this, Qt::ElideRight);
    captionLabel->setText(caption);
    setTextRole(captionLabel, TextRole::Caption);
    setTextRole(m_value, TextRole::Value);
    m_value->setObjectName(objectName);
    layout->addStretch();
    layout->addWidget(captionLabel);
    layout->addWidget(m_value);
    layout->addStretch();
    show(dash(), QString(), Emphasis::Muted);
}

void MetricCell::show(const QString& value, const QString& toolTip, Emphasis emphasis)
{
    setEmphasis(m_value, emphasis);
    if (m_value->text() == value && this->toolTip() == toolTip)
        return;
    m_value->setText(value);
    m_value->setAccessibleName(m_caption + QStringLiteral(": ") + value);
    setToolTip(toolTip);
}

QString MetricCell::value() const
{
    return m_value->text();
}

StatusStrip::StatusStrip(QWidget* parent) : QFrame(parent)
{
    setKind(this, QStringLiteral("card"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(spacing::Large, 0, spacing::Large, 0);
    layout->setSpacing(spacing::Medium);
    const auto add = [&](const QString& caption, const char* name, const QString& widest, int stretch) {
        auto* cell = new MetricCell(caption, QLatin1String(name), widest, this);
        layout->addWidget(cell, stretch);
        return cell;
    };
    m_state = add(tr("State"), "state", statustext::stateText(SessionState::Recording), 1);
    m_elapsed = add(tr("Elapsed"), "elapsed", statustext::elapsedText(qint64{10} * 86400 * 1000), 1);
    // The name takes what the others leave.
    m_name = add(tr("Recording"), "name", QString(), 4);
    m_segment = add(tr("Segment"), "segment", statustext::segmentText(0), 1);
    m_acquired = add(tr("Frames acquired"), "acquired", QLocale().toString(88888888), 1);
    m_dropped = add(tr("Dropped"), "dropped", tr("%1, faults").arg(88), 1);
    m_queue = add(tr("Writer queue"), "queue", tr("%1, data lost").arg(8), 1);
    m_disk =
        add(tr("Disk space left"), "disk", QStringLiteral("888 GB, ") + statustext::lastsText(888, 1), 1);
    fitCells();
    setStatus({});
}

/// What is least worth a look gives way first when the window is narrow.
void StatusStrip::fitCells()
{
    int wanted = SmallestNameWidth;
    for (const MetricCell* cell : findChildren<MetricCell*>())
        wanted += cell->minimumWidth() + spacing::Medium;
    wanted += 2 * spacing::Large - spacing::Medium;
    for (MetricCell* cell : {m_acquired, m_segment}) {
        cell->setVisible(width() >= wanted);
        wanted -= cell->minimumWidth() + spacing::Medium;
    }
    m_narrowest = wanted;
}

QSize StatusStrip::minimumSizeHint() const
{
    return {m_narrowest, QFrame::minimumSizeHint().height()};
}

void StatusStrip::resizeEvent(QResizeEvent* event)
{
    QFrame::resizeEvent(event);
    fitCells();
}

void StatusStrip::setStatus(const SessionStatus& status)
{
    const bool running = status.state != SessionState::Idle;
    m_state->show(statustext::stateText(status.state), tr("What the session is doing"),
                  stateEmphasis(status.state));
    const bool known = running && status.startTime.isValid();
    const Emphasis emphasis = known ? Emphasis::Normal : Emphasis::Muted;
    m_elapsed->show(known ? statustext::elapsedText(status.elapsedMs) : dash(),
                    status.startTime.isValid()
                        ? tr("Recording since %1, pauses included").arg(clocktext::moment(status.startTime))
                        : tr("Time since the start of the recording"),
                    emphasis);
    const bool named = running && !status.basePath.isEmpty();
    m_name->show(named ? statustext::recordingName(status.basePath) : dash(),
                 named ? QDir::toNativeSeparators(status.basePath) : tr("Name of the recording"),
                 named ? Emphasis::Normal : Emphasis::Muted);
    m_segment->show(named ? statustext::segmentText(status.segment) : dash(),
                    tr("A recording goes on in a numbered segment after the unit was disconnected"),
                    named ? Emphasis::Normal : Emphasis::Muted);
    m_acquired->show(
        known ? QLocale().toString(status.framesAcquired) : dash(),
        tr("Frames of 20 samples per channel that the unit delivered\nProcessed: %1\nRead errors: "
           "%2\nAcquisition restarts: %3")
            .arg(QLocale().toString(status.framesProcessed), QLocale().toString(status.readErrors),
                 QLocale().toString(status.restarts)),
        emphasis);
    showDropped(status, known);
    showQueue(status);
    showDisk(status);
}

/// Also what never became a frame: a serial line's damaged bytes, a unit that has to be started anew.
void StatusStrip::showDropped(const SessionStatus& status, bool isKnown)
{
    const LossSummary& lost = status.losses;
    const bool isLost = lost.framesDropped || lost.framesUnaccounted || lost.bytesDamaged ||
                        lost.interruptions || lost.samplesDropped || lost.restartGapMs;
    const bool isFaulty = status.readErrors > 0;
    const QString count = QLocale().toString(lost.framesDropped);
    QString toolTip = statustext::lossText(lost);
    if (isFaulty)
        toolTip += tr("\nRead errors of the unit: %1").arg(QLocale().toString(status.readErrors));
    const bool isOther = isFaulty || (isLost && lost.framesDropped == 0);
    m_dropped->show(!isKnown  ? dash()
                    : isOther ? tr("%1, faults").arg(count)
                              : count,
                    toolTip,
                    !isKnown   ? Emphasis::Muted
                    : isLost   ? Emphasis::Danger
                    : isFaulty ? Emphasis::Warning
                               : Emphasis::Normal);
}

void StatusStrip::showQueue(const SessionStatus& status)
{
    if (status.state == SessionState::Idle) {
        m_queue->show(dash(), tr("Writes that wait for the disk"), Emphasis::Muted);
        return;
    }
    const bool lost = status.losses.writesDropped || status.losses.writesFailed ||
                      status.losses.bytesDropped || status.losses.bytesFailed || status.losses.flushTimeouts;
    const bool filling = status.writer.currentDepth > FileWriter::MaxQueueSize / 2;
    const QString depth = QLocale().toString(status.writer.currentDepth);
    const QString value = lost      ? tr("%1, data lost").arg(depth)
                          : filling ? tr("%1, filling").arg(depth)
                                    : depth;
    m_queue->show(value,
                  tr("Writes that wait for the disk, at most %1 in this segment\n%2")
                      .arg(QLocale().toString(status.writer.peakDepth), statustext::lossText(status.losses)),
                  lost      ? Emphasis::Danger
                  : filling ? Emphasis::Warning
                            : Emphasis::Normal);
}

void StatusStrip::showDisk(const SessionStatus& status)
{
    if (status.freeDiskBytes < 0) {
        m_disk->show(dash(), tr("Free space where the recording is saved; measured while a recording runs"),
                     Emphasis::Muted);
        return;
    }
    const QString atMost = statustext::lastsText(status.freeDiskBytes, status.bytesPerHour);
    const QString free = statustext::bytesText(status.freeDiskBytes);
    const bool low = status.bytesPerHour > 0 && static_cast<double>(status.freeDiskBytes) <
                                                    LowDiskHours * static_cast<double>(status.bytesPerHour);
    const QString lasts = status.isFillRateKnown || low ? atMost : QString();
    const QString value = lasts.isEmpty() ? free
                          : low           ? tr("%1, only %2").arg(free, lasts)
                                          : tr("%1, %2").arg(free, lasts);
    const bool isMeasuring = !status.isFillRateKnown;
    const QString toolTip = isMeasuring ? tr("Free space where the recording is saved; how long it lasts is "
                                             "known when the cameras have filmed for ten minutes")
                            : lasts.isEmpty()
                                ? tr("Free space where the recording is saved")
                                : tr("Free space where the recording is saved; lasts %1 at %2 per hour")
                                      .arg(lasts, statustext::bytesText(status.bytesPerHour));
    const bool idle = status.state == SessionState::Idle;
    m_disk->show(value, toolTip, low ? Emphasis::Danger : idle ? Emphasis::Muted : Emphasis::Normal);
}

} // namespace vt
