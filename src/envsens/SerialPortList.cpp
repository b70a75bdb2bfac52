// SPDX-License-Identifier: GPL-3.0-or-later
#include "envsens/SerialPortList.h"

#include <QFileInfo>
#include <QSerialPortInfo>
#include <QStringList>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

/// False when it is no hexadecimal number of 16 bits.
bool parseHex(const QString& text, std::optional<quint16>& id)
{
    bool ok = false;
    id = text.toUShort(&ok, 16);
    return ok;
}

/// What is wrong with the piece; empty when nothing is.
QString takePiece(SerialPortFacts& port, const QString& key, const QString& value)
{
    if (key == "path"_L1)
        port.path = value;
    else if (key == "serial"_L1)
        port.serialNumber = value;
    else if (key == "description"_L1)
        port.description = value;
    else if (key != "vid"_L1 && key != "pid"_L1)
        return u"'%1' is not one of path, vid, pid, serial, description"_s.arg(key);
    else if (!parseHex(value, key == "vid"_L1 ? port.vendorId : port.productId))
        return u"%1 '%2' is not a hexadecimal number from 0 to FFFF"_s.arg(key, value);
    return {};
}

} // namespace

QList<SerialPortFacts> SystemSerialPorts::ports() const
{
    QList<SerialPortFacts> facts;
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& port : ports) {
        SerialPortFacts found{port.systemLocation(), {}, {}, port.serialNumber(), port.description()};
        if (port.hasVendorIdentifier())
            found.vendorId = port.vendorIdentifier();
        if (port.hasProductIdentifier())
            found.productId = port.productIdentifier();
        facts.append(found);
    }
    return facts;
}

ExtendedSerialPorts::ExtendedSerialPorts(const SerialPortList& others, QList<SerialPortFacts> extra)
    : m_others(others), m_extra(std::move(extra))
{}

QList<SerialPortFacts> ExtendedSerialPorts::ports() const
{
    QList<SerialPortFacts> facts = m_others.ports();
    for (const SerialPortFacts& port : m_extra)
        if (!port.path.startsWith(u'/') || QFileInfo::exists(port.path)) // a link to nothing does not exist
            facts.append(port);
    return facts;
}

std::optional<SerialPortFacts> parseExtraPort(const QString& text, QString* error)
{
    SerialPortFacts port;
    QStringList seen;
    const QStringList pieces = text.split(u';', Qt::SkipEmptyParts);
    for (const QString& piece : pieces) {
        const qsizetype equals = piece.indexOf(u'=');
        const QString key = piece.left(equals).trimmed();
        if (equals < 0)
            *error = u"'%1' has no '='"_s.arg(piece);
        else if (seen.contains(key))
            *error = u"%1 is given twice"_s.arg(key);
        else
            *error = takePiece(port, key, piece.mid(equals + 1).trimmed());
        if (!error->isEmpty())
            return std::nullopt;
        seen << key;
    }
    if (port.path.isEmpty()) {
        *error = u"path is missing"_s;
        return std::nullopt;
    }
    error->clear();
    return port;
}

} // namespace vt
