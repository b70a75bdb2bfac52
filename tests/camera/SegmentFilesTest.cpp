// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/SegmentFiles.h"
#include "LogCapture.h"
#include "platform/ChildProcessJob.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <gmock/gmock.h>

using namespace vt;
using namespace Qt::StringLiterals;
using testing::ElementsAre;

namespace {

class SegmentFilesTest : public testing::Test
{
protected:
    [[nodiscard]] QString path(const QString& name) const { return folder.filePath(name); }
    void write(const QString& name, const QByteArray& bytes) const
    {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }
    void film(const QString& name, const char* seconds) const
    {
        ASSERT_EQ(QProcess::execute(u"ffmpeg"_s, {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s,
                                                  u"testsrc=size=64x48:rate=10"_s, u"-t"_s,
                                                  QString::fromLatin1(seconds), path(name)}),
                  0);
    }
    [[nodiscard]] std::vector<std::string> table() const
    {
        std::vector<std::string> lines;
        QFile file(path(u"segments.csv"_s));
        if (file.open(QIODevice::ReadOnly))
            for (const QByteArray& line : file.readAll().trimmed().split('\n'))
                lines.push_back(line.toStdString());
        return lines;
    }
    void record(SegmentFiles& files) const
    {
        files.begin(folder.path(), 3, 7200);
        bool done = false;
        files.end(folder.path(), [&] { done = true; });
        ASSERT_TRUE(QTest::qWaitFor([&] { return done; }, 30000));
        EXPECT_TRUE(files.isIdle());
    }

    QTemporaryDir folder;
    SystemTimeSource time;
    ChildProcessJob job;
};

} // namespace

TEST_F(SegmentFilesTest, ListsEveryFileOnceWithWhatCanBeReadOfIt)
{
    qputenv("TZ", "Europe/Berlin");
    test::LogCapture log;
    SegmentFiles files(time, job, u"ffprobe"_s);
    // An earlier recording: a row whose file has been moved away, one for a file that nobody has looked into,
    // a broken line, and a file cut off by the end of the program, without a row.
    write(u"segments.csv"_s, "file,start,length_seconds,readable\n"
                             "3_2025-01-30_14-05-00.mp4,2025-01-30T14:05:00+01:00,900.000,yes\n"
                             "3_2025-01-31_13-00-00.mp4,2025-01-31T13:00:00+01:00,unknown,unknown\n"
                             "broken line\n");
    film(u"3_2025-01-31_13-00-00.mp4"_s, "3");
    write(u"3_2025-07-31_13-30-00.mp4"_s, "ftyp, and no more");
    write(u"3_notes.mp4"_s, "not ours");
    files.begin(folder.path(), 3, 7200);
    // While it is recorded, the file that is written to is not looked into.
    film(u"3_2025-10-26_02-30-00.mp4"_s, "2");
    files.look();
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return log.hasPart(u"3_2025-07-31_13-30-00.mp4 cannot be read"_s); }, 30000));
    EXPECT_EQ(table().size(), 4u) << "the table is written at the end";

    bool done = false;
    files.end(folder.path(), [&] { done = true; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return done; }, 30000));
    const std::vector<std::string> first = table();
    EXPECT_THAT(first, ElementsAre("file,start,length_seconds,readable",
                                   "3_2025-01-30_14-05-00.mp4,2025-01-30T14:05:00+01:00,900.000,yes",
                                   "3_2025-01-31_13-00-00.mp4,2025-01-31T13:00:00+01:00,3.000,yes",
                                   "3_2025-07-31_13-30-00.mp4,2025-07-31T13:30:00+02:00,unknown,no",
                                   "3_2025-10-26_02-30-00.mp4,2025-10-26T02:30:00+02:00,2.000,yes"));
    EXPECT_TRUE(QFile::exists(path(u"3_2025-07-31_13-30-00.mp4"_s))) << "nothing is deleted";

    record(files); // the same again: no row twice
    EXPECT_EQ(table(), first);
}

#ifdef Q_OS_UNIX // a script in ffprobe's place
// The clock was set back, so the file that was being written seemed older than the one before it.
TEST_F(SegmentFilesTest, AFileThatIsStillWrittenIsJudgedAtTheEnd)
{
    test::LogCapture log;
    const QString probed = path(u"probed"_s);
    const QString script = path(u"probe.sh"_s);
    write(u"probe.sh"_s,
          "#!/bin/bash\nffprobe \"$@\"\ncode=$?\necho >> \"$(dirname \"$0\")/probed\"\nexit $code\n");
    ASSERT_TRUE(QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner));
    SegmentFiles files(time, job, script);
    files.begin(folder.path(), 3, 7200);
    film(u"3_2025-06-30_14-00-00.mp4"_s, "2");
    write(u"3_2025-06-30_13-30-00.mp4"_s, "ftyp, and no more yet");
    QFile open(path(u"3_2025-06-30_13-30-00.mp4"_s));
    ASSERT_TRUE(open.open(QIODevice::ReadWrite) &&
                open.setFileTime(QDateTime::currentDateTime().addSecs(-1800), QFile::FileModificationTime));
    open.close();
    files.look();
    ASSERT_TRUE(QTest::qWaitFor([&] { return QFile::exists(probed); }, 30000));
    ASSERT_TRUE(QFile::remove(open.fileName()));
    film(u"3_2025-06-30_13-30-00.mp4"_s, "3"); // it is finished
    bool done = false;
    files.end(folder.path(), [&] { done = true; });
    ASSERT_TRUE(QTest::qWaitFor([&] { return done; }, 30000));
    EXPECT_THAT(table(), ElementsAre("file,start,length_seconds,readable",
                                     "3_2025-06-30_13-30-00.mp4,2025-06-30T13:30:00+02:00,3.000,yes",
                                     "3_2025-06-30_14-00-00.mp4,2025-06-30T14:00:00+02:00,2.000,yes"));
    EXPECT_FALSE(log.hasPart(u"cannot be read"_s));
}
#endif

TEST_F(SegmentFilesTest, WithoutAProbeLengthsStayUnknownUntilThereIsOne)
{
    test::LogCapture log;
    film(u"3_2025-01-31_13-00-00.mp4"_s, "2");
    film(u"3_2025-01-31_14-00-00.mp4"_s, "2");
    {
        SegmentFiles files(time, job, path(u"no-such-program"_s));
        record(files);
        record(files);
    }
    EXPECT_THAT(table(), testing::Contains(testing::HasSubstr(",unknown,unknown")).Times(2));
    EXPECT_EQ(log.lines().filter(u"could not be started"_s).size(), 1) << "told once";
    SegmentFiles files(time, job, u"ffprobe"_s);
    record(files);
    EXPECT_THAT(table(), testing::Contains(testing::HasSubstr(",2.000,yes")).Times(2));
}
