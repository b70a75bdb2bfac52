// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"
#include "ui/Theme.h"

#include <QFrame>

class QLabel;

namespace vt {

class ElidedLabel;

/// One value with its name above it.
class MetricCell : public QWidget
{
    Q_OBJECT
public:
    /// widest: what usually has to fit without being shortened.
    MetricCell(const QString& caption, const QString& objectName, const QString& widest, QWidget* parent);
    void show(const QString& value, const QString& toolTip, Emphasis emphasis = Emphasis::Normal);
    [[nodiscard]] QString value() const;

private:
    QString m_caption;
    ElidedLabel* m_value;
};

/// The line that tells at a glance whether the recording is well: state, elapsed time, name, segment, frames,
/// writer queue, disk space. Losses change the words as well as the colour. Interface thread.
class StatusStrip : public QFrame
{
    Q_OBJECT
public:
    explicit StatusStrip(QWidget* parent = nullptr);
    void setStatus(const SessionStatus& status);
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void fitCells();
    void showDropped(const SessionStatus& status, bool isKnown);
    void showDisk(const SessionStatus& status);
    void showQueue(const SessionStatus& status);

    MetricCell* m_state = nullptr;
    MetricCell* m_elapsed = nullptr;
    MetricCell* m_name = nullptr;
    MetricCell* m_segment = nullptr;
    MetricCell* m_acquired = nullptr;
    MetricCell* m_dropped = nullptr;
    MetricCell* m_queue = nullptr;
    MetricCell* m_disk = nullptr;
    int m_narrowest = 0; ///< with all that can give way hidden
};

} // namespace vt
