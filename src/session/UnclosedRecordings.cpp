// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/UnclosedRecordings.h"

#include "daqmx/KeepAlive.h"
#include "platform/CrashHandler.h"
#include "platform/ExclusiveProbe.h"
#include "platform/ProcessIdentity.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace vt {

namespace {

constexpr int EndWaitMs = 500;

QString lines(const QStringList& files)
{
    QStringList native;
    for (const QString& file : files)
        native << QDir::toNativeSeparators(file);
    return native.join(QLatin1Char('\n'));
}

} // namespace

UnclosedRecordings::~UnclosedRecordings()
{
    if (m_thread && !m_thread->wait(QDeadlineTimer(EndWaitMs)))
        keepAliveForever(m_thread);
}

void UnclosedRecordings::look(std::function<void(const Found&)> tell)
{
    const std::vector<AppSettings::OpenRecording> noted = AppSettings::openRecordings();
    if (noted.empty())
        return;
    m_thread.reset(QThread::create([this, noted, tell = std::move(tell), answers = m_answers.address()] {
        CrashHandler::prepareThread();
        answers->post([this, found = judge(noted), tell] { // dropped when this is gone
            if (found.isEmpty())
                return;
            m_store([told = found.unclosed + found.missing] {
                for (const QString& rawFile : told)
                    AppSettings::forgetOpenRecording(rawFile);
            });
            tell(found);
        });
    }));
    m_thread->setObjectName(QStringLiteral("unclosed"));
    m_thread->start();
}

UnclosedRecordings::Found UnclosedRecordings::judge(const std::vector<AppSettings::OpenRecording>& noted)
{
    Found found;
    for (const auto& [rawFile, writer] : noted) {
        // It holds no file while it is paused or ends, and forgets its note by itself.
        if (platform::isProcessRunning(writer))
            continue;
        if (!QFileInfo::exists(rawFile))
            found.missing << rawFile;
        else if (!platform::isHeldByWriter(rawFile))
            found.unclosed << rawFile;
    }
    return found;
}

QString UnclosedRecordings::message(const Found& found)
{
    QStringList parts;
    if (!found.unclosed.isEmpty())
        parts << QCoreApplication::translate(
                     "UnclosedRecordings",
                     "The last recording was not closed: the program or the computer ended while "
                     "it ran. Its files hold everything up to the last block that was written:\n%1")
                     .arg(lines(found.unclosed));
    if (!found.missing.isEmpty())
        parts
            << QCoreApplication::translate(
                   "UnclosedRecordings",
                   "A recording was not closed, and its file is not there now. Is its folder connected?\n%1")
                   .arg(lines(found.missing));
    return parts.join(QStringLiteral("\n\n"));
}

} // namespace vt
