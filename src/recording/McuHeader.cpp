// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/McuHeader.h"

#include "recording/BigEndianStream.h"

#include <algorithm>

namespace vt {

QByteArray encodeMcuBlock(const MCUHeader& header)
{
    BigEndianWriter fields;
    fields.unsignedInteger(header.mapRevision);
    fields.unsignedInteger(header.animalType);
    fields.unsignedInteger(header.amplifierType);
    fields.unsignedInteger(header.sensorType);
    fields.unsignedInteger(header.sensorCount);
    fields.unsignedInteger(header.shortedMask);
    fields.unsignedInteger(header.gain);
    fields.unsignedInteger(header.eepromControl);
    fields.unsignedInteger(header.status);
    for (const std::uint8_t byte : header.buildInfo)
        fields.unsignedInteger(byte);
    fields.text(header.manufacturingDate);
    fields.text(header.customerInfo);
    fields.text(header.amplifierText);
    fields.f32(header.inputGain);
    fields.f32(header.outputGain);
    fields.f32(header.offsetVolts);

    BigEndianWriter block;
    block.u32(static_cast<std::uint32_t>(fields.bytes().size()));
    block.raw(fields.bytes());
    return block.bytes();
}

std::optional<MCUHeader> decodeMcuBlock(std::span<const std::byte> payload)
{
    BigEndianReader in(payload);
    MCUHeader header;
    header.mapRevision = in.unsignedInteger<std::uint8_t>();
    header.animalType = in.unsignedInteger<std::uint8_t>();
    header.amplifierType = in.unsignedInteger<std::uint8_t>();
    header.sensorType = in.unsignedInteger<std::uint8_t>();
    header.sensorCount = in.unsignedInteger<std::uint8_t>();
    header.shortedMask = in.unsignedInteger<std::uint16_t>();
    header.gain = in.unsignedInteger<std::uint16_t>();
    header.eepromControl = in.unsignedInteger<std::uint8_t>();
    header.status = in.unsignedInteger<std::uint8_t>();
    for (std::uint8_t& byte : header.buildInfo)
        byte = in.unsignedInteger<std::uint8_t>();
    header.manufacturingDate = in.text();
    header.customerInfo = in.text();
    header.amplifierText = in.text();
    header.inputGain = in.f32();
    header.outputGain = in.f32();
    header.offsetVolts = in.f32();
    if (!in.ok())
        return std::nullopt;
    return header;
}

MCUHeader placeholderMcuHeader(std::uint8_t amplifierType, std::uint8_t animalType)
{
    MCUHeader header;
    header.amplifierType = amplifierType;
    header.animalType = animalType;
    header.manufacturingDate = QStringLiteral("1976_01_01");
    header.customerInfo = QStringLiteral("mcu_CustInfo");
    header.amplifierText = QStringLiteral("mcu_Strivix");
    return header;
}

} // namespace vt
