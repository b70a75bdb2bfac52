// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/PseudoTerminal.h"

#include <QFile>
#include <QSocketNotifier>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace vt {

struct PseudoTerminal::Private
{
    int descriptor = -1;
    // Held open: else the line hangs up, and the notifier never rests, whenever nobody else has it open.
    int peer = -1;
    QString peerPath;
    QString errorText;
    std::unique_ptr<QSocketNotifier> notifier;

    [[nodiscard]] bool openBoth();
};

namespace {

void closeDescriptor(int& descriptor)
{
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}

bool makeRaw(int descriptor)
{
    termios settings{};
    if (tcgetattr(descriptor, &settings) != 0)
        return false;
    cfmakeraw(&settings);
    return tcsetattr(descriptor, TCSANOW, &settings) == 0;
}

} // namespace

bool PseudoTerminal::Private::openBoth()
{
    descriptor = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0 || grantpt(descriptor) != 0 || unlockpt(descriptor) != 0)
        return false;
    std::array<char, 128> name{};
    if (ptsname_r(descriptor, name.data(), name.size()) != 0)
        return false;
    peerPath = QFile::decodeName(name.data());
    peer = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    return peer >= 0 && makeRaw(peer);
}

bool PseudoTerminal::isAvailable()
{
    return true;
}

PseudoTerminal::PseudoTerminal() : d(std::make_unique<Private>()) {}

PseudoTerminal::~PseudoTerminal()
{
    close();
}

bool PseudoTerminal::open(std::function<void()> readyRead)
{
    close();
    if (!d->openBoth()) {
        d->errorText = QString::fromLocal8Bit(std::strerror(errno));
        close();
        return false;
    }
    d->errorText.clear();
    d->notifier = std::make_unique<QSocketNotifier>(d->descriptor, QSocketNotifier::Read);
    QObject::connect(d->notifier.get(), &QSocketNotifier::activated, d->notifier.get(),
                     [readyRead = std::move(readyRead)] { readyRead(); });
    return true;
}

void PseudoTerminal::close()
{
    d->notifier.reset();
    closeDescriptor(d->peer);
    closeDescriptor(d->descriptor);
    d->peerPath.clear();
}

bool PseudoTerminal::isOpen() const
{
    return d->descriptor >= 0;
}

QString PseudoTerminal::peerPath() const
{
    return d->peerPath;
}

QByteArray PseudoTerminal::read()
{
    QByteArray bytes;
    std::array<char, 4096> chunk{};
    while (isOpen()) {
        const ssize_t count = ::read(d->descriptor, chunk.data(), chunk.size());
        if (count > 0)
            bytes.append(chunk.data(), count);
        else if (count == 0 || errno != EINTR)
            break;
    }
    return bytes;
}

qsizetype PseudoTerminal::write(const QByteArray& bytes)
{
    qsizetype written = 0;
    while (isOpen() && written < bytes.size()) {
        const ssize_t count = ::write(d->descriptor, bytes.constData() + written,
                                      static_cast<std::size_t>(bytes.size() - written));
        if (count > 0)
            written += count;
        else if (count == 0 || errno != EINTR)
            break;
    }
    return written;
}

QString PseudoTerminal::errorText() const
{
    return d->errorText;
}

} // namespace vt
