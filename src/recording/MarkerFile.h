// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/DataFile.h"

#include <QDateTime>
#include <QString>
#include <vector>

namespace vt {

/// "_Marks.csv": one per recording, markers numbered from 1, kept in memory too so that labels can be
/// edited. What could not be written stays due: it is tried again with the next marker or label and when the
/// file is closed. Thread of its owner; may block on the disk. Where that must not be: MarkerLog.
class MarkerFile
{
public:
    struct Marker
    {
        int event = 0;
        int segment = 0;
        QDateTime when;
        QString label;
    };

    /// The first line of every marker file.
    [[nodiscard]] static const QByteArray& headerLine();

    [[nodiscard]] bool open(const QString& path);
    void close();
    [[nodiscard]] bool isOpen() const;
    /// Event number, or -1 when the file is not open or the row is not in the file yet.
    int addMarker(int segment, const QDateTime& when, const QString& label);
    /// Rewrites the file with the changed label; line breaks in it become blanks.
    bool setLabel(int event, const QString& label);
    [[nodiscard]] const std::vector<Marker>& markers() const;
    /// Markers whose rows the file lacks or, at least one, whose labels it has not as they are now. Stays
    /// when it is closed.
    [[nodiscard]] int unwritten() const;

private:
    [[nodiscard]] bool writeAll(const QByteArray& bytes);
    [[nodiscard]] bool writeMissing();
    [[nodiscard]] bool rewrite();
    bool m_rewriteDue = false;    ///< more is wrong with the file than that its last rows are missing
    std::size_t m_rowsInFile = 0; ///< the first ones of m_markers
    DataFile m_file;
    std::vector<Marker> m_markers;
};

/// One row per line, whatever the user typed or pasted: line breaks become blanks.
[[nodiscard]] QString markerLabel(QString label);

/// A CSV field: in double quotes, inner ones doubled, when it holds a comma, a quote or a line break.
[[nodiscard]] QString csvField(const QString& text);

} // namespace vt
