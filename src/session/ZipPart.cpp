// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/ZipPart.h"

#include <algorithm>
#include <limits>
#include <unzip.h>

namespace vt {

namespace {

// minizip's file functions; the stream that they are handed is the QIODevice.
QIODevice& device(voidpf stream)
{
    return *static_cast<QIODevice*>(stream);
}

voidpf ZCALLBACK openFile(voidpf opaque, const void*, int)
{
    return opaque;
}

uLong ZCALLBACK readFile(voidpf, voidpf stream, void* buffer, uLong size)
{
    const qint64 got = device(stream).read(static_cast<char*>(buffer), static_cast<qint64>(size));
    return got > 0 ? static_cast<uLong>(got) : 0;
}

uLong ZCALLBACK writeFile(voidpf, voidpf, const void*, uLong)
{
    return 0;
}

ZPOS64_T ZCALLBACK tellFile(voidpf, voidpf stream)
{
    return static_cast<ZPOS64_T>(device(stream).pos());
}

long ZCALLBACK seekFile(voidpf, voidpf stream, ZPOS64_T offset, int origin)
{
    QIODevice& file = device(stream);
    if (offset > static_cast<ZPOS64_T>(std::numeric_limits<qint64>::max() / 2))
        return -1;
    const qint64 base = origin == ZLIB_FILEFUNC_SEEK_CUR   ? file.pos()
                        : origin == ZLIB_FILEFUNC_SEEK_END ? file.size()
                                                           : 0;
    return file.seek(base + static_cast<qint64>(offset)) ? 0 : -1;
}

int ZCALLBACK leaveOpen(voidpf, voidpf)
{
    return 0;
}

int ZCALLBACK noError(voidpf, voidpf)
{
    return 0;
}

} // namespace

class ZipArchive::Part final : public QIODevice
{
public:
    explicit Part(ZipArchive& archive) : m_archive(archive)
    {
        QIODevice::open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }
    ~Part() override
    {
        // The check sum of a part that was not read to its end tells nothing.
        if (unzCloseCurrentFile(m_archive.m_handle) == UNZ_CRCERROR)
            m_archive.m_isDamaged = true;
    }
    [[nodiscard]] bool isSequential() const override { return true; }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        // One byte more than is left tells whether the part ends there.
        const qint64 wanted =
            std::min({maxSize, m_archive.m_bytesLeft + 1, qint64{std::numeric_limits<int>::max()}});
        const int got = unzReadCurrentFile(m_archive.m_handle, data, static_cast<unsigned>(wanted));
        if (got < 0) {
            m_archive.m_isDamaged = true;
            return -1;
        }
        m_archive.m_bytesLeft -= got;
        if (m_archive.m_bytesLeft < 0) {
            m_archive.m_isTooLarge = true;
            m_archive.m_bytesLeft = 0;
            return -1;
        }
        return got > 0 || maxSize == 0 ? got : -1;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    ZipArchive& m_archive;
};

ZipArchive::ZipArchive(QIODevice& file, qint64 mostBytes) : m_bytesLeft(mostBytes)
{
    zlib_filefunc64_def functions{};
    functions.zopen64_file = openFile;
    functions.zread_file = readFile;
    functions.zwrite_file = writeFile;
    functions.ztell64_file = tellFile;
    functions.zseek64_file = seekFile;
    functions.zclose_file = leaveOpen;
    functions.zerror_file = noError;
    functions.opaque = &file;
    m_handle = unzOpen2_64("", &functions);
}

ZipArchive::~ZipArchive()
{
    if (m_handle)
        unzClose(m_handle);
}

std::unique_ptr<QIODevice> ZipArchive::open(const QString& name)
{
    constexpr int ignoreCase = 2;
    if (unzLocateFile(m_handle, name.toUtf8().constData(), ignoreCase) != UNZ_OK)
        return nullptr;
    if (unzOpenCurrentFile(m_handle) != UNZ_OK) {
        m_isDamaged = true;
        return nullptr;
    }
    return std::make_unique<Part>(*this);
}

} // namespace vt
