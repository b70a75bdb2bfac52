// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LogManager.h"

#include "platform/AppendFile.h"
#include "session/LogLine.h"
#include "session/LogQueue.h"
#include "session/LogWriter.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace vt {
namespace {

using namespace Qt::StringLiterals;

constexpr int Patience = 10'000; ///< ms; for what happens at once

QString content(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QStringList linesOf(const QString& path)
{
    return content(path).split(u'\n', Qt::SkipEmptyParts);
}

/// What follows "file:line - ".
QStringList messagesOf(const QString& path)
{
    QStringList messages;
    for (const QString& line : linesOf(path))
        messages << line.section(u" - "_s, 1);
    return messages;
}

void touch(const QString& path)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
}

/// A log in a folder of the test's own; its debugger output is the test's.
class LogFolder : public testing::Test
{
protected:
    [[nodiscard]] LogManager::Options options() const
    {
        LogManager::Options chosen;
        chosen.dataFolder = m_folder.path();
        chosen.applicationName = u"Mouse"_s;
        chosen.startTime = QDateTime(QDate(2026, 3, 9), QTime(7, 5, 1));
        chosen.handleCrashes = false;
        return chosen;
    }
    [[nodiscard]] QString path(const QString& name) const { return m_folder.filePath(name); }
    [[nodiscard]] QStringList names(const QString& folder) const
    {
        return QDir(path(folder)).entryList(QDir::Files, QDir::Name);
    }

    QTemporaryDir m_folder;
};

TEST_F(LogFolder, KeepsNineOldLogsAndFourOldReports)
{
    ASSERT_TRUE(QDir(m_folder.path()).mkpath(u"logs"_s) && QDir(m_folder.path()).mkpath(u"crash_logs"_s));
    // Made in an order that is not that of their times.
    for (const int day : {7, 2, 12, 1, 3, 11, 4, 5, 6, 8, 9, 10})
        touch(path(u"logs/Mouse_log_202601%1_120000.txt"_s.arg(day, 2, 10, QChar(u'0'))));
    touch(path(u"logs/Rat_log_20250101_120000.txt"_s)); // another program's
    for (const int day : {5, 1, 4, 2, 3})
        touch(path(u"crash_logs/crash_202601%1_120000.txt"_s.arg(day, 2, 10, QChar(u'0'))));
    // What the naming of functions leaves when it is killed, and what it is working on.
    for (const auto& [name, ageSeconds] : {std::pair(u"crash_20260101_120000.txt.aBcDeF"_s, 3600),
                                           std::pair(u"crash_20260105_120000.txt.gHiJkL"_s, 1)}) {
        touch(path(u"crash_logs/"_s + name));
        QFile file(path(u"crash_logs/"_s + name));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTime().addSecs(-ageSeconds),
                                     QFileDevice::FileModificationTime));
    }
    QString file;
    {
        const LogManager log(options());
        file = log.logFilePath();
    }
    QStringList expected;
    for (int day = 4; day <= 12; ++day)
        expected << u"Mouse_log_202601%1_120000.txt"_s.arg(day, 2, 10, QChar(u'0'));
    expected << u"Mouse_log_20260309_070501.txt"_s << u"Rat_log_20250101_120000.txt"_s;
    EXPECT_EQ(names(u"logs"_s), expected);
    EXPECT_EQ(names(u"crash_logs"_s),
              (QStringList{u"crash_20260102_120000.txt"_s, u"crash_20260103_120000.txt"_s,
                           u"crash_20260104_120000.txt"_s, u"crash_20260105_120000.txt"_s,
                           u"crash_20260105_120000.txt.gHiJkL"_s}));
    EXPECT_EQ(messagesOf(file), (QStringList{
                                    u"LogManager: Removed old log: Mouse_log_20260101_120000.txt"_s,
                                    u"LogManager: Removed old log: Mouse_log_20260102_120000.txt"_s,
                                    u"LogManager: Removed old log: Mouse_log_20260103_120000.txt"_s,
                                    u"LogManager: Log file created: "_s + file,
                                    u"LogManager: Removed old crash log: crash_20260101_120000.txt"_s,
                                    u"LogManager: Crash log directory ready: "_s + path(u"crash_logs"_s),
                                    u"LogManager: Existing crash logs: 4"_s,
                                    u"LogManager: Message handler installed"_s,
                                    u"LogManager: Initialization complete"_s,
                                }));
}

TEST_F(LogFolder, LeavesTheLogsOfOtherRunningInstancesAlone)
{
    ASSERT_TRUE(QDir(m_folder.path()).mkpath(u"logs"_s));
    const QString oldest = u"Mouse_log_20250101_120000.txt"_s;
    const QString namesake = u"Mouse_log_20260309_070501.txt"_s; // started in the same second
    AppendFile running;
    ASSERT_EQ(running.create(path(u"logs/"_s + oldest)), AppendFile::Creation::Created);
    QStringList expected{oldest};
    for (int day = 1; day <= 10; ++day) {
        expected << u"Mouse_log_202601%1_120000.txt"_s.arg(day, 2, 10, QChar(u'0'));
        touch(path(u"logs/"_s + expected.back()));
    }
    touch(path(u"logs/"_s + namesake));
    expected << namesake << u"Mouse_log_20260309_070501_%1.txt"_s.arg(QCoreApplication::applicationPid());
    expected.remove(1, 2); // nine are left that nobody writes
    const LogManager log(options());
    EXPECT_EQ(names(u"logs"_s), expected);
    EXPECT_EQ(log.logFilePath(), path(u"logs/"_s + expected.back()));
    EXPECT_EQ(content(path(u"logs/"_s + namesake)), QString());
}

TEST_F(LogFolder, TakesWholeLinesInTheOrderOfEachThread)
{
    constexpr int threads = 8;
    constexpr int linesEach = 2000;
    QString file;
    const int errorOutput = dup(STDERR_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO);
    {
        LogManager log(options());
        file = log.logFilePath();
        std::vector<std::thread> running;
        for (int thread = 0; thread < threads; ++thread)
            running.emplace_back([thread] {
                for (int i = 0; i < linesEach; ++i)
                    qInfo("thread %d line %d %s", thread, i,
                          std::string(static_cast<std::size_t>(i % 90), '.').c_str());
            });
        for (std::thread& thread : running)
            thread.join();
        EXPECT_TRUE(log.flush(Patience));
        EXPECT_GE(linesOf(file).size(), threads * linesEach); // before the end
    }
    dup2(errorOutput, STDERR_FILENO);
    close(errorOutput);
    close(nowhere);
    std::array<int, threads> next{};
    static const QRegularExpression shape(
        u"^\\[\\d{4}/\\d\\d/\\d\\d \\d{1,2}:\\d\\d:\\d\\d\\.\\d{3} UTC[+-]\\d{4} I\\] "
        "tests/session/LogManagerTest\\.cpp:\\d+ - thread (\\d) line (\\d+) (\\.*)$"_s);
    for (const QString& line : linesOf(file)) {
        const auto match = shape.match(line);
        if (!match.hasMatch()) {
            EXPECT_TRUE(line.contains(u" D] "_s)) << line.toStdString();
            continue;
        }
        int& expected = next.at(match.captured(1).toUInt());
        ASSERT_EQ(match.captured(2).toInt(), expected);
        ASSERT_EQ(match.captured(3).size(), expected % 90);
        ++expected;
    }
    for (const int count : next)
        EXPECT_EQ(count, linesEach);
}

TEST_F(LogFolder, GoesOnWithoutALogWhenAFileStandsInTheFoldersPlace)
{
    touch(path(u"logs"_s));
    LogManager log(options());
    EXPECT_EQ(log.logFilePath(), QString());
    qCritical("nobody waits for this");
    EXPECT_FALSE(log.flush(Patience));
    EXPECT_TRUE(QDir(log.crashFolder()).exists());
}

TEST_F(LogFolder, MakesARemovedFolderAnew)
{
    LogManager log(options());
    ASSERT_TRUE(log.flush(Patience));
    ASSERT_TRUE(QDir(path(u"logs"_s)).removeRecursively());
    qDebug("after the removal");
    EXPECT_TRUE(log.flush(Patience));
    EXPECT_EQ(messagesOf(log.logFilePath()), QStringList{u"after the removal"_s});
}

TEST_F(LogFolder, GivesMessagesBackAtItsEnd)
{
    static QStringList seen;
    seen.clear();
    const QtMessageHandler before = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext&, const QString& text) { seen << text; });
    {
        const LogManager log(options());
        qDebug("into the log");
    }
    qDebug("back");
    qInstallMessageHandler(before);
    EXPECT_EQ(seen, QStringList{u"back"_s});
}

TEST_F(LogFolder, CountsWhatRepeats)
{
    QString file;
    {
        const LogManager log(options());
        file = log.logFilePath();
        const auto repeat = [](int times) {
            for (int i = 0; i < times; ++i)
                qWarning("again");
        };
        repeat(100);
        qDebug("else");
        repeat(20);
        qDebug("else");
        repeat(23);
    }
    const QStringList messages = messagesOf(file);
    EXPECT_EQ(messages.count(u"again"_s), 20);
    EXPECT_EQ(
        messages.filter(u"LogManager: Repeated"_s),
        (QStringList{u"LogManager: Repeated 80 times: again"_s, u"LogManager: Repeated 20 times: again"_s,
                     u"LogManager: Repeated 23 times: again"_s}));
    EXPECT_EQ(messages.indexOf(u"else"_s), messages.indexOf(u"LogManager: Repeated 80 times: again"_s) + 1);
}

TEST_F(LogFolder, IsNobodyElsesToRead)
{
    const LogManager log(options());
    const auto others = QFile::ReadGroup | QFile::ReadOther | QFile::ExeGroup | QFile::ExeOther;
    for (const QString& made : {log.logFilePath(), path(u"logs"_s), path(u"crash_logs"_s)})
        EXPECT_FALSE(QFile::permissions(made) & others) << made.toStdString();
}

/// A writer whose debugger output is the write end of a pipe.
class Writer : public LogFolder
{
protected:
    void SetUp() override
    {
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe(ends.data()), 0);
        m_readEnd = ends[0];
        m_writeEnd = ends[1];
    }
    void TearDown() override
    {
        close(m_readEnd);
        close(m_writeEnd);
    }
    /// All that comes until the text does.
    [[nodiscard]] std::string readUntil(const std::string& text) const
    {
        std::string all;
        std::array<char, 4096> piece{};
        while (all.find(text) == std::string::npos) {
            const ssize_t count = read(m_readEnd, piece.data(), piece.size());
            if (count <= 0)
                return all + "(end)";
            all.append(piece.data(), static_cast<std::size_t>(count));
        }
        return all;
    }

    int m_readEnd = -1;
    int m_writeEnd = -1;
};

TEST_F(Writer, ShowsLinesOfAFullDiskAndWarnsOnce)
{
    LogQueue queue;
    LogWriter writer(queue, DebuggerOutput(m_writeEnd));
    ASSERT_TRUE(writer.open(u"/dev/full"_s));
    writer.start();
    EXPECT_FALSE(writer.waitUntilWritten(queue.push("first\n"), Patience));
    EXPECT_FALSE(writer.waitUntilWritten(queue.push("second\n"), Patience));
    const std::string shown = readUntil("second\n");
    EXPECT_TRUE(shown.starts_with("first\n"));
    const std::size_t warning = shown.find("LogManager: Failed to write log file: /dev/full\n");
    EXPECT_NE(warning, std::string::npos) << shown;
    EXPECT_EQ(shown.find("Failed", warning + 20), std::string::npos) << shown;
    EXPECT_TRUE(writer.stop(Patience));
}

TEST_F(Writer, IsNotHeldByAnOutputThatNobodyReads)
{
    LogQueue queue;
    LogWriter writer(queue, DebuggerOutput(m_writeEnd));
    ASSERT_TRUE(writer.open(path(u"log"_s)));
    writer.start();
    const std::string line(1000, 'x');
    for (int i = 0; i < 1000; ++i) // sixteen times what a pipe holds
        queue.push(line + '\n');
    EXPECT_TRUE(writer.waitUntilWritten(queue.push("last\n"), Patience));
    EXPECT_EQ(content(path(u"log"_s)).count(u'\n'), 1001);
    // Nothing is missing for a reader who comes late.
    EXPECT_EQ(readUntil("last\n").size(), 1000 * 1001 + 5);
    EXPECT_TRUE(writer.stop(Patience));
}

TEST_F(Writer, IsNotHeldByATerminalThatNobodyReads)
{
    // A terminal says that it has room when there is room for a byte, and a write of more then waits.
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_TRUE(grantpt(master) == 0 && unlockpt(master) == 0);
    const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    LogQueue queue(1 << 18);
    LogWriter writer(queue, DebuggerOutput(terminal));
    ASSERT_TRUE(writer.open(path(u"log"_s)));
    writer.start();
    for (int i = 0; i < 100; ++i)
        EXPECT_TRUE(writer.waitUntilWritten(queue.push(std::string(5001, 'x') + '\n'), Patience));
    EXPECT_EQ(content(path(u"log"_s)).count(u'\n'), 100);
    const auto begin = std::chrono::steady_clock::now();
    std::ignore = writer.stop(50); // nor does the end wait for it
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(Patience));
    std::thread reader([master] {
        std::array<char, 4096> piece{};
        while (read(master, piece.data(), piece.size()) > 0) {
        }
    });
    EXPECT_TRUE(writer.stop(Patience));
    close(terminal);
    reader.join();
    close(master);
}

TEST_F(Writer, KeepsToItsLimitsAndSaysSo)
{
    LogQueue queue;
    LogWriter writer(queue, DebuggerOutput(open("/dev/null", O_WRONLY | O_CLOEXEC)), {1000, 500});
    ASSERT_TRUE(writer.open(path(u"log"_s)));
    writer.start();
    for (const QtMsgType type : {QtDebugMsg, QtWarningMsg, QtInfoMsg, QtCriticalMsg})
        for (int i = 0; i < 30; ++i)
            queue.push(logLineAt(0, 0, type, "f", 1, std::string(56, '.'))); // 99 bytes
    EXPECT_TRUE(writer.stop(Patience));
    const QStringList lines = linesOf(path(u"log"_s));
    EXPECT_EQ(lines.filter(u" D] "_s).size(), 10);
    EXPECT_TRUE(lines.value(10).contains(u"Log file has reached its limit"_s));
    EXPECT_EQ(lines.filter(u" W] f"_s).size(), 3); // the notice has its place among them
    EXPECT_EQ(lines.size(), 14);
}

TEST_F(Writer, HoldsNobodyWhenTheDiskHangs)
{
    const QByteArray name = QFile::encodeName(path(u"log"_s));
    ASSERT_EQ(mkfifo(name.constData(), 0600), 0);
    const int disk = open(name.constData(), O_RDWR | O_CLOEXEC);
    LogQueue queue(1 << 18);
    LogWriter writer(queue, DebuggerOutput(open("/dev/null", O_WRONLY | O_CLOEXEC)));
    ASSERT_TRUE(writer.open(path(u"log"_s)));
    writer.start();
    constexpr int lines = 400; // more than disk and queue hold
    for (int i = 0; i < lines; ++i)
        queue.push(std::string(999, 'x') + '\n');
    EXPECT_FALSE(writer.waitUntilWritten(queue.end(), 50));

    // The disk comes back: what was queued is written, and what was not is counted.
    std::string all;
    std::array<char, 4096> piece{};
    const auto readUntil = [&](const std::string& text) {
        while (all.find(text) == std::string::npos)
            if (const ssize_t count = read(disk, piece.data(), piece.size()); count > 0)
                all.append(piece.data(), static_cast<std::size_t>(count));
    };
    std::thread reader([&] { readUntil("last\n"); });
    EXPECT_TRUE(writer.waitUntilWritten(queue.end(), Patience));
    queue.push("last\n");
    reader.join();
    // One notice or several, as the writer came to run between the pushes.
    const std::string text = "LogManager: Lines lost: ";
    int notices = 0;
    int lost = 0;
    for (std::size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + 1), ++notices)
        lost += std::stoi(all.substr(at + text.size()));
    EXPECT_GT(lost, 0);
    EXPECT_EQ(lost + std::count(all.begin(), all.end(), '\n'), lines + 1 + notices);

    // It hangs again: the end does not wait for it for longer than it is told to.
    queue.push(std::string(100'000, 'x') + '\n');
    EXPECT_FALSE(writer.stop(50));
    all.clear();
    reader = std::thread([&] { readUntil("x\n"); });
    EXPECT_TRUE(writer.stop(Patience));
    reader.join();
    close(disk);
}

TEST_F(Writer, SurvivesTheEndOfItsReader)
{
    LogQueue queue;
    LogWriter writer(queue, DebuggerOutput(m_writeEnd));
    ASSERT_TRUE(writer.open(path(u"log"_s)));
    close(std::exchange(m_readEnd, -1)); // a write into that pipe is answered with SIGPIPE
    writer.start();
    EXPECT_TRUE(writer.waitUntilWritten(queue.push("last\n"), Patience));
    EXPECT_TRUE(writer.stop(Patience));
}

TEST_F(Writer, TellsHowManyLinesAnOutputWithoutReaderHasMissed)
{
    LogQueue queue(1 << 18);
    LogWriter writer(queue, DebuggerOutput(m_writeEnd));
    ASSERT_TRUE(writer.open(path(u"log"_s)));
    writer.start();
    for (int i = 0; i < 400; ++i)
        ASSERT_TRUE(writer.waitUntilWritten(queue.push(std::string(1000, 'x') + '\n'), Patience));
    EXPECT_TRUE(writer.waitUntilWritten(queue.push("last\n"), Patience));
    const std::string shown = readUntil("last\n");
    long missed = 0;
    auto whole = std::count(shown.begin(), shown.end(), '\n') - 1; // "last"
    constexpr std::string_view notice = "LogManager: Lines not shown: ";
    for (std::size_t at = shown.find(notice); at != shown.npos; at = shown.find(notice, at + 1)) {
        missed += std::stoi(shown.substr(at + notice.size()));
        --whole;
    }
    EXPECT_GT(missed, 0);
    EXPECT_EQ(missed + whole, 400);
    EXPECT_EQ(content(path(u"log"_s)).count(u'\n'), 401);
    EXPECT_TRUE(writer.stop(Patience));
}

TEST_F(Writer, CutsAHalfWrittenLineOffAndCountsWhatItHadToGiveUp)
{
    // A file may not grow beyond a hundred lines and a half, as on a full disk, until the limit is lifted.
    const rlim_t limit = 100'500;
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto ignored = signal(SIGXFSZ, SIG_IGN);
    const rlimit full{limit, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);

    LogQueue queue(1 << 18);
    LogWriter writer(queue, DebuggerOutput(open("/dev/null", O_WRONLY | O_CLOEXEC)));
    ASSERT_TRUE(writer.open(path(u"log"_s)));
    writer.start();
    const std::string rest(992, '.');
    constexpr int lines = 600;
    for (int i = 0; i < lines; ++i) {
        std::array<char, 16> number{};
        std::snprintf(number.data(), number.size(), "%07d", i);
        std::ignore = writer.waitUntilWritten(queue.push(number.data() + rest + '\n'), Patience);
    }
    // What fits is whole: the notice and the warning may go where a line did not.
    EXPECT_GE(content(path(u"log"_s)).size(), 100 * 1000);
    EXPECT_TRUE(content(path(u"log"_s)).endsWith(u'\n'));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    signal(SIGXFSZ, ignored);
    EXPECT_TRUE(writer.waitUntilWritten(queue.push("room again\n"), Patience));
    EXPECT_TRUE(writer.stop(Patience));

    int whole = 0;
    int lost = 0;
    for (const QString& line : linesOf(path(u"log"_s))) {
        whole += line.size() == 999 && line.endsWith(QString::fromStdString(rest));
        if (const qsizetype place = line.indexOf(u"Lines lost: "_s); place >= 0)
            lost += line.mid(place + 12).toInt();
    }
    EXPECT_GT(lost, 0);
    // The writer's own warning was either kept or given up with them.
    const int warnings = static_cast<int>(content(path(u"log"_s)).count(u"Failed to write"_s));
    EXPECT_EQ(whole + lost, lines + 1 - warnings);
    EXPECT_EQ(linesOf(path(u"log"_s)).last(), u"room again"_s);
}

TEST_F(Writer, SavesTheQueueOfADyingProgram)
{
    LogQueue queue(1024);
    LogWriter writer(queue, DebuggerOutput(m_writeEnd));
    ASSERT_TRUE(writer.open(path(u"log"_s)));
    writer.start();
    EXPECT_TRUE(writer.waitUntilWritten(queue.push(std::string(600, '-') + '\n'), Patience));
    EXPECT_TRUE(writer.stop(Patience)); // from here on there is no thread that writes
    queue.push("one\n");
    queue.push(std::string(300, '+') + '\n'); // over the ring's end
    writer.saveWhileDying();
    EXPECT_EQ(content(path(u"log"_s)), QString(600, u'-') + u"\none\n"_s + QString(300, u'+') + u'\n');
}

} // namespace
} // namespace vt
