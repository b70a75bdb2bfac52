// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QString>
#include <optional>

namespace vt {

/// A serial port and what the system knows of the USB device behind it.
struct SerialPortFacts
{
    QString path; ///< as QSerialPort opens it
    std::optional<quint16> vendorId;
    std::optional<quint16> productId;
    QString serialNumber; ///< may be empty
    QString description;  ///< may be empty
};

/// The serial ports that are there now. Any thread; a few milliseconds.
class SerialPortList
{
public:
    virtual ~SerialPortList() = default;
    [[nodiscard]] virtual QList<SerialPortFacts> ports() const = 0;
};

class SystemSerialPorts final : public SerialPortList
{
public:
    [[nodiscard]] QList<SerialPortFacts> ports() const override;
};

/// Another list and ports beside it, such as pseudo-terminals, which the system does not list. One whose path
/// begins with "/" is listed while something is there.
class ExtendedSerialPorts final : public SerialPortList
{
public:
    /// others outlives the object.
    ExtendedSerialPorts(const SerialPortList& others, QList<SerialPortFacts> extra);
    [[nodiscard]] QList<SerialPortFacts> ports() const override;

private:
    const SerialPortList& m_others;
    const QList<SerialPortFacts> m_extra;
};

/// Reads "path=/dev/pts/3;vid=2405;pid=000B;serial=A1B2;description=Tessaly Enviro": pieces in any order,
/// path needed, the others may be missing, vid and pid hexadecimal. Empty, with *error naming the piece that
/// is wrong, for anything else.
[[nodiscard]] std::optional<SerialPortFacts> parseExtraPort(const QString& text, QString* error);

} // namespace vt
