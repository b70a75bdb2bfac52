// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <map>
#include <optional>

namespace vt {

/// Could a video file be opened when it was looked at?
enum class Readable { Yes, No, Unknown };

/// One row of "segments.csv".
struct VideoSegment
{
    QString file;                        ///< name within its folder
    QDateTime start;                     ///< with its offset from UTC
    std::optional<double> lengthSeconds; ///< empty: not known
    Readable readable = Readable::Unknown;
    bool operator==(const VideoSegment&) const = default;
};

/// The files of a camera's folder by name, which is the order of their beginnings, as "segments.csv" lists
/// them. A file has one row, the newest. Plain computation.
class SegmentIndex
{
public:
    static constexpr char FileName[] = "segments.csv";
    static constexpr char HeaderLine[] = "file,start,length_seconds,readable";

    /// Rows of a table that is there already; lines that are no rows are left out, and counted.
    [[nodiscard]] static SegmentIndex parse(const QByteArray& table, qsizetype* badLines = nullptr);
    [[nodiscard]] QByteArray toCsv() const;

    void put(const VideoSegment& segment) { m_rows[segment.file] = segment; }
    [[nodiscard]] const std::map<QString, VideoSegment>& rows() const { return m_rows; }
    /// Has somebody looked into this file?
    [[nodiscard]] bool isSettled(const QString& file) const;

    /// When the file was begun, from its name ("3_2025-01-31_14-05-00.mp4"), at an offset from UTC or,
    /// without one, in local time. Empty for names that ffmpeg has not made for this channel.
    [[nodiscard]] static std::optional<QDateTime> startOf(const QString& file, int channel,
                                                          std::optional<int> offsetSeconds);

private:
    std::map<QString, VideoSegment> m_rows;
};

} // namespace vt
