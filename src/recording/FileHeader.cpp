// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/FileHeader.h"

#include "recording/BigEndianStream.h"
#include "recording/BlockWrite.h"

#include <QDebug>
#include <algorithm>
#include <cmath>
#include <limits>

namespace vt {

namespace {

constexpr std::uint32_t LastVersion3Word = 5; ///< a first word up to this is version 3's full scale
constexpr qint64 LengthWordBytes = 4;
/// No header is anywhere near this long; a longer one is damage, and is not read into memory.
constexpr qint64 MaxHeaderBytes = 1 << 20;
constexpr qint64 SampleBytes = 2;

void appendSecondMinuteHour(BigEndianWriter& out, const QTime& time)
{
    out.u32(time.isValid() ? time.second() : 0);
    out.u32(time.isValid() ? time.minute() : 0);
    out.u32(time.isValid() ? time.hour() : 0);
}

void appendHourMinuteSecond(BigEndianWriter& out, const QTime& time)
{
    out.u32(time.isValid() ? time.hour() : 0);
    out.u32(time.isValid() ? time.minute() : 0);
    out.u32(time.isValid() ? time.second() : 0);
}

void appendDayMonthYear(BigEndianWriter& out, const QDate& date)
{
    out.u32(date.isValid() ? date.day() : 0);
    out.u32(date.isValid() ? date.month() : 0);
    out.u32(date.isValid() ? date.year() : 0);
}

/// The four times that both versions have, in the order in which both have them.
void appendTimes(BigEndianWriter& out, const FileHeader& header)
{
    appendSecondMinuteHour(out, header.start.time());
    appendDayMonthYear(out, header.start.date());
    appendHourMinuteSecond(out, header.lightOnset);
    appendHourMinuteSecond(out, header.darkOnset);
}

QByteArray encodeVersion4(const FileHeader& header)
{
    BigEndianWriter out;
    out.u32(0);
    out.text(QStringLiteral("v4"));
    out.text(header.softwareVersion);
    out.text(header.envSensorInfo);
    out.u32(header.channelCount);
    out.u32(header.featuresPerEpoch);
    out.u32(header.animalType);
    out.u32(header.sampleRate);
    out.u32(header.mcuGain);
    out.f64(header.offsetSubtracted);
    out.f64(header.maxAmplitude);
    appendTimes(out, header);
    for (int channel = 0; channel < header.channelCount; ++channel)
        out.text(header.channelLabels.value(channel));
    out.text(header.deviceDescription);
    out.text(header.deviceSerial);
    out.text(QStringLiteral("1"));
    out.raw(encodeMcuBlock(header.mcu));
    out.u32(0); // no extension
    const auto following = static_cast<std::uint32_t>(out.bytes().size() - LengthWordBytes);
    storeBigEndian(following, reinterpret_cast<std::byte*>(out.bytes().data()));
    return out.bytes();
}

/// Full scale is a whole number of volts here, and the word must be told from a length. Empty when it cannot.
QByteArray encodeVersion3(const FileHeader& header)
{
    const double volts = header.maxAmplitude;
    if (!(volts >= 1.0 && volts <= LastVersion3Word) || std::floor(volts) != volts)
        return {};
    BigEndianWriter out;
    out.u32(static_cast<std::uint32_t>(volts));
    out.u32(header.sampleRate);
    out.u32(header.channelCount);
    appendTimes(out, header);
    for (const QString& label : header.channelLabels)
        if (!label.isEmpty())
            out.text(label);
    out.text(QString());
    return out.bytes();
}

/// Reads one header's fields from memory and remembers the first thing that is wrong with them.
class HeaderParser
{
public:
    HeaderParser(std::span<const std::byte> bytes, FileHeader& header) : m_in(bytes), m_header(header) {}

    [[nodiscard]] bool parseVersion4();
    [[nodiscard]] bool parseVersion3();
    [[nodiscard]] std::size_t position() const { return m_in.position(); }
    [[nodiscard]] const QString& error() const { return m_error; }

private:
    /// False, with a text that names the field, when the bytes before here ended inside it.
    [[nodiscard]] bool fits(QLatin1String field);
    [[nodiscard]] bool fail(QLatin1String what, std::size_t position);
    [[nodiscard]] bool readText(QString& value, QLatin1String field);
    [[nodiscard]] bool readCount(int& value, QLatin1String field);
    [[nodiscard]] bool readChannelCount();
    [[nodiscard]] bool readTimes();
    [[nodiscard]] bool readFullScale();
    [[nodiscard]] bool readMcuBlock();

    BigEndianReader m_in;
    FileHeader& m_header;
    QString m_error;
};

bool HeaderParser::fail(QLatin1String what, std::size_t position)
{
    m_error = QStringLiteral("%1 at byte %2").arg(what, QString::number(position));
    return false;
}

bool HeaderParser::fits(QLatin1String field)
{
    if (m_in.ok())
        return true;
    m_error = QStringLiteral("%1 does not fit at byte %2").arg(field, QString::number(m_in.position()));
    return false;
}

bool HeaderParser::readText(QString& value, QLatin1String field)
{
    value = m_in.text();
    return fits(field);
}

bool HeaderParser::readCount(int& value, QLatin1String field)
{
    const std::size_t position = m_in.position();
    const std::uint32_t word = m_in.u32();
    if (!fits(field))
        return false;
    if (word > static_cast<std::uint32_t>(std::numeric_limits<int>::max())) {
        m_error = QStringLiteral("%1 of %2 at byte %3")
                      .arg(field, QString::number(word), QString::number(position));
        return false;
    }
    value = static_cast<int>(word);
    return true;
}

bool HeaderParser::readChannelCount()
{
    const std::size_t position = m_in.position();
    if (!readCount(m_header.channelCount, QLatin1String("channel count")))
        return false;
    if (m_header.channelCount == 0)
        return fail(QLatin1String("channel count of 0"), position);
    return true;
}

/// A nonsensical time or date reads as an invalid one: the recording itself is still usable.
bool HeaderParser::readTimes()
{
    std::array<int, 12> words{};
    for (std::uint32_t word = 0; int& value : words) {
        word = m_in.u32();
        value = word <= 99999 ? static_cast<int>(word) : -1;
    }
    m_header.start = QDateTime(QDate(words[5], words[4], words[3]), QTime(words[2], words[1], words[0]));
    m_header.lightOnset = QTime(words[6], words[7], words[8]);
    m_header.darkOnset = QTime(words[9], words[10], words[11]);
    return fits(QLatin1String("times"));
}

bool HeaderParser::readFullScale()
{
    const std::size_t position = m_in.position();
    m_header.maxAmplitude = m_in.f64();
    if (!fits(QLatin1String("full scale")))
        return false;
    if (!std::isfinite(m_header.maxAmplitude) || m_header.maxAmplitude <= 0.0)
        return fail(QLatin1String("full scale is no positive number"), position);
    return true;
}

bool HeaderParser::readMcuBlock()
{
    const std::span<const std::byte> payload = m_in.take(m_in.u32());
    if (!fits(QLatin1String("microcontroller block")))
        return false;
    // Another program's layout is skipped.
    m_header.mcu = decodeMcuBlock(payload).value_or(MCUHeader{});
    return true;
}

bool HeaderParser::parseVersion4()
{
    QString ignored;
    (void)m_in.u32(); // the length, checked by the caller
    if (!readText(ignored, QLatin1String("version text")) ||
        !readText(m_header.softwareVersion, QLatin1String("software version")) ||
        !readText(m_header.envSensorInfo, QLatin1String("sensor information")) || !readChannelCount() ||
        !readCount(m_header.featuresPerEpoch, QLatin1String("features per epoch")) ||
        !readCount(m_header.animalType, QLatin1String("animal type")) ||
        !readCount(m_header.sampleRate, QLatin1String("sample rate")) ||
        !readCount(m_header.mcuGain, QLatin1String("gain")))
        return false;
    m_header.offsetSubtracted = m_in.f64();
    if (!fits(QLatin1String("offset")) || !readFullScale() || !readTimes())
        return false;

    // Each label takes at least its length word.
    if (static_cast<std::size_t>(m_header.channelCount) > m_in.remaining() / 4)
        return fail(QLatin1String("fewer labels than channels"), m_in.position());
    for (int channel = 0; channel < m_header.channelCount; ++channel)
        if (!readText(m_header.channelLabels.emplaceBack(), QLatin1String("channel label")))
            return false;
    if (!readText(m_header.deviceDescription, QLatin1String("device description")) ||
        !readText(m_header.deviceSerial, QLatin1String("device serial number")) ||
        !readText(ignored, QLatin1String("format revision")) || !readMcuBlock())
        return false;
    (void)m_in.take(m_in.u32());
    return fits(QLatin1String("extension"));
}

bool HeaderParser::parseVersion3()
{
    m_header.maxAmplitude = m_in.u32();
    if (!fits(QLatin1String("full scale")))
        return false;
    if (m_header.maxAmplitude <= 0.0)
        return fail(QLatin1String("full scale is no positive number"), 0);
    if (!readCount(m_header.sampleRate, QLatin1String("sample rate")) || !readChannelCount() || !readTimes())
        return false;
    QString label;
    do {
        if (!readText(label, QLatin1String("channel label")))
            return false;
        if (!label.isEmpty())
            m_header.channelLabels.append(label);
    } while (!label.isEmpty());
    return true;
}

/// Reads the header at the start of file into header, all but the figures derived from the file's size.
bool readFields(QIODevice& file, FileHeader& header, QString& error)
{
    if (!file.seek(0)) {
        error = QStringLiteral("cannot rewind: %1").arg(file.errorString());
        return false;
    }
    const qint64 fileBytes = file.size();
    const QByteArray firstWord = file.read(LengthWordBytes);
    if (firstWord.size() != LengthWordBytes) {
        error = QStringLiteral("only %1 bytes, too short for a header").arg(firstWord.size());
        return false;
    }
    const auto first =
        loadBigEndian<std::uint32_t>(reinterpret_cast<const std::byte*>(firstWord.constData()));
    header.version = first > LastVersion3Word ? 4 : 3;
    const qint64 declaredBytes = header.version == 4 ? LengthWordBytes + qint64{first} : fileBytes;
    if (header.version == 4 && (declaredBytes > fileBytes || declaredBytes > MaxHeaderBytes)) {
        error = QStringLiteral("header length of %1 at byte 0 in a file of %2 bytes")
                    .arg(QString::number(first), QString::number(fileBytes));
        return false;
    }
    const qint64 wantedBytes = std::min(declaredBytes, MaxHeaderBytes) - LengthWordBytes;
    const QByteArray bytes = firstWord + file.read(wantedBytes);
    if (bytes.size() != wantedBytes + LengthWordBytes) {
        error = QStringLiteral("read error at byte %1: %2")
                    .arg(QString::number(bytes.size()), file.errorString());
        return false;
    }

    HeaderParser parser(std::as_bytes(std::span(bytes.constData(), static_cast<std::size_t>(bytes.size()))),
                        header);
    if (!(header.version == 4 ? parser.parseVersion4() : parser.parseVersion3())) {
        error = parser.error();
        return false;
    }
    header.dataStart = header.version == 4 ? declaredBytes : static_cast<qint64>(parser.position());
    return true;
}

} // namespace

QByteArray FileHeader::encode() const
{
    if (version != 3 && version != 4) {
        qWarning().nospace() << "Unknown file header version: " << version;
        return {};
    }
    QByteArray bytes = version == 4 ? encodeVersion4(*this) : encodeVersion3(*this);
    if (bytes.isEmpty() || bytes.size() > MaxHeaderBytes) {
        qWarning().noquote() << "FileHeader: values do not fit a header of version" << version;
        return {};
    }
    return bytes;
}

bool FileHeader::writeHeader(QIODevice& file) const
{
    if (!file.isOpen()) {
        qWarning().noquote() << "File not open!";
        return false;
    }
    const QByteArray bytes = encode();
    return !bytes.isEmpty() && writeBlock(file, bytes).complete;
}

bool FileHeader::readHeader(QIODevice& file, QString* error)
{
    QString text;
    FileHeader read;
    if (!file.isOpen()) {
        qWarning().noquote() << "File not open!";
        text = QStringLiteral("File not open!");
    } else if (file.isSequential()) {
        text = QStringLiteral("not a file that can be rewound");
    } else if (readFields(file, read, text)) {
        read.sampleCount = (file.size() - read.dataStart) / SampleBytes;
        read.samplesPerChannel = read.sampleCount / read.channelCount;
        if (file.seek(read.dataStart)) {
            *this = read;
            return true;
        }
        text = QStringLiteral("cannot go to byte %1").arg(read.dataStart);
    }
    if (error)
        *error = text;
    return false;
}

QString softwareVersionText()
{
    return QStringLiteral("VellumtideQT%0.%1.%2")
        .arg(QString::number(VELLUMTIDE_VERSION_MAJOR), QString::number(VELLUMTIDE_VERSION_MINOR),
             QStringLiteral(VELLUMTIDE_VERSION_BUILD));
}

} // namespace vt
