// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>

namespace vt {

/// Takes pictures out of a "multipart/x-mixed-replace" body as it arrives, in pieces of any size, with
/// bounded memory. After an error it stays in error; a new stream needs a new parser. Plain computation.
class MjpegParser
{
public:
    static constexpr qsizetype MaxHeaderBytes = qsizetype{8} * 1024;
    static constexpr qsizetype MaxPartBytes = qsizetype{8} * 1024 * 1024;

    /// The value of the answer's "Content-Type", which names the boundary.
    explicit MjpegParser(const QByteArray& contentType);

    /// False when the stream is not what it should be: see errorText().
    bool feed(const QByteArray& bytes);
    /// The stream has ended. False when it ended within a part.
    bool finish();

    /// The newest whole picture since the last call, as it came; empty when there is none.
    [[nodiscard]] QByteArray takePicture();
    /// Whole pictures so far, also those that a newer one has replaced.
    [[nodiscard]] qint64 pictures() const { return m_pictures; }
    [[nodiscard]] const QString& errorText() const { return m_error; }

private:
    enum class State { Delimiter, Header, Body, Ended, Failed };

    /// One step on m_buffer from m_begin on; false: more bytes are needed, or it is over.
    bool step();
    bool takeDelimiter(const QByteArray& line);
    bool takeHeaderLine(const QByteArray& line);
    bool takeBody();
    bool fail(const QString& error);

    QByteArray m_delimiter; ///< with its dashes
    State m_state = State::Delimiter;
    QByteArray m_buffer;
    qsizetype m_begin = 0;
    qsizetype m_headerBytes = 0;
    qsizetype m_length = -1;
    QByteArray m_picture;
    qint64 m_pictures = 0;
    QString m_error;
};

} // namespace vt
