// SPDX-License-Identifier: GPL-3.0-or-later
// A claim is a lock on a file named after the device. The file stays when the claim ends: unlinking it would
// let one instance lock a file that another has just removed. It names its owner's process id while the claim
// lasts and is emptied when the claim is given up, so a file that names an owner and is not locked was left
// by one that died. That is judged by the lock alone, not by the id: the id of a dead owner may be in use
// again, even as our own (the first process of a container always has the same one).
//
// The lock belongs to the open file (F_OFD_SETLK), like one of flock(): closing another descriptor of the
// same file does not end it, a second claim within the process is refused. Other than with flock(), one can
// ask about it without taking it, so a look at who holds a device never gets in the way of someone claiming
// it.
//
// There is one such file in each of two folders, and a claim holds them all. The runtime folder is not the
// same to every program of a user (cron and services may have none) and goes with the user's last login,
// while a recording goes on; the temporary folder stays, but a program may have been given one of its own.
#include "platform/SystemClaim.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QStringList>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace vt::platform {

namespace {

/// Owns a file descriptor.
class Descriptor
{
public:
    explicit Descriptor(int descriptor = -1) : m_descriptor(descriptor) {}
    ~Descriptor()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Descriptor(Descriptor&& other) noexcept : m_descriptor(other.m_descriptor) { other.m_descriptor = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    [[nodiscard]] int get() const { return m_descriptor; }
    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }

private:
    int m_descriptor;
};

struct Failure
{
    QString call;
    int code = 0;
};

/// The user's runtime folder; empty when there is none. One that the environment names keeps programs apart
/// from those that have been given another: the login's own is then not looked at.
QString runtimeFolder()
{
    // Qt's own stand-in for a missing variable would warn at every look at a device.
    if (!qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR"))
        return QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    const QByteArray login = "/run/user/" + QByteArray::number(::geteuid());
    struct stat status = {};
    if (::lstat(login.constData(), &status) != 0 || !S_ISDIR(status.st_mode) || status.st_uid != ::geteuid())
        return {};
    return QFile::decodeName(login);
}

/// Where a claim has its files. The order is the same for everyone, so that two who claim at the same moment
/// do not refuse each other.
QStringList folderPaths()
{
    QStringList paths;
    if (const QString runtime = runtimeFolder(); !runtime.isEmpty())
        paths << runtime + QStringLiteral("/vellumtide");
    paths << QDir::tempPath() + QStringLiteral("/vellumtide-%1").arg(::geteuid());
    return paths;
}

/// The temporary folder is everyone's: whatever stands there under our name must be a folder of this user,
/// and writable by nobody else.
Descriptor openPrivateFolder(const QString& path, Failure& failure)
{
    const QByteArray name = QFile::encodeName(path);
    if (::mkdir(name.constData(), 0700) != 0 && errno != EEXIST) {
        failure = {QStringLiteral("mkdir"), errno};
        return Descriptor();
    }
    Descriptor folder(::open(name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.isOpen()) {
        failure = {QStringLiteral("open"), errno};
        return folder;
    }
    struct stat status = {};
    if (::fstat(folder.get(), &status) != 0) {
        failure = {QStringLiteral("fstat"), errno};
        return Descriptor();
    }
    if (status.st_uid != ::geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        failure = {QStringLiteral("open"), EPERM};
        return Descriptor();
    }
    return folder;
}

QByteArray fileName(const QString& serial)
{
    return "daq-" + serial.toUtf8().toPercentEncoding() + ".lock";
}

struct flock wholeFile()
{
    struct flock lock = {}; // l_pid has to be 0
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

/// The process id that the file names, 0 when it names none.
qint64 namedOwner(int descriptor)
{
    std::array<char, 32> text{};
    const ssize_t size = ::pread(descriptor, text.data(), text.size(), 0);
    if (size <= 0)
        return 0;
    bool ok = false;
    const qint64 owner = QByteArray(text.data(), static_cast<qsizetype>(size)).trimmed().toLongLong(&ok);
    return ok && owner > 0 ? owner : 0;
}

/// False when the file was replaced between opening and locking it.
bool isStillNamed(const Descriptor& folder, const QByteArray& name, int descriptor)
{
    struct stat opened = {};
    struct stat named = {};
    return ::fstat(descriptor, &opened) == 0 &&
           ::fstatat(folder.get(), name.constData(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

/// A file that is locked for as long as this object lives.
class LockedFile
{
public:
    explicit LockedFile(Descriptor file) : m_file(std::move(file)) {}
    LockedFile(LockedFile&&) = default;
    LockedFile& operator=(LockedFile&&) = default;
    ~LockedFile()
    {
        if (!m_file.isOpen())
            return;
        if (m_namesUs && ::ftruncate(m_file.get(), 0) != 0)
            qWarning("DaqClaim: ftruncate failed, error: %d", errno);
        // By name, not only by closing: a child between fork and exec still shares the open file.
        struct flock lock = wholeFile();
        lock.l_type = F_UNLCK;
        if (::fcntl(m_file.get(), F_OFD_SETLK, &lock) != 0)
            qWarning("DaqClaim: fcntl failed, error: %d", errno);
    }
    [[nodiscard]] bool namesOwner() const { return namedOwner(m_file.get()) != 0; }
    /// Writes the owner into the file. A claim whose owner cannot be written protects all the same.
    void nameOwner()
    {
        m_namesUs = true;
        const QByteArray owner = QByteArray::number(QCoreApplication::applicationPid()) + '\n';
        // The sticky bit keeps services that tidy up old temporary files away from it for as long as we
        // record.
        if (::fchmod(m_file.get(), S_IRUSR | S_IWUSR | S_ISVTX) != 0 || ::ftruncate(m_file.get(), 0) != 0 ||
            ::pwrite(m_file.get(), owner.constData(), static_cast<size_t>(owner.size()), 0) != owner.size())
            qWarning("DaqClaim: the owner's process id was not written, error: %d", errno);
    }

private:
    Descriptor m_file;
    bool m_namesUs = false; ///< else what it holds is left as it is
};

class LockedFiles final : public SystemClaim
{
public:
    std::vector<LockedFile> files;
};

struct LockAttempt
{
    std::optional<LockedFile> file;
    bool heldElsewhere = false;
    Failure failure; ///< code 0 with no file: it was replaced meanwhile
};

LockAttempt lockOnce(const Descriptor& folder, const QByteArray& name)
{
    LockAttempt attempt;
    Descriptor file(
        ::openat(folder.get(), name.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file.isOpen()) {
        attempt.failure = {QStringLiteral("open"), errno};
        return attempt;
    }
    struct flock lock = wholeFile();
    if (::fcntl(file.get(), F_OFD_SETLK, &lock) == 0) {
        if (isStillNamed(folder, name, file.get()))
            attempt.file.emplace(std::move(file));
        return attempt;
    }
    attempt.heldElsewhere = errno == EAGAIN || errno == EACCES;
    if (!attempt.heldElsewhere)
        attempt.failure = {QStringLiteral("fcntl"), errno};
    return attempt;
}

LockAttempt lockIn(const QString& path, const QByteArray& name)
{
    constexpr int MaxReplacements = 8;
    LockAttempt attempt;
    const Descriptor folder = openPrivateFolder(path, attempt.failure);
    if (!folder.isOpen())
        return attempt;
    for (int i = 0; i < MaxReplacements; ++i) {
        attempt = lockOnce(folder, name);
        if (attempt.file || attempt.heldElsewhere || attempt.failure.code != 0)
            return attempt;
    }
    attempt.failure = {QStringLiteral("open"), ESTALE};
    return attempt;
}

} // namespace

/// A folder that cannot be used is done without, as long as there is another.
ClaimAttempt takeClaim(const QString& serial)
{
    const QByteArray name = fileName(serial);
    ClaimAttempt attempt;
    auto claim = std::make_unique<LockedFiles>();
    for (const QString& path : folderPaths()) {
        LockAttempt locked = lockIn(path, name);
        if (locked.heldElsewhere) {
            attempt.outcome = ClaimAttempt::Outcome::HeldElsewhere;
            return attempt;
        }
        if (locked.file) {
            claim->files.push_back(std::move(*locked.file));
            continue;
        }
        attempt.failedCall = locked.failure.call;
        attempt.errorCode = locked.failure.code;
    }
    if (claim->files.empty())
        return attempt;
    attempt.outcome = ClaimAttempt::Outcome::Claimed;
    for (LockedFile& file : claim->files) {
        if (file.namesOwner())
            attempt.outcome = ClaimAttempt::Outcome::ClaimedAbandoned;
        file.nameOwner();
    }
    attempt.claim = std::move(claim);
    return attempt;
}

std::optional<qint64> claimHolder(const QString& serial)
{
    const QByteArray name = fileName(serial);
    for (const QString& path : folderPaths()) {
        const QByteArray full = QFile::encodeName(path) + '/' + name;
        const Descriptor file(::open(full.constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
        struct flock lock = wholeFile();
        if (file.isOpen() && ::fcntl(file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK)
            return namedOwner(file.get());
    }
    return std::nullopt;
}

} // namespace vt::platform
