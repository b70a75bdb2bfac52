// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <memory>

namespace vt {

/// Turns Ctrl-C and a polite request to end (SIGINT, SIGTERM, the terminal's SIGHUP; on Windows the console's
/// control events) into a signal on the thread that made the object; requests from before its event loop runs
/// wait for it. Whoever reads the program's output may go away without ending the program (SIGPIPE). One
/// object at a time. On Linux the signals stay without effect after the object's end: make it first and let
/// it go last, and a second request does not kill a program that is on its way out.
class TerminationSignals : public QObject
{
    Q_OBJECT
public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

signals:
    void requested();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace vt
