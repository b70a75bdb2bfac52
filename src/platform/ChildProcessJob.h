// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <memory>

class QProcess;

namespace vt {

/// Child processes that end together with this program, however it ends.
///
/// Windows: a job object that kills its members when the program's handle to it is gone.
/// Linux: when the thread that started a child ends, the child gets SIGTERM, which lets ffmpeg finish its
/// file; so children are started by a thread that lives as long as they do. A guard process, whose standard
/// input is the program's, kills the whole group GuardPatienceSeconds after the program's end, for those that
/// did not listen.
///
/// The children are not in the terminal's foreground group: Ctrl+C reaches the program only, which then ends
/// them in good order. Lives on the thread that starts the children.
class ChildProcessJob
{
public:
    enum class State { Ready, NotCreated, NotConfigured };
    enum class Added { Yes, NoHandle, Refused };
    enum class Priority { Normal, Low };
    static constexpr int GuardPatienceSeconds = 10;

    ChildProcessJob();
    ~ChildProcessJob(); ///< kills the children that are still alive
    ChildProcessJob(const ChildProcessJob&) = delete;
    ChildProcessJob& operator=(const ChildProcessJob&) = delete;

    [[nodiscard]] State state() const;
    /// Call and error of the system when state() is not Ready.
    [[nodiscard]] QString errorText() const;

    /// Before a process is started: all that has to be arranged up to then.
    void prepare(QProcess& process, Priority priority = Priority::Normal) const;
    /// After it was started.
    [[nodiscard]] Added add(qint64 processId);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

/// What to start for a program of this name ("ffmpeg"): on Windows "ffmpeg.exe", with its path when it lies
/// beside this program; elsewhere the name, which is looked up on PATH.
[[nodiscard]] QString childProgram(const QString& name);

} // namespace vt
