// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <memory>

namespace vt {

/// Turns Ctrl-C and a polite request to end (SIGINT, SIGTERM, the terminal's SIGHUP; on Windows the console's
/// control events) into a signal on the thread that made the object; requests from before its event loop runs
/// wait for it. Whoever reads the program's output may go away without ending the program (SIGPIPE). One
/// object at a time. The requests stay without effect after the object's end: make it first and let it go
/// last, and a second request does not kill a program that is on its way out. Windows ends the process about
/// 5 s after its console was closed; until then it has time to end by itself.
class TerminationSignals : public QObject
{
    Q_OBJECT
public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

    /// For a program with windows, once nobody is to be told anything on standard error any more. It is built
    /// for the console like any command (a shell waits for it, its output can be piped, Ctrl-C reaches it),
    /// so on Windows it would end with the console that it was started from. There it is left; one that was
    /// only made for the program disappears. Nothing to do on Linux.
    static void leaveTerminal();

signals:
    void requested();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace vt
