// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/VellumtideFile.h"
#include "LogCapture.h"
#include "recording/FeatureFileReader.h"
#include "recording/FileUtils.h"
#include "recording/RawFileReader.h"

#include <QDir>
#include <QTemporaryDir>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace vt {
namespace {

TEST(EncodeSample, TruncatesAndWraps)
{
    constexpr double Lsb = 5.0 / 32768.0;
    constexpr double Infinity = std::numeric_limits<double>::infinity();
    struct Case
    {
        double volts;
        double fullScale;
        int sample;
    };
    // Beyond one turn: int(volts * 32768 / fullScale) modulo 65536, in exact integers.
    const Case cases[] = {{0.0, 5.0, 0},
                          {-0.0, 5.0, 0},
                          {5.0, 5.0, -32768},
                          {-5.0, 5.0, -32768},
                          {2.5, 5.0, 16384},
                          {-2.5, 5.0, -16384},
                          {0.9 * Lsb, 5.0, 0},
                          {-0.9 * Lsb, 5.0, 0},
                          {1.9 * Lsb, 5.0, 1},
                          {-1.9 * Lsb, 5.0, -1},
                          {5.0 - Lsb, 5.0, 32767},
                          {5.0 + Lsb, 5.0, -32767},
                          {-5.0 - Lsb, 5.0, 32767},
                          {10.0, 5.0, 0},
                          {7.5, 5.0, -16384},
                          {3.3, 3.3, -32768},
                          {1.65, 3.3, 16384},
                          {327680.0, 5.0, 0},
                          {123456.789, 3.3, -27913},
                          {-98765432.1, 3.3, -26810},
                          {1e9 + 0.25, 3.3, -29293},
                          {1e300, 5.0, 0},
                          {1e306, 5.0, 0},
                          {NAN, 5.0, 0},
                          {Infinity, 5.0, 0},
                          {-Infinity, 5.0, 0}};
    for (const Case& each : cases)
        EXPECT_EQ(encodeSample(each.volts, each.fullScale), each.sample) << each.volts << " V";
}

class Files : public testing::Test
{
protected:
    [[nodiscard]] QString path(const char* name) const
    {
        return m_folder.filePath(QString::fromLatin1(name));
    }
    [[nodiscard]] static QByteArray content(const QString& file)
    {
        QFile reader(file);
        EXPECT_TRUE(reader.open(QIODevice::ReadOnly));
        return reader.readAll();
    }
    [[nodiscard]] static FileHeader header(int channels)
    {
        FileHeader all;
        all.softwareVersion = softwareVersionText();
        all.channelCount = channels;
        all.featuresPerEpoch = 6;
        all.animalType = 2;
        all.start = QDateTime({2026, 3, 2}, {10, 0, 0});
        all.lightOnset = QTime(7, 0);
        all.darkOnset = QTime(19, 0);
        for (int i = 0; i < channels; ++i)
            all.channelLabels << QString::number(i);
        return all;
    }
    static void append(const QString& file, const QByteArray& bytes)
    {
        QFile writer(file);
        EXPECT_TRUE(writer.open(QIODevice::Append) && writer.write(bytes) == bytes.size());
    }

private:
    QTemporaryDir m_folder;
};

TEST_F(Files, SamplesAreInterleavedBigEndian)
{
    VellumtideFile file;
    ASSERT_EQ(file.openFile(path("a.bin"), true), VellumtideFile::Opened);
    EXPECT_EQ(file.fileName(), path("a.bin"));
    file.header() = header(2);
    // Channel 0: 258, 1, -1 steps of full scale / 32768; channel 1: full scale, 2, -2.
    const double step = 5.0 / 32768.0;
    const double values[] = {258 * step, step, -step, 5.0, 2 * step, -2 * step};
    EXPECT_TRUE(file.writeSamples(values, 3));
    EXPECT_TRUE(file.writeSamples(values, 3, true)); // suppressed
    EXPECT_FALSE(file.writeSamples(values, 65));
    EXPECT_EQ(content(path("a.bin")).toHex(), QByteArray("01028000"
                                                         "00010002"
                                                         "fffffffe"));
    file.header().channelCount = 17;
    EXPECT_FALSE(file.writeSamples(values, 1));
    file.close();
    EXPECT_EQ(file.fileName(), QStringLiteral("NONE"));
    EXPECT_FALSE(file.writeValue(1.0));
    EXPECT_EQ(file.lastError(), QStringLiteral("No File Open"));
}

TEST_F(Files, ValuesAreBigEndianDoubles)
{
    VellumtideFile file;
    ASSERT_EQ(file.openFile(path("a.Feat"), true), VellumtideFile::Opened);
    const double two[] = {-2.0, 0.1};
    EXPECT_TRUE(file.writeValue(1.0) && file.writeValues(two) && file.writeValues({}));
    EXPECT_FALSE(file.writeValues(std::vector<double>(257)));
    EXPECT_EQ(content(path("a.Feat")).toHex(),
              QByteArray("3ff0000000000000c0000000000000003fb999999999999a"));
}

TEST_F(Files, TheHeaderOnDiskIsCopiedUnchanged)
{
    VellumtideFile data;
    VellumtideFile features;
    ASSERT_EQ(data.openFile(path("a.bin"), true), VellumtideFile::Opened);
    ASSERT_EQ(features.openFile(path("a.FeatVec"), true), VellumtideFile::Opened);
    EXPECT_EQ(data.headerBytesOnDisk(), QByteArray());
    data.header() = header(1);
    ASSERT_TRUE(data.writeHeader());
    const QByteArray bytes = data.headerBytesOnDisk();
    EXPECT_EQ(bytes, data.header().encode());
    ASSERT_TRUE(features.writeHeaderBytes(bytes));
    // Both files go on after the header.
    const double volt = 2.5;
    EXPECT_TRUE(data.writeSamples(&volt, 1) && features.writeValue(1.0));
    EXPECT_EQ(content(path("a.bin")), bytes + QByteArray::fromHex("4000"));
    EXPECT_EQ(content(path("a.FeatVec")), bytes + QByteArray::fromHex("3ff0000000000000"));
    EXPECT_EQ(data.headerBytesOnDisk(), bytes);

    VellumtideFile none;
    EXPECT_FALSE(none.writeHeader());
    EXPECT_EQ(none.lastError(), QStringLiteral("No File Selected"));
    data.close();
    EXPECT_FALSE(data.writeHeader());
    EXPECT_EQ(data.lastError(), QStringLiteral("No File Open"));
}

TEST_F(Files, ASecondWriterIsKeptOut)
{
    test::LogCapture log;
    VellumtideFile first;
    VellumtideFile second;
    ASSERT_EQ(first.openFile(path("a.bin"), true), VellumtideFile::Opened);
    ASSERT_TRUE(first.writeValue(1.0));
    EXPECT_EQ(second.openFile(path("a.bin"), true), 1);
    EXPECT_EQ(second.lastError(),
              QStringLiteral("File is in use by another application — choose a different file "
                             "or close the other application."));
    EXPECT_EQ(content(path("a.bin")).size(), 8); // untouched
    EXPECT_EQ(log.lines(),
              QStringList(QStringLiteral("FileUtils::openExclusiveWrite: ") + path("a.bin") +
                          QStringLiteral(" is held by another process (ERROR_SHARING_VIOLATION)")));
    first.close();
    EXPECT_EQ(second.openFile(path("a.bin"), true), 0);
    EXPECT_EQ(content(path("a.bin")).size(), 0);

    EXPECT_EQ(first.openFile(QString(), true), VellumtideFile::Failed);
    EXPECT_EQ(first.lastError(), QStringLiteral("No file selected"));
    ASSERT_TRUE(QDir().mkdir(path("folder")));
    for (const char* bad : {"folder", "no/such/file"}) {
        EXPECT_EQ(first.openFile(path(bad), true), VellumtideFile::Failed);
        EXPECT_EQ(first.lastError(), QStringLiteral("Could not open file"));
    }
    EXPECT_EQ(first.openFile(path("absent"), false), VellumtideFile::Failed);
    EXPECT_EQ(first.lastError(), QStringLiteral("Could not open file"));
    QFile handle;
    EXPECT_EQ(FileUtils::openExclusiveWrite(handle, QString()), FileUtils::OpenResult::Failed);
    EXPECT_TRUE(log.contains("FileUtils::openExclusiveWrite: empty file name"));
}

TEST_F(Files, RawReaderStopsAtTheLastWholeFrame)
{
    VellumtideFile file;
    ASSERT_EQ(file.openFile(path("a.bin"), true), VellumtideFile::Opened);
    file.header() = header(3);
    ASSERT_TRUE(file.writeHeader());
    file.close();
    append(path("a.bin"), QByteArray::fromHex("0001000200030004000500060007000800"));
    RawFileReader reader;
    ASSERT_TRUE(reader.open(path("a.bin")));
    EXPECT_EQ(reader.frameCount(), 2);
    EXPECT_EQ(reader.trailingBytes(), 5);
    std::vector<std::int16_t> samples(7, -1);
    EXPECT_EQ(reader.readFrames(0, samples), 2);
    EXPECT_EQ(samples, (std::vector<std::int16_t>{1, 2, 3, 4, 5, 6, -1}));
    EXPECT_EQ(reader.readFrames(1, std::span(samples).first(3)), 1);
    EXPECT_EQ(samples[0], 4);
    EXPECT_EQ(reader.readFrames(2, samples), 0);
    EXPECT_EQ(reader.volts(-16384), -2.5);
}

TEST_F(Files, FeatureReaderStopsAtTheLastWholeEpoch)
{
    VellumtideFile file;
    for (const char* name : {"a.FeatVec", "a_at.Feat"}) {
        ASSERT_EQ(file.openFile(path(name), true), VellumtideFile::Opened);
        file.header() = header(2);
        ASSERT_TRUE(file.writeHeader());
        for (int value = 0; value < 27; ++value)
            ASSERT_TRUE(file.writeValue(value));
    }
    file.close();
    FeatureFileReader reader;
    ASSERT_TRUE(reader.open(path("a.FeatVec"), FeatureFileKind::Vector));
    EXPECT_EQ(reader.valuesPerChannel(), 6);
    EXPECT_EQ(reader.epochCount(), 2);
    EXPECT_EQ(reader.trailingBytes(), 24);
    EXPECT_EQ(reader.readEpoch(1), (std::vector<double>{12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23}));
    EXPECT_TRUE(reader.readEpoch(2).empty());
    ASSERT_TRUE(reader.open(path("a_at.Feat"), FeatureFileKind::Single));
    EXPECT_EQ(reader.epochCount(), 13);
    EXPECT_EQ(reader.readEpoch(12), (std::vector<double>{24, 25}));
}

TEST_F(Files, ReadersRefuseOtherFiles)
{
    append(path("x.bin"), QByteArray("not a recording at all"));
    test::LogCapture log;
    RawFileReader raw;
    EXPECT_FALSE(raw.open(path("x.bin")));
    EXPECT_EQ(raw.lastError(), QStringLiteral("Unsupported file type"));
    EXPECT_TRUE(
        log.lines().first().startsWith(QStringLiteral("Could not read header from file: ") + path("x.bin")));
    FeatureFileReader features;
    EXPECT_FALSE(features.open(path("absent"), FeatureFileKind::Single));
    EXPECT_EQ(features.lastError(), QStringLiteral("Could not open file"));
}

} // namespace
} // namespace vt
