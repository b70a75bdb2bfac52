// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/MjpegPicture.h"

#include <QBuffer>
#include <QImageReader>

namespace vt {

DecodedPicture decodeJpeg(const QByteArray& bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    // Only this format: the readers of others are no business of a camera's.
    QImageReader reader(&buffer, QByteArrayLiteral("jpeg"));
    reader.setDecideFormatFromContent(false);
    const QSize size = reader.size();
    if (!size.isValid() || size.isEmpty())
        return {{}, QStringLiteral("The camera sent something that is no JPEG picture")};
    if (qint64{size.width()} * size.height() > MaxPicturePixels)
        return {{},
                QStringLiteral("The camera's pictures are too large (%1 x %2)")
                    .arg(size.width())
                    .arg(size.height())};
    DecodedPicture decoded;
    // QImageReader's own limit of 128 MB stands behind this one: 16 million pixels take 64 MB.
    if (!reader.read(&decoded.image) || decoded.image.isNull())
        return {{}, QStringLiteral("A picture of the camera could not be decoded: ") + reader.errorString()};
    return decoded;
}

} // namespace vt
