// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/AppendFile.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace vt {

namespace {

std::size_t writeAll(std::intptr_t handle, std::string_view bytes) noexcept
{
    std::size_t taken = 0;
    while (taken < bytes.size()) {
        const ssize_t count = ::write(static_cast<int>(handle), bytes.data() + taken, bytes.size() - taken);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        taken += static_cast<std::size_t>(count);
    }
    return taken;
}

int openFile(const QString& path, int flags)
{
    return ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | flags,
                  S_IRUSR | S_IWUSR);
}

struct flock wholeFile()
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

} // namespace

AppendFile::~AppendFile()
{
    if (isOpen())
        ::close(static_cast<int>(m_handle.load()));
}

AppendFile::Creation AppendFile::create(const QString& path)
{
    const int opened = openFile(path, O_EXCL);
    if (opened < 0)
        return errno == EEXIST ? Creation::NameTaken : Creation::Failed;
    take(opened);
    return Creation::Created;
}

bool AppendFile::open(const QString& path)
{
    const int opened = openFile(path, 0);
    if (opened < 0)
        return false;
    take(opened);
    return true;
}

void AppendFile::take(std::intptr_t handle) noexcept
{
    // Only a sign for others: on a file system that cannot lock, the file is written all the same.
    struct flock sign = wholeFile();
    std::ignore = ::fcntl(static_cast<int>(handle), F_OFD_SETLK, &sign);
    if (const std::intptr_t before = m_handle.exchange(handle); before != Closed)
        ::close(static_cast<int>(before));
}

bool AppendFile::isOpenSomewhere(const QString& path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        return false;
    struct flock sign = wholeFile();
    const bool open = ::fcntl(descriptor, F_OFD_GETLK, &sign) == 0 && sign.l_type != F_UNLCK;
    ::close(descriptor);
    return open;
}

std::size_t AppendFile::append(std::string_view bytes) noexcept
{
    return writeAll(m_handle.load(), bytes);
}

void AppendFile::cutBack(std::size_t bytes) noexcept
{
    struct stat status
    {};
    const int descriptor = static_cast<int>(m_handle.load());
    if (fstat(descriptor, &status) == 0 && status.st_size >= static_cast<off_t>(bytes)) [[maybe_unused]]
        const int cut = ftruncate(descriptor, status.st_size - static_cast<off_t>(bytes));
}

bool AppendFile::isGone() const noexcept
{
    struct stat status
    {};
    return fstat(static_cast<int>(m_handle.load()), &status) == 0 && status.st_nlink == 0;
}

std::size_t AppendFile::appendWhileDying(std::string_view bytes) const noexcept
{
    return writeAll(m_handle.load(), bytes);
}

} // namespace vt
