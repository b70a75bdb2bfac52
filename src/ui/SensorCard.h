// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/EnvironmentHistory.h"

#include <QFrame>
#include <array>
#include <optional>

class QLabel;

namespace vt {

class ElidedLabel;

/// One environmental sensor: the key of its lines, its label, whether it is there, and what it reads now.
/// Interface thread.
class SensorCard : public QFrame
{
    Q_OBJECT
public:
    enum class State { Connected, Disconnected, SwitchedOff };

    SensorCard(const QString& serial, int series, QWidget* parent = nullptr);

    [[nodiscard]] const QString& serial() const { return m_serial; }
    void show(const QString& label, State state, const std::optional<EnvPoint>& newest, qint64 lastReadingMs,
              const envunits::Units& units);
    [[nodiscard]] QSize sizeHint() const override;

private:
    QString m_serial;
    ElidedLabel* m_label;
    QLabel* m_state;
    std::array<QLabel*, envunits::QuantityCount> m_values{};
};

} // namespace vt
