// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QIODevice>
#include <QString>
#include <memory>

namespace vt {

/// A ZIP archive that is read part by part, in whatever QIODevice it stands. One thread.
class ZipArchive
{
public:
    /// mostBytes: what may be unpacked of all its parts together. file outlives the object.
    ZipArchive(QIODevice& file, qint64 mostBytes);
    ~ZipArchive();
    ZipArchive(const ZipArchive&) = delete;
    ZipArchive& operator=(const ZipArchive&) = delete;

    [[nodiscard]] bool isOpen() const { return m_handle != nullptr; }
    /// Unpacks while it is read. Null when there is no such part. One at a time.
    [[nodiscard]] std::unique_ptr<QIODevice> open(const QString& name);
    /// More would have been unpacked than is allowed.
    [[nodiscard]] bool isTooLarge() const { return m_isTooLarge; }
    /// A part could not be unpacked to its end.
    [[nodiscard]] bool isDamaged() const { return m_isDamaged; }

private:
    class Part;
    void* m_handle;
    qint64 m_bytesLeft;
    bool m_isTooLarge = false;
    bool m_isDamaged = false;
};

} // namespace vt
