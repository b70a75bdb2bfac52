// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LogManager.h"

#include "daqmx/KeepAlive.h"
#include "platform/AppendFile.h"
#include "session/LogLine.h"
#include "session/LogQueue.h"
#include "session/LogRepeats.h"
#include "session/LogRotation.h"
#include "session/LogWriter.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QStandardPaths>
#include <atomic>
#include <thread>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int MostLogs = 10; ///< this run's included
constexpr int MostCrashReports = 5;
constexpr int MostNamesakes = 9;     ///< of one process id, which is always the same in a container
constexpr int LastWordsWaitMs = 200; ///< after a fatal message
constexpr int EndWaitMs = 2000;

/// What the message handler works with. Outlives the LogManager when the disk holds the writer.
struct LogCore
{
    LogQueue queue;
    LogRepeats repeats;
    LogWriter writer{queue};
};

/// The core that messages go to. Handlers at work are counted, so that it is not taken away under them.
std::atomic<LogCore*> currentCore{nullptr};
std::atomic<int> handlersAtWork{0};

/// One of the handlers at work.
class AtWork
{
public:
    AtWork() noexcept { handlersAtWork.fetch_add(1); }
    ~AtWork() { handlersAtWork.fetch_sub(1); }
    AtWork(const AtWork&) = delete;
    AtWork& operator=(const AtWork&) = delete;
};

void tellRepeats(LogCore& core, const LogRepeats::Verdict& verdict)
{
    if (verdict.repeated > 0)
        core.queue.push(
            logLine(verdict.type, __FILE__, __LINE__,
                    "LogManager: Repeated " + std::to_string(verdict.repeated) + " times: " + verdict.text));
}

void logMessage(LogCore& core, QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const QByteArray utf8 = message.toUtf8();
    const std::string_view text{utf8.constData(), static_cast<std::size_t>(utf8.size())};
    const LogRepeats::Verdict verdict =
        core.repeats.take(type, context.file, context.line, text, LogRepeats::Clock::now());
    tellRepeats(core, verdict);
    if (!verdict.isLogged && type != QtFatalMsg)
        return;
    const LogQueue::Position behind = core.queue.push(logLine(type, context.file, context.line, text));
    // The program ends here, and its last words are worth the wait; whether they arrived is known to nobody.
    if (type == QtFatalMsg)
        std::ignore = core.writer.waitUntilWritten(behind, LastWordsWaitMs);
}

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const AtWork atWork;
    LogCore* core = currentCore.load();
    if (!core)
        return;
    // Also threads of libraries log, whose start is not ours.
    thread_local bool prepared = false;
    if (!std::exchange(prepared, true))
        CrashHandler::prepareThread();
    try {
        logMessage(*core, type, context, message);
    } catch (...) { // no memory, which is no reason to end here
        core->queue.noteLost();
    }
}

void saveQueuedLines()
{
    const AtWork atWork;
    if (LogCore* core = currentCore.load())
        core->writer.saveWhileDying();
}

void removeOldest(const QDir& folder, const QString& prefix, int limit, const char* whatWasRemoved)
{
    QStringList names = folder.entryList(QDir::Files);
    // The log of another running instance is nothing old, and would go on unseen without its name.
    names.removeIf([&](const QString& name) {
        return !name.startsWith(prefix) || !name.endsWith(u".txt"_s) ||
               AppendFile::isOpenSomewhere(folder.filePath(name));
    });
    for (const QString& name : namesToRemove(names, limit))
        if (folder.exists(name) && QFile::remove(folder.filePath(name)))
            qDebug().noquote() << whatWasRemoved << name;
}

/// Copies that the naming of a report's functions has left when it was killed.
void removeUnfinished(const QDir& folder)
{
    constexpr qint64 stillAtWorkSeconds = 60;
    for (const QFileInfo& file : folder.entryInfoList({u"crash_*.txt.??????"_s}, QDir::Files))
        if (file.lastModified().secsTo(QDateTime::currentDateTime()) > stillAtWorkSeconds)
            QFile::remove(file.filePath());
}

qsizetype countOf(const QDir& folder)
{
    return folder.entryList({u"crash_*.txt"_s}, QDir::Files).size();
}

} // namespace

struct LogManager::Private
{
    std::shared_ptr<LogCore> core = std::make_shared<LogCore>();
    QtMessageHandler previousHandler = nullptr;
    QString logFilePath;
    QString crashFolder;

    void openLog(const QString& folder, const QString& name, const QDateTime& startTime);
    void prepareCrashFolder(const QString& folder);
    void handleCrashes(const Options& options) const;
};

LogManager::LogManager(const Options& options) : d(std::make_unique<Private>())
{
    QString data = options.dataFolder;
    if (data.isEmpty())
        data = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
    QString name =
        options.applicationName.isEmpty() ? QCoreApplication::applicationName() : options.applicationName;
    if (name.isEmpty())
        name = u"Application"_s;

    // Messages are taken from here on, so that those of the start-up are in the log, too; they are written
    // once it is known where to.
    currentCore = d->core.get();
    d->previousHandler = qInstallMessageHandler(&handleMessage);
    d->openLog(data + u"/logs"_s, name,
               options.startTime.isValid() ? options.startTime : QDateTime::currentDateTime());
    d->core->writer.start();
    d->prepareCrashFolder(data + u"/crash_logs"_s);
    if (options.handleCrashes)
        d->handleCrashes(options);
    qDebug("LogManager: Message handler installed");
    qDebug("LogManager: Initialization complete");
}

LogManager::~LogManager()
{
    qInstallMessageHandler(d->previousHandler);
    CrashHandler::holdWhileDying(); // what is still queued is saved by the one that dies
    currentCore = nullptr;
    while (handlersAtWork.load() > 0) {
        CrashHandler::holdWhileDying();
        std::this_thread::yield();
    }
    for (auto rest = d->core->repeats.takeRest(); rest.repeated > 0; rest = d->core->repeats.takeRest())
        tellRepeats(*d->core, rest);
    if (!d->core->writer.stop(EndWaitMs))
        keepAliveForever(d->core);
}

void LogManager::Private::openLog(const QString& folder, const QString& name, const QDateTime& startTime)
{
    makeOwnFolder(folder);
    removeOldest(QDir(folder), name + u"_log_"_s, MostLogs, "LogManager: Removed old log:");
    const QString base = u"%1/%2_log_%3"_s.arg(folder, name, startTime.toString(u"yyyyMMdd_hhmmss"_s));
    QString path = base + u".txt"_s;
    AppendFile::Creation created = core->writer.create(path);
    // Another instance was started in the same second, or an hour ago by a clock that was put back since.
    for (int i = 1; created == AppendFile::Creation::NameTaken && i <= MostNamesakes; ++i) {
        path = u"%1_%2%3.txt"_s.arg(base, QString::number(QCoreApplication::applicationPid()),
                                    i == 1 ? QString() : u"_%1"_s.arg(i));
        created = core->writer.create(path);
    }
    if (created == AppendFile::Creation::Created) {
        logFilePath = path;
        qDebug().noquote() << "LogManager: Log file created:" << path;
        return;
    }
    qWarning().noquote() << "LogManager: Failed to create log file:" << path;
    qDebug().noquote() << "Error: Could not open logFile:" << path;
}

void LogManager::Private::prepareCrashFolder(const QString& folder)
{
    crashFolder = folder;
    const QDir directory(folder);
    if (!makeOwnFolder(folder)) {
        qDebug().noquote() << "LogManager: Failed to create crash log directory:" << folder;
        return;
    }
    removeUnfinished(directory);
    removeOldest(directory, u"crash_"_s, MostCrashReports, "LogManager: Removed old crash log:");
    qDebug().noquote() << "LogManager: Crash log directory ready:" << folder;
    qDebug().noquote() << "LogManager: Existing crash logs:" << countOf(directory);
}

void LogManager::Private::handleCrashes(const Options& options) const
{
    CrashHandler::Options crash;
    crash.folder = crashFolder;
    crash.notice = options.crashNotice;
    crash.reportProgram = options.crashReportProgram;
    crash.flushLog = &saveQueuedLines;
    if (CrashHandler::install(crash))
        qDebug("LogManager: %s crash handler installed", CrashHandler::systemName());
}

QString LogManager::logFilePath() const
{
    return d->logFilePath;
}

QString LogManager::crashFolder() const
{
    return d->crashFolder;
}

bool LogManager::flush(int timeoutMs)
{
    return d->core->writer.waitUntilWritten(d->core->queue.end(), timeoutMs);
}

} // namespace vt
