// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/FileHeader.h"
#include "LogCapture.h"

#include <QBuffer>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace vt {
namespace {

QByteArray golden(const char* name)
{
    QFile file(QStringLiteral(RECORDING_TEST_DATA "/") + QString::fromLatin1(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
    return file.readAll();
}

constexpr qsizetype BodyBytes = 5; ///< after each golden header

/// Reads a header from memory; the error text when that fails.
QString readFrom(QByteArray bytes, FileHeader& header)
{
    QBuffer device(&bytes);
    EXPECT_TRUE(device.open(QIODevice::ReadOnly));
    QString error;
    const bool ok = header.readHeader(device, &error);
    EXPECT_EQ(ok, error.isEmpty());
    EXPECT_TRUE(!ok || device.pos() == header.dataStart);
    return error;
}

void setWord(QByteArray& bytes, qsizetype offset, quint32 value)
{
    for (int i = 0; i < 4; ++i)
        bytes[offset + i] = static_cast<char>(value >> (24 - 8 * i));
}

QStringList goldenLabels()
{
    return {QStringLiteral("M1"), QStringLiteral("say \"hi\", twice"), QStringLiteral("line\nbreak"),
            QStringLiteral("мышь 鼠"), QString()};
}

FileHeader goldenHeader()
{
    FileHeader header;
    header.softwareVersion = QStringLiteral("VellumtideQT3.14.15b");
    header.channelCount = 5;
    header.featuresPerEpoch = 4;
    header.animalType = 1;
    header.offsetSubtracted = 2.5;
    header.start = QDateTime({2024, 2, 29}, {21, 7, 58, 999}); // parts of a second are not kept
    header.lightOnset = QTime(7, 30, 15);
    header.darkOnset = QTime(19, 45, 0);
    header.channelLabels = goldenLabels();
    header.deviceDescription = QStringLiteral("Unit of lab 3, bench \"B\"");
    header.deviceSerial = QStringLiteral("01AF23");
    header.mcu = {1,
                  1,
                  2,
                  3,
                  5,
                  0x8001,
                  300,
                  0x20,
                  0x05,
                  {},
                  QStringLiteral("2023_12_31"),
                  QStringLiteral("Lab é"),
                  QStringLiteral("amp-2"),
                  1.0F,
                  0.5F,
                  -0.25F};
    for (std::uint8_t i = 0; i < 16; ++i)
        header.mcu.buildInfo[i] = i;
    return header;
}

TEST(FileHeader, WritesTheReferenceBytesInOnePiece)
{
    struct CountingBuffer : QBuffer
    {
        int writes = 0;
        qint64 writeData(const char* data, qint64 size) override
        {
            ++writes;
            return QBuffer::writeData(data, size);
        }
    } device;
    ASSERT_TRUE(device.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    ASSERT_TRUE(goldenHeader().writeHeader(device));
    EXPECT_EQ(device.data().toHex(), golden("header_v4.bin").chopped(BodyBytes).toHex());
    EXPECT_EQ(device.writes, 1);
}

TEST(FileHeader, ReadsTheReferenceFields)
{
    FileHeader header;
    ASSERT_EQ(readFrom(golden("header_v4.bin"), header), QString());
    const FileHeader wanted = goldenHeader();
    EXPECT_EQ(header.version, 4);
    EXPECT_EQ(header.softwareVersion, wanted.softwareVersion);
    EXPECT_EQ(header.envSensorInfo, QStringLiteral("envsensplaceholder"));
    EXPECT_EQ(header.featuresPerEpoch, 4);
    EXPECT_EQ(header.animalType, 1);
    EXPECT_EQ(header.sampleRate, 120);
    EXPECT_EQ(header.mcuGain, 0);
    EXPECT_EQ(header.offsetSubtracted, 2.5);
    EXPECT_EQ(header.maxAmplitude, 5.0);
    EXPECT_EQ(header.start, QDateTime({2024, 2, 29}, {21, 7, 58}));
    EXPECT_EQ(header.lightOnset, wanted.lightOnset);
    EXPECT_EQ(header.darkOnset, wanted.darkOnset);
    EXPECT_EQ(header.channelLabels, goldenLabels());
    EXPECT_EQ(header.deviceDescription, wanted.deviceDescription);
    EXPECT_EQ(header.deviceSerial, wanted.deviceSerial);
    EXPECT_EQ(header.mcu, wanted.mcu);
    EXPECT_EQ(header.dataStart, golden("header_v4.bin").size() - BodyBytes);
    EXPECT_EQ(header.sampleCount, 2); // five bytes
    EXPECT_EQ(header.samplesPerChannel, 0);
}

TEST(FileHeader, ReadsVersion3)
{
    FileHeader header;
    const QByteArray bytes = golden("header_v3.bin");
    ASSERT_EQ(readFrom(bytes, header), QString());
    EXPECT_EQ(header.version, 3);
    EXPECT_EQ(header.maxAmplitude, 3.0);
    EXPECT_EQ(header.sampleRate, 120);
    EXPECT_EQ(header.start, QDateTime({2024, 2, 29}, {21, 7, 58}));
    EXPECT_EQ(header.lightOnset, QTime(7, 30, 15));
    EXPECT_EQ(header.darkOnset, QTime(19, 45, 0));
    EXPECT_EQ(header.channelLabels, QStringList({QStringLiteral("left"), QStringLiteral("žába")}));
    EXPECT_EQ(header.dataStart, bytes.size() - BodyBytes);
    EXPECT_EQ(header.samplesPerChannel, 1);
    EXPECT_EQ(header.encode(), bytes.chopped(BodyBytes));

    QByteArray five = bytes;
    setWord(five, 0, 5);
    EXPECT_EQ(readFrom(five, header), QString());
    EXPECT_EQ(header.maxAmplitude, 5.0);
    setWord(five, 0, 6); // now a length, and far too small for what follows
    EXPECT_NE(readFrom(five, header), QString());
}

TEST(FileHeader, RefusesEveryTruncation)
{
    for (const char* name : {"header_v4.bin", "header_v3.bin"}) {
        const QByteArray whole = golden(name).chopped(BodyBytes);
        for (qsizetype length = 0; length < whole.size(); ++length) {
            FileHeader header;
            header.deviceSerial = QStringLiteral("kept");
            QByteArray cut = whole.left(length);
            EXPECT_NE(readFrom(cut, header), QString()) << name << length;
            if (length > 9 && whole[0] == '\0' && whole[3] > 5) {
                setWord(cut, 0,
                        static_cast<quint32>(length - 4)); // a length word that agrees with the damage
                EXPECT_NE(readFrom(cut, header), QString()) << name << length;
            }
            EXPECT_EQ(header.deviceSerial, QStringLiteral("kept"));
        }
    }
}

TEST(FileHeader, RefusesLengthsThatRunPastTheFile)
{
    const QList<QByteArray> lines = golden("header_v4.lengths").trimmed().split('\n');
    ASSERT_EQ(lines.size(), 18);
    for (const QByteArray& line : lines) {
        const qsizetype offset = line.split(' ').first().toLongLong();
        for (const quint32 value : {0xFFFFFFFFU, 0x80000000U, 0x7FFFFFFFU, 0x00010000U}) {
            QByteArray bytes = golden("header_v4.bin");
            setWord(bytes, offset, value);
            // The counts inside the microcontroller block only matter within it: another layout is skipped.
            const bool skipped = line.contains("mcuHeader.");
            FileHeader header;
            const QString error = readFrom(bytes, header);
            EXPECT_EQ(error.isEmpty(), skipped) << line.constData() << value << error.toStdString();
            EXPECT_TRUE(skipped || error.contains(QStringLiteral("at byte "))) << error.toStdString();
        }
    }
}

TEST(FileHeader, SurvivesAnyDamagedByte)
{
    for (const char* name : {"header_v4.bin", "header_v3.bin"}) {
        const QByteArray whole = golden(name);
        for (qsizetype offset = 0; offset < whole.size(); ++offset)
            for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
                QByteArray bytes = whole;
                bytes[offset] = static_cast<char>(value);
                FileHeader header;
                if (!readFrom(bytes, header).isEmpty())
                    continue;
                EXPECT_GT(header.channelCount, 0);
                EXPECT_GT(header.maxAmplitude, 0.0);
                EXPECT_LE(header.dataStart, bytes.size());
            }
    }
}

TEST(FileHeader, ReadsLittleOfAHugeDamagedFile)
{
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("huge.bin")));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.resize(5LL << 30)); // sparse
    const quint32 inFile = 0xF0000000;
    QByteArray word(4, '\0');
    setWord(word, 0, inFile);
    ASSERT_EQ(file.write(word), 4);
    FileHeader header;
    QString error;
    EXPECT_FALSE(header.readHeader(file, &error));
    EXPECT_EQ(error, QStringLiteral("header length of 4026531840 at byte 0 in a file of 5368709120 bytes"));
}

TEST(FileHeader, SkipsWhatALaterProgramAdds)
{
    QByteArray bytes = golden("header_v4.bin");
    const qsizetype end = bytes.size() - BodyBytes;
    bytes.insert(end, "later");
    setWord(bytes, end - 4, 5);
    setWord(bytes, 0, static_cast<quint32>(end + 5 - 4));
    FileHeader header;
    ASSERT_EQ(readFrom(bytes, header), QString());
    EXPECT_EQ(header.dataStart, end + 5);
    EXPECT_EQ(header.deviceSerial, QStringLiteral("01AF23"));
}

TEST(FileHeader, KnowsVersions3And4Only)
{
    test::LogCapture log;
    FileHeader header = goldenHeader();
    header.version = 5;
    QBuffer device;
    ASSERT_TRUE(device.open(QIODevice::ReadWrite));
    EXPECT_FALSE(header.writeHeader(device));
    EXPECT_TRUE(device.data().isEmpty());
    EXPECT_TRUE(log.contains("Unknown file header version: 5")) << log.lines().join(u'\n').toStdString();
    header.version = 3;
    header.maxAmplitude = 3.3; // whole volts only
    EXPECT_FALSE(header.writeHeader(device));
    device.close();
    EXPECT_FALSE(header.readHeader(device));
    EXPECT_TRUE(log.contains("File not open!"));
}

TEST(McuHeader, PlaceholderOfTheSerialAmplifier)
{
    const MCUHeader header = placeholderMcuHeader(7, 2);
    EXPECT_EQ(header.amplifierType, 7);
    EXPECT_EQ(header.animalType, 2);
    EXPECT_EQ(header.manufacturingDate, QStringLiteral("1976_01_01"));
    EXPECT_EQ(header.customerInfo, QStringLiteral("mcu_CustInfo"));
    EXPECT_EQ(header.amplifierText, QStringLiteral("mcu_Strivix"));
    EXPECT_EQ(header.inputGain, 1.0F);
    EXPECT_EQ(header.outputGain, 1.0F);
    EXPECT_EQ(header.gain, 0);
}

} // namespace
} // namespace vt
