// SPDX-License-Identifier: GPL-3.0-or-later
// "<process id>-<start>-<boot>": the start counts the clock ticks since the computer was started, and so
// means something only together with the name that the kernel gives to each run of it.
#include "platform/ProcessIdentity.h"

#include <QByteArray>
#include <QFile>
#include <QList>

namespace vt::platform {

namespace {

QByteArray contentsOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

QString processIdentity(qint64 processId)
{
    // As proc(5) has it: fields 3 (state) and 22 (start). The second, a name in brackets, may hold both
    // blanks and brackets.
    constexpr qsizetype StateField = 0;
    constexpr qsizetype StartField = 19;
    const QByteArray status = contentsOf(QStringLiteral("/proc/%1/stat").arg(processId));
    const QList<QByteArray> fields = status.mid(status.lastIndexOf(')') + 2).split(' ');
    const QByteArray boot = contentsOf(QStringLiteral("/proc/sys/kernel/random/boot_id")).trimmed();
    if (fields.size() <= StartField || boot.isEmpty())
        return {};
    if (fields[StateField] == "Z" || fields[StateField] == "X") // dead, and not yet asked for by its parent
        return {};
    return QStringLiteral("%1-%2-%3")
        .arg(QString::number(processId), QString::fromLatin1(fields[StartField]), QString::fromLatin1(boot));
}

} // namespace vt::platform
