// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/TimeSource.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <QThread>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace vt {

/// An environmental sensor at the other end of a pseudo-terminal, on a thread of its own: answers the
/// program's commands with the climate of an EnviroRoom at the time source's time. Where there are no
/// pseudo-terminals (Windows) it cannot be plugged in.
///
/// Public methods may be called from any thread but its own; faults are in effect when they return.
class SimulatedEnviro
{
public:
    struct Options
    {
        QString serialNumber = QStringLiteral("SIM1");
        QString firmware = QStringLiteral("2.3");
        std::uint64_t seed = 1;
    };
    enum class Reply {
        Proper,
        None,
        FiveFields,
        SevenFields,
        Text,
        Slow, ///< 400 ms late
        Split ///< its second half 50 ms after the first
    };

    /// Plugged in at once when that is possible. time outlives the object.
    SimulatedEnviro(TimeSource& time, Options options);
    ~SimulatedEnviro();
    SimulatedEnviro(const SimulatedEnviro&) = delete;
    SimulatedEnviro& operator=(const SimulatedEnviro&) = delete;

    /// Why it is not plugged in, or empty.
    [[nodiscard]] QString errorText() const;
    /// What the program opens: a link that leads to the present pseudo-terminal while it is plugged in.
    [[nodiscard]] QString portPath() const;
    /// "path=...;vid=2405;pid=000B;serial=...;description=Tessaly Enviro"
    [[nodiscard]] QString portEntry() const;
    [[nodiscard]] bool isPluggedIn() const;

    // ---- faults ----
    void setReply(Reply reply);
    /// Answers with these bytes in place of a reading; empty: readings again.
    void setRawReply(std::optional<QByteArray> bytes);
    /// Answers with these bytes when asked who it is.
    void setIdentification(const QByteArray& bytes);
    void unplug();
    enum class Comeback { SamePath, OtherPath };
    /// False when it could not be plugged in, see errorText().
    [[nodiscard]] bool plugIn(Comeback comeback = Comeback::SamePath);

    /// Every command that it has got.
    [[nodiscard]] QByteArray received() const;

private:
    class Device;
    template <typename Call>
    auto onDevice(Call call) const;

    QTemporaryDir m_folder;
    const QString m_serialNumber;
    std::shared_ptr<Device> m_device; ///< lives on m_thread
    QThread m_thread;
    mutable Inbox m_inbox; ///< lives on m_thread
};

/// count sensors "SIM1", "SIM2", ... in one room. time outlives them.
[[nodiscard]] std::vector<std::unique_ptr<SimulatedEnviro>> makeSimulatedEnviros(TimeSource& time, int count);

} // namespace vt
