// SPDX-License-Identifier: GPL-3.0-or-later
#include "LogCapture.h"
#include "recording/ConfigSummary.h"
#include "recording/MarkerFile.h"
#include "recording/MarkerReader.h"
#include "recording/TimeStampFile.h"
#include "recording/TimeStampReader.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace vt {
namespace {

const QDateTime When({2026, 3, 2}, {10, 0, 0, 7});

class TextFiles : public testing::Test
{
protected:
    [[nodiscard]] QString path(const char* name) const
    {
        return m_folder.filePath(QString::fromLatin1(name));
    }
    [[nodiscard]] static std::string content(const QString& file)
    {
        QFile reader(file);
        EXPECT_TRUE(reader.open(QIODevice::ReadOnly));
        return reader.readAll().toStdString();
    }
    static void write(const QString& file, const QByteArray& bytes)
    {
        QFile writer(file);
        EXPECT_TRUE(writer.open(QIODevice::WriteOnly) && writer.write(bytes) == bytes.size());
    }

private:
    QTemporaryDir m_folder;
};

TEST_F(TextFiles, MarkersAreRowsOnDiskAtOnce)
{
    const QString file = path("run_Marks.csv");
    MarkerFile markers;
    ASSERT_TRUE(markers.open(file));
    EXPECT_EQ(content(file), "Event,Segment,DateTime,Label\n");
    EXPECT_EQ(markers.addMarker(0, When, QStringLiteral("plain")), 1);
    EXPECT_EQ(markers.addMarker(0, When, QStringLiteral("a, \"b\"")), 2);
    EXPECT_EQ(markers.addMarker(3, When.addMSecs(1), QStringLiteral("two\r\nlines")), 3);
    EXPECT_EQ(markers.addMarker(3, When, QStringLiteral("%1 мышь")), 4);
    EXPECT_EQ(content(file), "Event,Segment,DateTime,Label\n"
                             "1,0,2026-03-02 10:00:00.007,plain\n"
                             "2,0,2026-03-02 10:00:00.007,\"a, \"\"b\"\"\"\n"
                             "3,3,2026-03-02 10:00:00.008,two  lines\n"
                             "4,3,2026-03-02 10:00:00.007,%1 мышь\n");

    ASSERT_TRUE(markers.setLabel(2, QStringLiteral("x\ny")));
    ASSERT_TRUE(markers.setLabel(4, QStringLiteral("\"")));
    EXPECT_FALSE(markers.setLabel(5, QStringLiteral("nobody")));
    EXPECT_EQ(markers.addMarker(4, When, QString()), 5);
    EXPECT_EQ(content(file), "Event,Segment,DateTime,Label\n"
                             "1,0,2026-03-02 10:00:00.007,plain\n"
                             "2,0,2026-03-02 10:00:00.007,x y\n"
                             "3,3,2026-03-02 10:00:00.008,two  lines\n"
                             "4,3,2026-03-02 10:00:00.007,\"\"\"\"\n"
                             "5,4,2026-03-02 10:00:00.007,\n");

    const auto read = readMarkers(file);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->unreadableRows, 0);
    ASSERT_EQ(read->markers.size(), markers.markers().size());
    for (std::size_t i = 0; i < read->markers.size(); ++i) {
        EXPECT_EQ(read->markers[i].event, markers.markers()[i].event);
        EXPECT_EQ(read->markers[i].segment, markers.markers()[i].segment);
        EXPECT_EQ(read->markers[i].when, markers.markers()[i].when);
        EXPECT_EQ(read->markers[i].label, markers.markers()[i].label);
    }
}

TEST_F(TextFiles, MarkersNeedAnOpenFile)
{
    test::LogCapture log;
    MarkerFile markers;
    EXPECT_EQ(markers.addMarker(0, When, QStringLiteral("lost")), -1);
    EXPECT_FALSE(markers.setLabel(1, QStringLiteral("lost")));
    EXPECT_EQ(log.lines(), QStringList({QStringLiteral("MarkerFile: addMarker with no open file"),
                                        QStringLiteral("MarkerFile: setLabel with no open file")}));
    MarkerFile first;
    ASSERT_TRUE(first.open(path("run_Marks.csv")));
    EXPECT_FALSE(markers.open(path("run_Marks.csv"))); // another writer has it
    EXPECT_FALSE(markers.isOpen());
    EXPECT_EQ(first.addMarker(0, When, QStringLiteral("kept")), 1);
}

TEST_F(TextFiles, MarkerReaderSkipsDamagedRows)
{
    const QByteArray title("Event,Segment,DateTime,Label\n");
    const QByteArray good("1,0,2026-03-02 10:00:00.007,a\n");
    write(path("m"),
          title + good + "2,x,2026-03-02 10:00:00.007,b\n3,0,yesterday,c\n4,0\n" + good + "5,0,2026");
    const auto read = readMarkers(path("m"));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->markers.size(), 2U);
    EXPECT_EQ(read->unreadableRows, 4);
    write(path("m"), good);
    EXPECT_FALSE(readMarkers(path("m")));
    EXPECT_FALSE(readMarkers(path("absent")));

    const std::vector<QStringList> rows =
        parseCsv(QStringLiteral("a,\"b,\"\"c\"\"\nd\",\r\n,\n\"\"\n\"open, and so on\n"));
    ASSERT_EQ(rows.size(), 4U);
    EXPECT_EQ(rows[0], QStringList({QStringLiteral("a"), QStringLiteral("b,\"c\"\nd"), QString()}));
    EXPECT_EQ(rows[1], QStringList({QString(), QString()}));
    EXPECT_EQ(rows[2], QStringList({QString()}));
    EXPECT_EQ(rows[3], QStringList({QStringLiteral("open, and so on\n")}));
}

TEST_F(TextFiles, TimeStampsHaveSixSignificantDigits)
{
    const QString file = path("run_daq.Tstamp");
    TimeStampFile stamps;
    ASSERT_TRUE(stamps.open(file));
    stamps.setStartTime(When);
    // The texts are those of printf("%g").
    const std::pair<qint64, const char*> cases[] = {
        {0, "0"},        {1, "0.001"},          {33, "0.033"},         {2000, "2"},
        {2034, "2.034"}, {1234567, "1234.57"},  {99999900, "99999.9"}, {99999960, "100000"},
        {-250, "-0.25"}, {999999499, "999999"}, {999999500, "1e+06"},  {123456789000, "1.23457e+08"}};
    std::string wanted;
    uint count = 4294967295U;
    for (const auto& [ms, text] : cases) {
        stamps.writeStamp(When.addMSecs(ms), count);
        wanted += std::string(text) + "," + std::to_string(count) + "\n";
        count -= 240;
    }
    EXPECT_EQ(content(file), wanted);
    EXPECT_EQ(stamps.failedLines(), 0U);
    stamps.setStartTime(When.addSecs(100)); // next segment
    stamps.writeStamp(When.addSecs(102), 240);
    EXPECT_EQ(content(file), wanted + "2,240\n");
    stamps.close();
    test::LogCapture log;
    stamps.writeStamp(When, 1);
    EXPECT_EQ(stamps.failedLines(), 1U);
    EXPECT_EQ(log.lines().size(), 1);
}

TEST_F(TextFiles, TimeStampReaderIgnoresAnUnfinishedLine)
{
    const QString file = path("t");
    write(file, "0.033,4\nrubbish\n2.034,244\n1.2e+06,144000000\n4.0,4");
    const auto table = readTimeStamps(file);
    ASSERT_TRUE(table);
    EXPECT_EQ(table->stamps, (std::vector<TimeStamp>{{0.033, 4}, {2.034, 244}, {1.2e6, 144000000}}));
    EXPECT_EQ(table->unreadableLines, 1);
    EXPECT_FALSE(readTimeStamps(path("absent")));
}

ConfigSummary summaryOfSixteen()
{
    ConfigSummary summary;
    summary.basePath = QStringLiteral("/data/run, 2");
    summary.channelCount = 16;
    summary.deviceSummary = QStringLiteral("Unit, 16 channels");
    summary.deviceName = QStringLiteral("Dev1");
    summary.deviceDescription = QStringLiteral("bench");
    summary.lightOnset = QTime(7, 0, 5);
    summary.darkOnset = QTime(19, 30, 0);
    for (int i = 1; i <= 16; ++i)
        summary.animalIds << QStringLiteral("m%1").arg(i);
    summary.animalIds[1] = QStringLiteral("a,\n\"b\"");
    summary.activationMode = {QStringLiteral("OpenLoop"), QStringLiteral("1.5")};
    summary.randomizationRange = {43, 3613.5, 0, 10.03, 0.5, 127.5};
    summary.schedule = {{QTime(22, 0), QTime(6, 5), {QStringLiteral("monday"), QStringLiteral("sunday")}},
                        {QTime(9, 0), QTime(10, 0), {QStringLiteral("friday")}}};
    summary.stimCages[2] = true;
    summary.cageParameters.resize(3);
    summary.cageParameters[0] = {true, 1443.0, 2.0, 0.55};
    summary.cageParameters[1] = {true, std::nullopt, 1.005, std::nullopt};
    return summary;
}

TEST_F(TextFiles, ConfigurationSummary)
{
    const QString file = path("run_cnfg.csv");
    test::LogCapture log;
    ASSERT_TRUE(writeConfigSummary(file, summaryOfSixteen()));
    EXPECT_EQ(content(file), "Data File:,\"/data/run, 2\"\n"
                             "Number of Recording Channels:,16\n"
                             "Device Information:,\"Unit, 16 channels\",Dev1,bench\n"
                             "Light Dark Times:,7,0,5,19,30,0\n"
                             "Animal IDs:,m1,\"a, \"\"b\"\"\",m3,m4,m5,m6,m7,m8\n"
                             "Activation Mode:,OpenLoop,1.5\n"
                             "Randomization Range:,43,3613.5,0,10.03,0.5,127.5\n"
                             "Activation Schedule Slot 1:,22:00,06:05,monday sunday\n"
                             "Activation Schedule Slot 2:,09:00,10:00,friday\n"
                             "Stim Cages:,0,0,1,0,0,0,0,0\n"
                             "Stimulation Parameters,,Frequency,Amplitude (V),Duration (s)\n"
                             ",Cage 1,1443,2.00,0.6\n"
                             ",Cage 2,Random,1.00,Random\n"
                             ",Cage 3,-,-,-\n");
    ConfigSummary two = summaryOfSixteen();
    two.channelCount = 2;
    two.schedule.clear();
    const std::string text = two.toCsv().toStdString();
    EXPECT_NE(text.find("\nAnimal IDs:,m1,\"a, \"\"b\"\"\",,,,,,\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\nActivation Schedule:,Always Active\n"), std::string::npos) << text;

    EXPECT_FALSE(writeConfigSummary(path("no/such/folder"), two));
    EXPECT_EQ(log.lines().front(), QStringLiteral("MainWindow::writeConfigFile - Written: ") + file);
    EXPECT_EQ(log.lines().back(),
              QStringLiteral("MainWindow::writeConfigFile - Failed to open: ") + path("no/such/folder"));
}

} // namespace
} // namespace vt
