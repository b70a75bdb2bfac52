// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

namespace vt {

/// The largest picture that is decoded; what a camera sends is not trusted with the program's memory.
inline constexpr qint64 MaxPicturePixels = 16'000'000;

struct DecodedPicture
{
    QImage image;  ///< null: see error
    QString error; ///< says what is wrong, in plain words
};
/// Decodes one JPEG. Its size is looked at before memory is asked for. Any thread.
[[nodiscard]] DecodedPicture decodeJpeg(const QByteArray& bytes);

} // namespace vt
