// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>

namespace vt {

/// Makes sense of what one ffmpeg process says on its error output, with bounded memory: lines over
/// MaxLineBytes are cut. Progress and errors come as text in unpredictable pieces; a piece that ends within a
/// line is kept back, so that an address (with a password in it) is seen whole by whoever masks it. Plain
/// computation.
class FfmpegOutput
{
public:
    static constexpr qsizetype MaxLineBytes = qsizetype{8} * 1024;
    /// The longest text handed out at once; the rest is counted.
    static constexpr qsizetype MaxErrorCharacters = 2000;

    struct News
    {
        bool progress = false;    ///< "frame=" was said
        qint64 frame = -1;        ///< the newest number of frames, -1: none was told
        QString errorText;        ///< the lines with "error" in them, in any case; empty: none
        qint64 cutCharacters = 0; ///< of errors that had no room in errorText
    };
    [[nodiscard]] News take(const QByteArray& bytes);
    /// What is left of the last line when the process has ended.
    [[nodiscard]] News finish();

private:
    void takeLine(News& news);

    QByteArray m_line;
};

} // namespace vt
