// SPDX-License-Identifier: GPL-3.0-or-later
// The unit's microcontroller, 8-bit address 0x10, as an I2C slave that knows the levels of two lines only.
#include "standin.h"

#include <string.h>

enum { Address8 = 0x10, RegisterCount = 127 };

typedef enum { BusIdle, BusReceive, BusAckOut, BusSend, BusAckIn } BusPhase;

static uint8_t registers[256];
static struct
{
    bool sda, scl; // as the master drives them
    bool pullsLow;
    BusPhase phase;
    int bits;
    int bytes; // since START
    uint8_t shift;
    uint8_t pointer;
    bool isReading;
    bool isAcknowledged;
} bus;

static void storeU16(int at, unsigned value)
{
    registers[at] = (uint8_t)(value & 0xFF);
    registers[at + 1] = (uint8_t)(value >> 8);
}

static void storeFloat(int at, float value)
{
    uint32_t bits;
    memcpy(&bits, &value, sizeof bits);
    storeU16(at, bits & 0xFFFF);
    storeU16(at + 2, bits >> 16);
}

void standinBusReset(void)
{
    memset(registers, 0, sizeof registers);
    registers[0x00] = 1; // map revision
    registers[0x01] = (uint8_t)standinUnit.animal;
    registers[0x02] = 2; // amplifier type
    registers[0x03] = 1; // sensor type
    registers[0x04] = (uint8_t)standinUnit.channels;
    storeU16(0x05, 0);
    storeU16(0x07, (unsigned)standinUnit.gain);
    memcpy(&registers[0x0C],
           "\x0B"
           "Feb"
           "\x19\x09\x05"
           "C3.1"
           "2.0.7",
           16);
    memcpy(&registers[0x1C], "2025_02_14", 10);
    memcpy(&registers[0x26], "Stand-in lab", 12);
    memcpy(&registers[0x50], "stand-in amp", 12);
    storeFloat(0x60, 1.0F);
    storeFloat(0x64, 1.0F);
    storeFloat(0x68, 0.0F);
    memset(&bus, 0, sizeof bus);
    bus.sda = bus.scl = true;
}

bool standinBusSda(void)
{
    return bus.sda && !bus.pullsLow;
}

static void loadByte(void)
{
    bus.shift = bus.pointer < RegisterCount ? registers[bus.pointer] : 0xFF;
    ++bus.pointer;
    bus.bits = 0;
    bus.pullsLow = (bus.shift & 0x80) == 0;
    bus.phase = BusSend;
}

static void byteReceived(void)
{
    bus.isAcknowledged = !standinIsSilent();
    if (bus.bytes == 0) {
        bus.isAcknowledged = bus.isAcknowledged && (bus.shift & 0xFE) == Address8;
        bus.isReading = (bus.shift & 1) != 0;
    } else if (bus.bytes == 1) {
        bus.pointer = bus.shift;
    } else if (bus.isAcknowledged) {
        registers[bus.pointer++] = bus.shift;
    }
    ++bus.bytes;
    bus.pullsLow = bus.isAcknowledged;
    bus.phase = BusAckOut;
}

static void clockRose(void)
{
    if (bus.phase == BusReceive)
        bus.shift = (uint8_t)((bus.shift << 1) | (bus.sda ? 1 : 0));
    if (bus.phase == BusReceive || bus.phase == BusSend)
        ++bus.bits;
    if (bus.phase == BusAckIn)
        bus.isAcknowledged = !bus.sda;
}

static void clockFell(void)
{
    if (bus.phase == BusReceive && bus.bits == 8) {
        byteReceived();
    } else if (bus.phase == BusAckOut) {
        bus.pullsLow = false;
        bus.bits = 0;
        bus.phase = bus.isAcknowledged ? BusReceive : BusIdle;
        if (bus.isAcknowledged && bus.isReading)
            loadByte();
    } else if (bus.phase == BusSend) {
        bus.pullsLow = bus.bits < 8 && ((bus.shift >> (7 - bus.bits)) & 1) == 0;
        if (bus.bits == 8)
            bus.phase = BusAckIn;
    } else if (bus.phase == BusAckIn) {
        bus.phase = BusIdle;
        if (bus.isAcknowledged)
            loadByte();
    }
}

void standinBusLines(bool sda, bool scl)
{
    const bool wasSda = bus.sda;
    const bool wasScl = bus.scl;
    bus.sda = sda;
    bus.scl = scl;
    if (wasScl && scl && wasSda != sda) { // START and STOP: SDA changes while the clock is high
        bus.phase = sda ? BusIdle : BusReceive;
        bus.bits = bus.bytes = 0;
        bus.pullsLow = false;
        standinCount(sda ? "i2c_stop" : "i2c_start");
    } else if (!wasScl && scl) {
        clockRose();
    } else if (wasScl && !scl) {
        clockFell();
    }
}
