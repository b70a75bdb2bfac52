// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QtGlobal>
#include <vector>

namespace vt {

/// One instant of both channels of the serial amplifier, in volts.
struct StrivixSample
{
    double channel1Volts; ///< -1.65 .. +1.6484, 11 bits
    double channel2Volts; ///< -1.6468 .. +1.65, 10 bits

    friend bool operator==(const StrivixSample&, const StrivixSample&) = default;
};

/// Turns the amplifier's byte stream into samples. The wire carries packets of three bytes, of which only the
/// first has bit 7 set:
///
///   byte 0: 1, channel 1 high 7 bits
///   byte 1: 0, channel 2 high 7 bits
///   byte 2: 0, channel 2 low 3 bits, channel 1 low 4 bits
///
/// A damaged stream costs the packet that is damaged; parsing goes on at the next byte with bit 7 set.
/// Not thread-safe.
class StrivixParser
{
public:
    /// Appends the samples of all packets that are complete to samples. bytes: any length.
    void parse(QByteArrayView bytes, std::vector<StrivixSample>& samples);
    /// Forgets a packet that has begun: another stream follows. The counts stay.
    void clear()
    {
        m_buffer.clear();
        m_partialPacketLeft = PartialPacketBytes;
    }

    /// Bytes that were part of no packet.
    [[nodiscard]] quint64 droppedBytes() const { return m_droppedBytes; }
    /// The same without the rest, up to 2 bytes, of a packet that a stream began in the middle of.
    [[nodiscard]] quint64 damagedBytes() const { return m_damagedBytes; }
    [[nodiscard]] qsizetype pendingBytes() const { return m_buffer.size(); }

private:
    static constexpr int PartialPacketBytes = 2;

    void drop();
    [[nodiscard]] qsizetype parseBuffer(std::vector<StrivixSample>& samples);

    QByteArray m_buffer;
    quint64 m_droppedBytes = 0;
    quint64 m_damagedBytes = 0;
    int m_partialPacketLeft =
        PartialPacketBytes; ///< bytes that may still be the rest of one; 0 after a start
};

} // namespace vt
