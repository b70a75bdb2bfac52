// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/BigEndian.h"

#include <QByteArray>
#include <QString>
#include <bit>
#include <cstdint>
#include <optional>
#include <span>

namespace vt {

/// Appends values in network order. Strings are a u32 byte count and UTF-8 bytes, no terminator.
class BigEndianWriter
{
public:
    template <typename T>
    void unsignedInteger(T value)
    {
        std::array<std::byte, sizeof(T)> bytes;
        storeBigEndian(value, bytes.data());
        m_bytes.append(reinterpret_cast<const char*>(bytes.data()), sizeof(T));
    }
    void u32(std::uint32_t value) { unsignedInteger(value); }
    /// A count or code that is kept as an int; negative ones do not occur.
    void u32(int value) { unsignedInteger(static_cast<std::uint32_t>(value)); }
    void f32(float value) { unsignedInteger(std::bit_cast<std::uint32_t>(value)); }
    void f64(double value) { unsignedInteger(std::bit_cast<std::uint64_t>(value)); }
    void text(const QString& value)
    {
        const QByteArray utf8 = value.toUtf8();
        u32(static_cast<std::uint32_t>(utf8.size()));
        m_bytes.append(utf8);
    }
    void raw(const QByteArray& bytes) { m_bytes.append(bytes); }
    [[nodiscard]] const QByteArray& bytes() const { return m_bytes; }
    [[nodiscard]] QByteArray& bytes() { return m_bytes; }

private:
    QByteArray m_bytes;
};

/// Reads what BigEndianWriter writes, from memory, never past its end. After the first value that does not
/// fit every further one is 0 or empty and ok() is false.
class BigEndianReader
{
public:
    explicit BigEndianReader(std::span<const std::byte> bytes) : m_bytes(bytes) {}

    template <typename T>
    [[nodiscard]] T unsignedInteger()
    {
        const std::span<const std::byte> bytes = take(sizeof(T));
        return bytes.empty() ? T{0} : loadBigEndian<T>(bytes.data());
    }
    [[nodiscard]] std::uint32_t u32() { return unsignedInteger<std::uint32_t>(); }
    [[nodiscard]] float f32() { return std::bit_cast<float>(u32()); }
    [[nodiscard]] double f64() { return std::bit_cast<double>(unsignedInteger<std::uint64_t>()); }
    [[nodiscard]] QString text()
    {
        const std::span<const std::byte> bytes = take(u32());
        return QString::fromUtf8(reinterpret_cast<const char*>(bytes.data()),
                                 static_cast<qsizetype>(bytes.size()));
    }
    /// The next count bytes; empty, and ok() false from then on, when there are fewer.
    [[nodiscard]] std::span<const std::byte> take(std::size_t count)
    {
        if (!m_ok || count > remaining()) {
            m_ok = false;
            return {};
        }
        const std::span<const std::byte> bytes = m_bytes.subspan(m_position, count);
        m_position += count;
        return bytes;
    }
    [[nodiscard]] bool ok() const { return m_ok; }
    /// Where the next value is read, or the value that did not fit began.
    [[nodiscard]] std::size_t position() const { return m_position; }
    [[nodiscard]] std::size_t remaining() const { return m_bytes.size() - m_position; }

private:
    std::span<const std::byte> m_bytes;
    std::size_t m_position = 0;
    bool m_ok = true;
};

} // namespace vt
