// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ExclusiveProbe.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace vt::platform {

bool isHeldByWriter(const QString& path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        return false;
    const bool held = ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(descriptor); // lets go of the lock too
    return held;
}

} // namespace vt::platform
