// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/BuildInfoCache.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QStandardPaths>
#include <algorithm>

namespace vt {

namespace {

constexpr int FormatVersion = 1;
const QString VersionKey = QStringLiteral("version");
const QString DevicesKey = QStringLiteral("devices");
const QString RawKey = QStringLiteral("rawRegsHex");
const QString CrcKey = QStringLiteral("crc32");

constexpr std::array<const char*, 12> Months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

[[nodiscard]] QByteArray bytesOf(const DaqBuildInfo& info)
{
    return QByteArray(reinterpret_cast<const char*>(info.raw.data()), DaqBuildInfo::RawSize);
}

[[nodiscard]] QString latin1(const std::array<std::uint8_t, DaqBuildInfo::RawSize>& raw, int offset, int size)
{
    return QString::fromLatin1(reinterpret_cast<const char*>(raw.data()) + offset, size);
}

/// Hexadecimal digits only, or nothing: QByteArray::fromHex skips what it does not know.
[[nodiscard]] QByteArray fromHexStrictly(const QString& text)
{
    const QByteArray digits = text.toLatin1();
    const bool isHex = std::all_of(digits.begin(), digits.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    });
    return isHex && digits.size() % 2 == 0 ? QByteArray::fromHex(digits) : QByteArray();
}

[[nodiscard]] QJsonObject readRoot(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

} // namespace

DaqBuildInfo decodeBuildInfo(const std::array<std::uint8_t, DaqBuildInfo::RawSize>& raw)
{
    DaqBuildInfo info;
    info.raw = raw;
    info.day = raw[0];
    info.month = latin1(raw, 1, 3);
    info.year = raw[4];
    info.hour = raw[5];
    info.minute = raw[6];
    info.compilerVersion = latin1(raw, 7, 4);
    info.firmwareVersion = latin1(raw, 11, 5);
    return info;
}

bool isPlausible(const DaqBuildInfo& info)
{
    const bool isMonth = std::any_of(Months.begin(), Months.end(), [&info](const char* month) {
        return info.month == QLatin1String(month);
    });
    return isMonth && info.day >= 1 && info.day <= 31 && info.year <= 99 && info.hour <= 23 &&
           info.minute <= 59;
}

QString buildInfoText(const DaqBuildInfo& info)
{
    const auto twoDigits = [](int number) {
        return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
    };
    // All at once: a "%1" in what the unit sent is no place marker.
    return QStringLiteral("built=%1-%2-20%3 %4:%5 compilerVer=%6 fwVer=%7")
        .arg(info.month, twoDigits(info.day), twoDigits(info.year), twoDigits(info.hour),
             twoDigits(info.minute), info.compilerVersion, info.firmwareVersion);
}

std::uint32_t crc32(const QByteArray& bytes)
{
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0U);
    }
    return ~crc;
}

QString BuildInfoCache::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
           QStringLiteral("/daq_build_info.json");
}

std::optional<DaqBuildInfo> BuildInfoCache::load(const QString& serial) const
{
    const QJsonObject devices = readRoot(m_path).value(DevicesKey).toObject();
    if (!devices.contains(serial))
        return std::nullopt;
    const QJsonObject entry = devices.value(serial).toObject();
    const QByteArray bytes = fromHexStrictly(entry.value(RawKey).toString());
    if (bytes.size() != DaqBuildInfo::RawSize)
        return std::nullopt;
    bool isNumber = false;
    const std::uint32_t expected = entry.value(CrcKey).toString().toUInt(&isNumber);
    if (!isNumber || crc32(bytes) != expected) {
        qWarning().noquote() << "DAQInfo: build-info cache CRC mismatch for serial" << serial
                             << "— ignoring entry";
        return std::nullopt;
    }
    std::array<std::uint8_t, DaqBuildInfo::RawSize> raw{};
    std::copy(bytes.begin(), bytes.end(), raw.begin());
    DaqBuildInfo info = decodeBuildInfo(raw);
    if (!isPlausible(info)) {
        qWarning().noquote() << "DAQInfo: build-info cache validator failed for serial" << serial;
        return std::nullopt;
    }
    return info;
}

bool BuildInfoCache::store(const QString& serial, const DaqBuildInfo& info) const
{
    QJsonObject root = readRoot(m_path);
    QJsonObject devices = root.value(DevicesKey).toObject();
    const QByteArray bytes = bytesOf(info);
    devices.insert(serial, QJsonObject{{RawKey, QString::fromLatin1(bytes.toHex())},
                                       {CrcKey, QString::number(crc32(bytes))}});
    root.insert(VersionKey, FormatVersion);
    root.insert(DevicesKey, devices);
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    QSaveFile file(m_path); // a crash leaves the old file or the new one
    if (!file.open(QIODevice::WriteOnly)) {
        qWarning().noquote() << "DAQInfo: failed to open build-info cache for write:" << m_path;
        return false;
    }
    file.write(QJsonDocument(root).toJson());
    if (file.commit())
        return true;
    qWarning().noquote() << "DAQInfo: failed to write build-info cache" << m_path << file.errorString();
    return false;
}

} // namespace vt
