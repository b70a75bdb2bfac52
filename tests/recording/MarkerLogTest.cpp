// SPDX-License-Identifier: GPL-3.0-or-later
// Markers of a caller that must not wait for the disk.
#include "recording/MarkerLog.h"
#include "base/ThreadCall.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>
#include <latch>
#include <sys/resource.h>

namespace vt {
namespace {

const QDateTime When({2026, 3, 2}, {10, 0, 0, 7});
const QByteArray Title("Event,Segment,DateTime,Label\n");
const QByteArray First("1,0,2026-03-02 10:00:00.007,a\n");
constexpr int PlentyMs = 20'000;

class MarkerLogTest : public testing::Test
{
protected:
    MarkerLogTest()
    {
        m_worker->moveToThread(&m_thread);
        m_thread.start();
        log = std::make_unique<MarkerLog>(m_worker, m_answers, [this](int count) { told.push_back(count); });
    }
    void TearDown() override
    {
        log.reset();
        settle();
        m_thread.quit();
        m_thread.wait();
    }
    [[nodiscard]] QString path() const { return m_folder.filePath(QStringLiteral("run_Marks.csv")); }
    [[nodiscard]] QByteArray content() const
    {
        QFile reader(path());
        EXPECT_TRUE(reader.open(QIODevice::ReadOnly));
        return reader.readAll();
    }
    /// The worker is in a write that does not return until the latch is open.
    void hang()
    {
        m_worker->post([this] { disk.wait(); });
    }
    /// Until the worker has done everything, and what it told has arrived.
    void settle()
    {
        EXPECT_TRUE(callOn(*m_worker, PlentyMs, [] { return true; }));
        QCoreApplication::sendPostedEvents(&m_answers);
    }

    std::latch disk{1};
    std::vector<int> told;
    std::unique_ptr<MarkerLog> log;

private:
    QTemporaryDir m_folder;
    QThread m_thread;
    std::shared_ptr<Inbox> m_worker = std::make_shared<Inbox>();
    Inbox m_answers;
};

TEST_F(MarkerLogTest, DiskThatHangsHoldsNoMarkerUp)
{
    ASSERT_TRUE(log->opening()(path()));
    hang();
    EXPECT_EQ(log->add(0, When, QStringLiteral("a")), 1);
    EXPECT_EQ(log->add(2, When, QStringLiteral("b")), 2);
    EXPECT_TRUE(log->setLabel(2, QStringLiteral("c\nd")));
    EXPECT_FALSE(log->setLabel(3, QStringLiteral("nobody")));
    EXPECT_EQ(log->markers().back().label, QStringLiteral("c d"));
    EXPECT_EQ(content(), Title);

    log->closing(0)({}); // the time is over at once
    EXPECT_EQ(log->closed().unwritten, 2);
    EXPECT_TRUE(log->closed().isLate);
    EXPECT_EQ(log->add(2, When, QString()), -1) << "nothing that could only get lost";
    disk.count_down();
    settle();
    EXPECT_EQ(content(), Title + First + "2,2,2026-03-02 10:00:00.007,c d\n") << "late, but all of it";
    EXPECT_TRUE(told.empty());
}

TEST_F(MarkerLogTest, IsClosedInTimeAndRemovedWhenUnused)
{
    ASSERT_TRUE(log->opening()(path()));
    EXPECT_TRUE(log->closed().isLate) << "not known yet";
    log->closing(PlentyMs)(path());
    EXPECT_EQ(log->closed().unwritten, 0);
    EXPECT_FALSE(log->closed().isLate);
    EXPECT_FALSE(QFile::exists(path()));
}

/// Files of this process cannot grow beyond a size, like those on a full disk.
class FullDisk
{
public:
    explicit FullDisk(qsizetype bytes)
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit small{static_cast<rlim_t>(bytes), m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, SIG_DFL);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit m_before{};
};

TEST_F(MarkerLogTest, MarkerThatCannotBeWrittenIsToldKeptAndTriedAgain)
{
    ASSERT_TRUE(log->opening()(path()));
    log->add(0, When, QStringLiteral("a"));
    settle();
    {
        const FullDisk full(Title.size() + First.size() + 5);
        EXPECT_EQ(log->add(0, When, QStringLiteral("b")), 2);
        settle();
        EXPECT_EQ(told, std::vector<int>({1}));
        EXPECT_EQ(content(), Title + First) << "whole rows only, and what was there stays";
        log->add(0, When, QStringLiteral("c"));
        settle();
        EXPECT_EQ(told, std::vector<int>({1, 2}));
    }
    log->add(1, When, QStringLiteral("d"));
    settle();
    EXPECT_EQ(told, std::vector<int>({1, 2, 0}));
    const QByteArray all = Title + First +
                           "2,0,2026-03-02 10:00:00.007,b\n3,0,2026-03-02 10:00:00.007,c\n"
                           "4,1,2026-03-02 10:00:00.007,d\n";
    EXPECT_EQ(content(), all);
    {
        const FullDisk full(all.size() + 5);
        log->add(1, When, QStringLiteral("e"));
        log->closing(PlentyMs)({});
    }
    EXPECT_EQ(log->closed().unwritten, 1);
    EXPECT_EQ(content(), all);
}

} // namespace
} // namespace vt
