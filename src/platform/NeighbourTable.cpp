// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/NeighbourTable.h"

#include <QRegularExpression>
#include <QStringList>

namespace vt::platform {

namespace {

QString dotted(quint32 ipv4)
{
    return QStringLiteral("%1.%2.%3.%4")
        .arg(ipv4 >> 24U)
        .arg((ipv4 >> 16U) & 0xFFU)
        .arg((ipv4 >> 8U) & 0xFFU)
        .arg(ipv4 & 0xFFU);
}

} // namespace

QString firstMac(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("([0-9A-Fa-f]{2}[:-]){5}([0-9A-Fa-f]{2})"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return {};
    return match.captured().toUpper().replace(QLatin1Char(':'), QLatin1Char('-'));
}

QString macFromArpOutput(const QString& output)
{
    return output.contains(QStringLiteral("No ARP Entries Found")) ? QString() : firstMac(output);
}

QString macFromNeighbourTable(const QString& table, quint32 ipv4)
{
    // Columns: IP address, HW type, Flags, HW address, Mask, Device. Flag 2: the entry is complete.
    constexpr uint Complete = 2;
    const QString address = dotted(ipv4);
    for (const QString& line : table.split(QLatin1Char('\n'))) {
        const QStringList columns = line.simplified().split(QLatin1Char(' '));
        if (columns.size() < 4 || columns[0] != address)
            continue;
        bool isNumber = false;
        if ((columns[2].toUInt(&isNumber, 16) & Complete) != 0 && isNumber)
            return firstMac(columns[3]);
    }
    return {};
}

} // namespace vt::platform
