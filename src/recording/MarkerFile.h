// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/DataFile.h"

#include <QDateTime>
#include <QString>
#include <vector>

namespace vt {

/// "_Marks.csv": one per recording, markers numbered from 1, kept in memory too so that labels can be
/// edited. Thread of its owner.
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

    [[nodiscard]] bool open(const QString& path);
    void close();
    [[nodiscard]] bool isOpen() const;
    /// Event number, or -1 when the file is not open or the row could not be written.
    int addMarker(int segment, const QDateTime& when, const QString& label);
    /// Rewrites the file with the changed label; line breaks in it become blanks.
    bool setLabel(int event, const QString& label);
    [[nodiscard]] const std::vector<Marker>& markers() const;

private:
    [[nodiscard]] bool writeAll(const QByteArray& bytes);
    [[nodiscard]] bool rewrite();
    bool m_rewriteDue = false; ///< the file lacks what is in memory
    DataFile m_file;
    std::vector<Marker> m_markers;
};

/// A CSV field: in double quotes, inner ones doubled, when it holds a comma, a quote or a line break.
[[nodiscard]] QString csvField(const QString& text);

} // namespace vt
