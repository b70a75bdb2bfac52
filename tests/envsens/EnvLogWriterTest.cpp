// SPDX-License-Identifier: GPL-3.0-or-later
#include "envsens/EnvLogWriter.h"
#include "envsens/EnviroSensFileManager.h"

#include "EnvSensHarness.h"
#include "LogCapture.h"

#include <QFile>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int WaitMs = 20000;

/// No file of this process may grow beyond this: writes are taken in part, then refused, as on a full disk.
class FileSizeLimit
{
public:
    FileSizeLimit() : m_handler(std::signal(SIGXFSZ, SIG_IGN)) { getrlimit(RLIMIT_FSIZE, &m_before); }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    void set(rlim_t bytes) const
    {
        rlimit limit = m_before;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }

private:
    rlimit m_before{};
    void (*m_handler)(int);
};

QByteArray content(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "unreadable"_ba;
}

// A full disk takes a header in part, then records; when there is room again the file goes on as if those had
// never been, header first.
TEST(EnvLogWriter, FullDiskLosesWholeRecordsAndCountsThem)
{
    const vt::test::OwnFolders folders;
    const QString path = folders.file("full.Env");
    const vt::test::LogCapture log;
    const FileSizeLimit limit;
    vt::EnvLogWriter writer;
    writer.open(path, true, [](bool) {});
    limit.set(4);
    writer.writeHeading("header");
    writer.writeRecord("first1");
    ASSERT_TRUE(writer.waitForWritten(WaitMs));
    EXPECT_EQ(content(path), "");
    limit.set(20);
    writer.writeRecord("second");
    writer.writeRecord("thirdX");
    writer.writeRecord("fourth");
    ASSERT_TRUE(writer.waitForWritten(WaitMs));
    EXPECT_EQ(content(path), "headersecondthirdX");
    limit.set(1000);
    writer.writeRecord("fifth5");
    writer.close();
    writer.writeRecord("nobody");
    ASSERT_TRUE(writer.waitForWritten(WaitMs));
    EXPECT_EQ(content(path), "headersecondthirdXfifth5");
    const vt::EnvLogCounts counts = writer.counts();
    EXPECT_EQ(counts.recordsGiven, 5U);
    EXPECT_EQ(counts.recordsWritten, 3U);
    EXPECT_EQ(counts.recordsFailed, 2U);
    EXPECT_EQ(counts.failedWrites, 3U);
    qsizetype told = 0;
    for (const QString& line : log.lines())
        told += line.startsWith("Env-sens file: write failed"_L1) ? 1 : 0;
    EXPECT_EQ(told, 1);
}

TEST(EnviroSensFileManager, OpensOnceAndSaysWhyNot)
{
    const vt::test::OwnFolders folders;
    const vt::test::LogCapture log;
    vt::EnviroSensFileManager manager;
    EXPECT_FALSE(manager.openFile({}, true));
    EXPECT_TRUE(log.has(u"No file selected"_s));
    EXPECT_FALSE(manager.writeFileHeader());
    const QString path = folders.file("a.Env");
    ASSERT_TRUE(manager.openFile(path, true));

    vt::EnviroSensFileManager second;
    int answers = 0;
    bool isOpened = true;
    second.openFileAsync(path, true, [&](bool ok) {
        isOpened = ok;
        ++answers;
    });
    EXPECT_TRUE(second.isOpen());
    ASSERT_TRUE(vt::test::waitFor([&] { return answers == 1; }));
    EXPECT_FALSE(isOpened);
    EXPECT_FALSE(second.isOpen());
    EXPECT_TRUE(log.has(u"Could not open env-sens file: "_s + path +
                        u" (in use by another application, or other open error)"_s));
    manager.closeFile();
    EXPECT_TRUE(log.has(u"env-sens log closed"_s));
    ASSERT_TRUE(manager.waitForWritten(WaitMs));
    EXPECT_TRUE(second.openFile(path, true));
}

} // namespace
