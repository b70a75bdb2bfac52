// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDBusConnection>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

namespace vt::test {

/// A bus of the test's own with a stand-in for logind on it, each a process that ends with the object.
class MockLogind
{
public:
    enum class Kind {
        Working,  ///< grants and lists inhibitors; waits 5 s for them, sleeps when the lid is closed
        Refusing, ///< has the name and no method
        Missing
    };
    explicit MockLogind(Kind kind = Kind::Working);
    ~MockLogind();
    MockLogind(const MockLogind&) = delete;
    MockLogind& operator=(const MockLogind&) = delete;

    /// The connection for the code under test.
    [[nodiscard]] QDBusConnection bus() const { return m_bus; }
    /// The inhibitors in force, sorted, each as "what mode: why".
    [[nodiscard]] QStringList inhibitors() const;
    /// Waits until inhibitors() are these, with the event loop running.
    [[nodiscard]] bool waitForInhibitors(const QStringList& wanted) const;
    void setProperty(const QString& name, const QVariant& value) const;
    /// Emits PrepareForShutdown or PrepareForSleep.
    void emitPrepare(const QString& signal, bool starting) const;

    void start();
    void kill();
    void freeze(); ///< keeps its name and answers nothing
    void thaw();

private:
    QVariant call(const QString& interface, const QString& method, const QVariantList& arguments) const;

    Kind m_kind;
    QTemporaryDir m_folder;
    QProcess m_daemon;
    QProcess m_mock;
    QDBusConnection m_bus;
    QDBusConnection m_control; ///< the test's own
};

} // namespace vt::test
