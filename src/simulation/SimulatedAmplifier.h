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

namespace vt {

/// A serial amplifier with two animals at the other end of a pseudo-terminal: answers the program's commands
/// and streams its packets, on a thread of its own, paced by the time source in steps of 10 ms. Channel c
/// shows the AnimalModel of seed + c. Where there are no pseudo-terminals (Windows) it cannot be plugged in.
///
/// Public methods may be called from any thread but its own; faults are in effect when they return.
class SimulatedAmplifier
{
public:
    struct Options
    {
        int animalType = 1; ///< as AnimalModel takes it
        std::uint64_t seed = 1;
        double clockError = 0.003; ///< the device's clock is this share too fast
        QString identity = QStringLiteral("Strivix SA2-0417");
    };
    enum class Identification { Proper, None, Wrong, Endless };
    enum class StopBehaviour { Obeys, Ignores };

    /// Plugged in at once when that is possible. time outlives the object.
    SimulatedAmplifier(TimeSource& time, Options options);
    ~SimulatedAmplifier();
    SimulatedAmplifier(const SimulatedAmplifier&) = delete;
    SimulatedAmplifier& operator=(const SimulatedAmplifier&) = delete;

    [[nodiscard]] static bool isAvailable();
    /// Why it is not plugged in, or empty.
    [[nodiscard]] QString errorText() const;
    /// What the program opens: a link that always leads to the present pseudo-terminal.
    [[nodiscard]] QString portName() const { return m_linkPath; }

    // ---- faults ----
    /// Sends nothing for this long; what the animals do meanwhile is lost.
    void stall(int durationMs);
    /// Sends this many packets at once, ahead of its clock. The line holds about 1300.
    void burst(int packets);
    /// The next bytes do not get onto the wire.
    void dropBytes(int count);
    /// The next bytes have bit 7 inverted.
    void corruptBytes(int count);
    /// Streams as if a program had left it that way.
    void startStreaming();
    void setStopBehaviour(StopBehaviour behaviour);
    void setIdentification(Identification identification);
    /// Another amplifier: how it calls itself from now on.
    void setIdentity(const QString& identity);
    /// The cable is pulled out.
    void disappear();
    /// It is plugged in again, not streaming; as another device file behind the same portName(). False when
    /// that failed, see errorText().
    [[nodiscard]] bool comeBack();

    struct Statistics
    {
        quint64 steps = 0;         ///< of 10 ms, done
        quint64 packets = 0;       ///< encoded
        quint64 bytesSent = 0;     ///< taken by the line
        quint64 bytesLost = 0;     ///< refused by the line because nobody read
        quint64 bytesReceived = 0; ///< and acted upon
    };
    [[nodiscard]] Statistics statistics() const;
    /// Everything that the program has sent.
    [[nodiscard]] QByteArray received() const;

private:
    class Line;
    template <typename Call>
    auto onLine(Call call) const;

    QTemporaryDir m_folder;
    const QString m_linkPath;
    std::shared_ptr<Line> m_line; ///< lives on m_thread
    QThread m_thread;
    mutable Inbox m_inbox; ///< lives on m_thread
};

} // namespace vt
