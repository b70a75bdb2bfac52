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
    // A shared lock: two who look at the same moment do not take each other for a writer. Of a lock made by
    // flock() nobody can ask without taking one; openExclusive() puts up with it.
    const bool held = ::flock(descriptor, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(descriptor); // lets go of the lock too
    return held;
}

} // namespace vt::platform
