// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <array>
#include <cstdint>
#include <optional>

namespace vt {

/// When and with what the acquisition unit's firmware was built, as its microcontroller tells it.
struct DaqBuildInfo
{
    static constexpr int RawSize = 16;
    std::array<std::uint8_t, RawSize> raw{};
    std::uint8_t day = 0;
    QString month;         ///< three letters
    std::uint8_t year = 0; ///< within the century
    std::uint8_t hour = 0;
    std::uint8_t minute = 0;
    QString compilerVersion; ///< four characters
    QString firmwareVersion; ///< five characters
    bool operator==(const DaqBuildInfo&) const = default;
};

[[nodiscard]] DaqBuildInfo decodeBuildInfo(const std::array<std::uint8_t, DaqBuildInfo::RawSize>& raw);
/// Is it a date and a time of day, with an English month's name?
[[nodiscard]] bool isPlausible(const DaqBuildInfo& info);
/// "built=Mar-17-2025 09:41 compilerVer=2.50 fwVer=1.4.2"
[[nodiscard]] QString buildInfoText(const DaqBuildInfo& info);

/// CRC-32 (reflected polynomial 0xEDB88320, initial value and final complement of all ones); 0 for no bytes.
[[nodiscard]] std::uint32_t crc32(const QByteArray& bytes);

/// The build information that each unit last told, by serial number, for times when it does not. A JSON
/// file; every call reads it anew. Any one thread; may wait for the disk.
class BuildInfoCache
{
public:
    explicit BuildInfoCache(QString path) : m_path(std::move(path)) {}

    /// In the application's data folder.
    [[nodiscard]] static QString defaultPath();

    /// Empty when there is no entry, or one that is damaged or not plausible.
    [[nodiscard]] std::optional<DaqBuildInfo> load(const QString& serial) const;
    /// Keeps all other entries. False when the file cannot be written, which is logged.
    bool store(const QString& serial, const DaqBuildInfo& info) const;

private:
    QString m_path;
};

} // namespace vt

Q_DECLARE_METATYPE(vt::DaqBuildInfo)
