// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ChildProcessJob.h"

#include "platform/windows/plain/ChildJob.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <cstring>
#include <windows.h>

namespace vt {

struct ChildProcessJob::Private
{
    windows::ChildJob job;
    State state = State::Ready;
};

ChildProcessJob::ChildProcessJob() : d(std::make_unique<Private>())
{
    if (const char* call = d->job.failedCall())
        d->state = std::strcmp(call, "CreateJobObjectW") == 0 ? State::NotCreated : State::NotConfigured;
}

ChildProcessJob::~ChildProcessJob() = default;

ChildProcessJob::State ChildProcessJob::state() const
{
    return d->state;
}

QString ChildProcessJob::errorText() const
{
    const char* call = d->job.failedCall();
    return call ? QStringLiteral("%1, error %2").arg(QLatin1String(call)).arg(d->job.error()) : QString();
}

void ChildProcessJob::prepare(QProcess& process, Priority priority) const
{
    process.setCreateProcessArgumentsModifier([priority](QProcess::CreateProcessArguments* arguments) {
        arguments->flags |= CREATE_NEW_PROCESS_GROUP | CREATE_NO_WINDOW;
        if (priority == Priority::Low)
            arguments->flags |= BELOW_NORMAL_PRIORITY_CLASS;
    });
}

ChildProcessJob::Added ChildProcessJob::add(qint64 processId)
{
    const HANDLE process = processId > 0 ? ::OpenProcess(PROCESS_SET_QUOTA | PROCESS_TERMINATE, FALSE,
                                                         static_cast<DWORD>(processId))
                                         : nullptr;
    if (!process)
        return Added::NoHandle;
    const bool added = d->job.add(process);
    ::CloseHandle(process);
    return added ? Added::Yes : Added::Refused;
}

QString childProgram(const QString& name)
{
    const QString file = name + QStringLiteral(".exe");
    const QString beside = QCoreApplication::applicationDirPath() + u'/' + file;
    return QFileInfo::exists(beside) ? beside : file;
}

} // namespace vt
