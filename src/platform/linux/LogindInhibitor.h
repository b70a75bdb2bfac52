// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QString>
#include <functional>

namespace vt {

namespace logind {

/// No answer within this time counts as a refusal. Nobody waits for it.
inline constexpr int AnswerTimeoutMs = 2000;

[[nodiscard]] QString serviceName();
/// A call of a method of the manager.
[[nodiscard]] QDBusMessage managerCall(const QString& method);
/// A call for one of the manager's properties.
[[nodiscard]] QDBusMessage propertyCall(const QString& property);
/// Name and text of an error, for the log.
[[nodiscard]] QString errorText(const QDBusError& error);
/// There is no bus, or no logind on it. PowerEvents, made at the program's start, warns of that; for
/// everybody else it is no news.
[[nodiscard]] bool isAbsent(const QDBusError& error);
/// The error of a call that cannot even be sent.
[[nodiscard]] QDBusError noBus();

} // namespace logind

/// One inhibitor lock of logind: in force while its file descriptor is open. The descriptor is not inherited
/// by child processes. A logind that restarts is asked again. Interface thread; no call waits.
class LogindInhibitor : public QObject
{
public:
    enum class Mode {
        Block, ///< what it names does not happen
        Delay  ///< what it names happens once the lock is dropped, or logind's time for it has passed
    };
    enum class State { Dropped, Asked, Held, Refused };

    /// what: the operations, as in "shutdown:sleep".
    LogindInhibitor(const QDBusConnection& bus, const QString& what, Mode mode);

    /// Asks for the lock, unless it is held or asked for already. why is shown to users.
    void take(const QString& why);
    /// Gives it up; one that is granted later is dropped as it comes.
    void drop();
    [[nodiscard]] State state() const { return m_state; }

    /// Called with each answer to take(): Held with an invalid error, or Refused.
    void setAnswered(std::function<void(const QDBusError&)> answered) { m_answered = std::move(answered); }

private:
    void ask();
    void evaluate(const QDBusMessage& reply);

    QDBusConnection m_bus;
    const QString m_what;
    const Mode m_mode;
    QString m_why;
    QDBusServiceWatcher m_service;
    QDBusUnixFileDescriptor m_lock;
    State m_state = State::Dropped;
    int m_question = 0; ///< number of the latest one; answers to others are dropped
    std::function<void(const QDBusError&)> m_answered;
};

} // namespace vt
