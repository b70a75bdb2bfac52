// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"

#include <QString>
#include <optional>

namespace vt {

/// One input line of the acquisition unit on which a device signals. Hardware thread. One driver call per
/// look.
class InterruptLine
{
public:
    enum class Level { Low, High };

    explicit InterruptLine(DaqmxApi& driver) : m_driver(driver) {}
    ~InterruptLine() { close(); }
    InterruptLine(const InterruptLine&) = delete;
    InterruptLine& operator=(const InterruptLine&) = delete;

    /// channel as the driver names it, e.g. "Dev1/port0/line7". False with errorText().
    [[nodiscard]] bool open(const QString& channel);
    void close();
    [[nodiscard]] bool isOpen() const { return m_task != nullptr; }
    /// Empty with errorText() when the driver failed.
    [[nodiscard]] std::optional<Level> read();
    [[nodiscard]] QString errorText() const { return m_errorText; }

private:
    DaqmxApi& m_driver;
    daqmx::TaskHandle m_task = nullptr;
    QString m_errorText;
};

} // namespace vt
