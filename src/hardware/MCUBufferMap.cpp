// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/MCUBufferMap.h"

#include <algorithm>
#include <bit>

namespace vt {

namespace {

constexpr std::size_t MapRevisionAt = 0x00;
constexpr std::size_t AnimalTypeAt = 0x01;
constexpr std::size_t AmplifierTypeAt = 0x02;
constexpr std::size_t SensorTypeAt = 0x03;
constexpr std::size_t SensorCountAt = 0x04;
constexpr std::size_t ShortedMaskAt = 0x05;
constexpr std::size_t GainAt = 0x07;
constexpr std::size_t EepromControlAt = 0x09;
constexpr std::size_t StatusAt = 0x0A;
constexpr std::size_t BuildInfoAt = 0x0C;
constexpr std::size_t ManufacturingDateAt = 0x1C;
constexpr std::size_t ManufacturingDateSize = 10;
constexpr std::size_t CustomerInfoAt = 0x26;
constexpr std::size_t CustomerInfoSize = 12;
constexpr std::size_t AmplifierTextAt = 0x50;
constexpr std::size_t AmplifierTextSize = 16;
constexpr std::size_t InputGainAt = 0x60;
constexpr std::size_t OutputGainAt = 0x64;
constexpr std::size_t OffsetVoltsAt = 0x68;

constexpr std::uint8_t KnownMapRevision = 1;
constexpr std::uint8_t Mouse = 1;
constexpr std::uint8_t Rat = 2;

} // namespace

MCUBufferMap::MCUBufferMap(std::span<const std::uint8_t, McuRegisterCount> bytes)
{
    std::copy(bytes.begin(), bytes.end(), m_bytes.begin());
}

std::uint16_t MCUBufferMap::u16(std::size_t offset) const
{
    return static_cast<std::uint16_t>(m_bytes[offset] | (m_bytes[offset + 1] << 8));
}

float MCUBufferMap::f32(std::size_t offset) const
{
    return std::bit_cast<float>(u16(offset) | (static_cast<std::uint32_t>(u16(offset + 2)) << 16));
}

QString MCUBufferMap::text(std::size_t offset, std::size_t size) const
{
    QString text;
    for (std::size_t i = offset; i < offset + size && m_bytes[i] != 0; ++i)
        text += QLatin1Char(m_bytes[i] < 0x80 ? static_cast<char>(m_bytes[i]) : '?');
    return text;
}

bool MCUBufferMap::isFromUnit() const
{
    const std::uint8_t first = m_bytes.front();
    const bool isOneLevel = first == 0x00 || first == 0xFF;
    return !isOneLevel || std::ranges::any_of(m_bytes, [first](std::uint8_t byte) { return byte != first; });
}

bool MCUBufferMap::isKnown() const
{
    const std::uint8_t animal = m_bytes[AnimalTypeAt];
    return m_bytes[MapRevisionAt] == KnownMapRevision && (animal == Mouse || animal == Rat);
}

MCUHeader MCUBufferMap::header() const
{
    MCUHeader header;
    header.mapRevision = m_bytes[MapRevisionAt];
    header.animalType = m_bytes[AnimalTypeAt];
    header.amplifierType = m_bytes[AmplifierTypeAt];
    header.sensorType = m_bytes[SensorTypeAt];
    header.sensorCount = m_bytes[SensorCountAt];
    header.shortedMask = u16(ShortedMaskAt);
    header.gain = u16(GainAt);
    header.eepromControl = m_bytes[EepromControlAt];
    header.status = m_bytes[StatusAt];
    std::copy_n(m_bytes.begin() + BuildInfoAt, header.buildInfo.size(), header.buildInfo.begin());
    header.manufacturingDate = text(ManufacturingDateAt, ManufacturingDateSize);
    header.customerInfo = text(CustomerInfoAt, CustomerInfoSize);
    header.amplifierText = text(AmplifierTextAt, AmplifierTextSize);
    header.inputGain = f32(InputGainAt);
    header.outputGain = f32(OutputGainAt);
    header.offsetVolts = f32(OffsetVoltsAt);
    return header;
}

} // namespace vt
