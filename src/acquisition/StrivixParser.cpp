// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/StrivixParser.h"

namespace vt {

namespace {

constexpr qsizetype PacketBytes = 3;
constexpr unsigned PacketStart = 0x80;
constexpr double Channel1VoltsPerStep = 0.001611328125; // 3.3 V / 2048
constexpr double Channel2VoltsPerStep = 0.00322265625;  // 3.3 V / 1024
constexpr int Channel1ZeroCode = 1024;
constexpr int Channel2ZeroCode = 511; // not 512: the device's own offset
constexpr qsizetype PendingLimitBytes = 1024;
constexpr qsizetype PendingKeptBytes = 512;

StrivixSample decode(unsigned byte0, unsigned byte1, unsigned byte2)
{
    const int code1 = static_cast<int>((byte0 & 0x7F) * 16 + (byte2 & 0x0F));
    const int code2 = static_cast<int>((byte1 & 0x7F) * 8 + ((byte2 >> 4) & 0x07));
    return {(code1 - Channel1ZeroCode) * Channel1VoltsPerStep,
            (code2 - Channel2ZeroCode) * Channel2VoltsPerStep};
}

} // namespace

void StrivixParser::parse(QByteArrayView bytes, std::vector<StrivixSample>& samples)
{
    m_buffer.append(bytes);
    m_buffer.remove(0, parseBuffer(samples));
    if (m_buffer.size() > PendingLimitBytes) {
        m_droppedBytes += static_cast<quint64>(m_buffer.size() - PendingKeptBytes);
        m_damagedBytes += static_cast<quint64>(m_buffer.size() - PendingKeptBytes);
        m_buffer = m_buffer.last(PendingKeptBytes);
    }
}

void StrivixParser::drop()
{
    ++m_droppedBytes;
    if (m_partialPacketLeft > 0)
        --m_partialPacketLeft;
    else
        ++m_damagedBytes;
}

/// How many bytes from the front of the buffer are done with.
qsizetype StrivixParser::parseBuffer(std::vector<StrivixSample>& samples)
{
    const auto byteAt = [this](qsizetype i) {
        return static_cast<unsigned>(static_cast<unsigned char>(m_buffer.at(i)));
    };
    const qsizetype size = m_buffer.size();
    qsizetype next = 0;
    while (true) {
        for (; next < size && !(byteAt(next) & PacketStart); ++next)
            drop();
        if (next < size)
            m_partialPacketLeft = 0;
        if (size - next < PacketBytes)
            return next;
        const unsigned byte1 = byteAt(next + 1);
        const unsigned byte2 = byteAt(next + 2);
        if ((byte1 | byte2) & PacketStart) {
            drop();
            ++next;
            continue;
        }
        samples.push_back(decode(byteAt(next), byte1, byte2));
        next += PacketBytes;
    }
}

} // namespace vt
