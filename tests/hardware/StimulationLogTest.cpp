// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationLog.h"
#include "LogCapture.h"
#include "base/ThreadCall.h"
#include "recording/DataFile.h"

#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>
#ifdef Q_OS_UNIX
#include <sys/resource.h>
#endif

namespace vt {
namespace {

const QByteArray Header =
    "EventType,DateTime,StimControlType,StimInterval(min),SleepDuration(sec),nCh,Stim[ch1-N]\n";

class StimulationLogFile : public testing::Test
{
protected:
    [[nodiscard]] QByteArray content() const
    {
        QFile file(m_path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }
    void hold(const QByteArray& bytes)
    {
        QFile file(m_path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }

    QTemporaryDir m_folder;
    const QString m_path = m_folder.filePath(QStringLiteral("r_Stim.csv"));
    test::LogCapture m_messages;
};

TEST_F(StimulationLogFile, BeginsWithTheHeaderOnlyWhenNewAndKeepsWhatIsThere)
{
    struct Case
    {
        const char* name;
        QByteArray before;
        QByteArray after;
    };
    for (const Case& each :
         {Case{"new", "", Header + "row\n"}, Case{"rows", Header + "old\n", Header + "old\nrow\n"},
          Case{"half a row", Header + "ol", Header + "ol\nrow\n"}}) {
        hold(each.before);
        StimulationLog log;
        log.append(QStringLiteral("before opening\n"));
        log.open(m_path, QStringLiteral("OpenLoop"));
        log.append(QStringLiteral("row\n"));
        EXPECT_TRUE(log.isOpen());
        EXPECT_EQ(content(), each.after) << each.name; // at once
        log.close();
        log.append(QStringLiteral("after closing\n"));
        EXPECT_EQ(content(), each.after) << each.name;
    }
    EXPECT_EQ(m_messages.lines().mid(0, 2),
              (QStringList{
                  QStringLiteral("StimulationController: Stim file opened: %1 (mode: OpenLoop)").arg(m_path),
                  QStringLiteral("StimulationController: Stim file closed")}));
}

TEST_F(StimulationLogFile, ThatCannotBeOpenedIsNamedAndCostsNothingElse)
{
    DataFile holder;
    ASSERT_EQ(holder.openForWriting(m_path), FileUtils::OpenResult::Opened);
    StimulationLog log;
    log.open(m_path, {});
    EXPECT_TRUE(m_messages.has(QStringLiteral("StimulationController: stim file is held by another process, "
                                              "stimulation events will not be logged: ") +
                               m_path));
    log.append(QStringLiteral("row\n"));
    log.open(m_folder.path(), {});
    EXPECT_TRUE(m_messages.has(QStringLiteral("StimulationController: Failed to open stim file: ") +
                               m_folder.path()));
    log.append(QStringLiteral("row\n"));
    log.append(QStringLiteral("row\n"));
    log.close();
    EXPECT_TRUE(m_messages.has(
        QStringLiteral("StimulationController: 1 rows could not be written to stim file: ") + m_path));
    EXPECT_TRUE(
        m_messages.has(QStringLiteral("StimulationController: 2 rows could not be written to stim file: ") +
                       m_folder.path()));
    EXPECT_EQ(content(), QByteArray());
    EXPECT_FALSE(m_messages.hasPart(QStringLiteral("closed")));
    EXPECT_EQ(log.losses().rows, 3);
    EXPECT_EQ(log.losses().files, 2);
    log.beginAccount();
    EXPECT_EQ(log.losses().rows + log.losses().files, 0);
}

#ifdef Q_OS_UNIX
TEST_F(StimulationLogFile, KeepsWholeRowsWhenTheDiskIsFullAndSaysSoOnce)
{
    StimulationLog log;
    log.open(m_path, {});
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{static_cast<rlim_t>(Header.size() + 10), before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    for (const char* row : {"fits\n", "too long\n", "too long\n"})
        log.append(QString::fromLatin1(row));
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, handler);
    log.append(QStringLiteral("again\n"));
    log.close();
    EXPECT_EQ(content(), Header + "fits\nagain\n");
    EXPECT_EQ(m_messages.lines().filter(QStringLiteral("Failed to write stim file:")).size(), 1);
    EXPECT_TRUE(m_messages.has(
        QStringLiteral("StimulationController: 2 rows could not be written to stim file: ") + m_path));
}
#endif

TEST_F(StimulationLogFile, IsWrittenOnTheWorkersThreadInOrder)
{
    QThread thread;
    auto worker = std::make_shared<Inbox>();
    worker->moveToThread(&thread);
    {
        StimulationLog log(worker);
        log.open(m_path, {});
        for (int row = 0; row < 3; ++row)
            log.append(QString::number(row) + QLatin1Char('\n'));
        EXPECT_FALSE(QFile::exists(m_path)); // the thread does not run yet: nobody waits for it
        EXPECT_EQ(log.losses().rows, 0);
        log.endAccount();
        EXPECT_EQ(log.losses().rows, 3) << "not answered at the end";
    }
    thread.start();
    EXPECT_TRUE(callOn(*worker, 20000, [] { return true; }));
    EXPECT_EQ(content(), Header + "0\n1\n2\n");
    EXPECT_TRUE(m_messages.has(QStringLiteral("StimulationController: Stim file closed")));
    thread.quit();
    thread.wait();
}

} // namespace
} // namespace vt
