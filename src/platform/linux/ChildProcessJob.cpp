// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ChildProcessJob.h"

#include <QProcess>
#include <csignal>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace vt {

struct ChildProcessJob::Private
{
    QProcess guard;
    pid_t group = 0; ///< the guard's process id, 0: there is no guard
    State state = State::Ready;
    QString error;
};

ChildProcessJob::ChildProcessJob() : d(std::make_unique<Private>())
{
    // "read" returns when the program's end of the pipe is gone, which the kernel sees to.
    d->guard.setProgram(QStringLiteral("/bin/sh"));
    d->guard.setArguments(
        {QStringLiteral("-c"), QStringLiteral("trap '' HUP INT TERM; read -r line; sleep %1; kill -KILL 0")
                                   .arg(GuardPatienceSeconds)});
    d->guard.setWorkingDirectory(QStringLiteral("/"));
    d->guard.setStandardOutputFile(QProcess::nullDevice());
    d->guard.setStandardErrorFile(QProcess::nullDevice());
    d->guard.setChildProcessModifier([] { (void)setpgid(0, 0); });
    d->guard.start();
    if (d->guard.waitForStarted(3000)) {
        d->group = static_cast<pid_t>(d->guard.processId());
        return;
    }
    d->state = State::NotCreated;
    d->error = QStringLiteral("/bin/sh: ") + d->guard.errorString();
}

ChildProcessJob::~ChildProcessJob()
{
    // The group exists while the guard, its leader, has not been reaped.
    if (d->group > 0 && d->guard.state() == QProcess::Running)
        (void)kill(-d->group, SIGKILL);
    d->guard.kill();
    d->guard.waitForFinished(1000);
}

ChildProcessJob::State ChildProcessJob::state() const
{
    return d->state;
}

QString ChildProcessJob::errorText() const
{
    return d->error;
}

void ChildProcessJob::prepare(QProcess& process, Priority priority) const
{
    const pid_t group = d->group;
    const pid_t parent = getpid();
    // Runs between fork and exec: system calls only.
    process.setChildProcessModifier([group, parent, priority] {
        if (group == 0 || setpgid(0, group) != 0)
            (void)setpgid(0, 0);
        (void)prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent) // died before the signal was asked for
            _exit(1);
        if (priority == Priority::Low)
            (void)setpriority(PRIO_PROCESS, 0, 15);
    });
}

ChildProcessJob::Added ChildProcessJob::add(qint64 processId)
{
    if (processId <= 0)
        return Added::NoHandle;
    return d->group > 0 && getpgid(static_cast<pid_t>(processId)) == d->group ? Added::Yes : Added::Refused;
}

QString childProgram(const QString& name)
{
    return name;
}

} // namespace vt
