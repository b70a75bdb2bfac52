#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the reference headers beside this script, field by field from the format's description.

header_v4.bin, header_v3.bin   the headers, each followed by five body bytes
header_v4.lengths              "<byte offset> <field>" of every word that is a length or a count
"""
import pathlib
import struct

HERE = pathlib.Path(__file__).parent
BODY = bytes([0x12, 0x34, 0xFF, 0xFE, 0x7F])
LABELS = ["M1", 'say "hi", twice', "line\nbreak", "мышь 鼠", ""]


class Header:
    def __init__(self):
        self.bytes = b""
        self.lengths = []

    def u32(self, *values):
        self.bytes += struct.pack(f">{len(values)}I", *values)

    def length(self, name, value):
        self.lengths.append((len(self.bytes), name))
        self.u32(value)

    def text(self, name, value):
        raw = value.encode("utf-8")
        self.length(name, len(raw))
        self.bytes += raw

    def times(self):
        self.u32(58, 7, 21)  # 21:07:58
        self.u32(29, 2, 2024)
        self.u32(7, 30, 15)
        self.u32(19, 45, 0)


def version4():
    header = Header()
    header.length("headerLength", 0)
    header.text("versionText", "v4")
    header.text("softwareVersion", "VellumtideQT3.14.15b")
    header.text("envSensorInfo", "envsensplaceholder")
    header.length("channelCount", len(LABELS))
    header.u32(4, 1, 120, 0)
    header.bytes += struct.pack(">dd", 2.5, 5.0)
    header.times()
    for label in LABELS:
        header.text("channelLabel", label)
    header.text("deviceDescription", "Unit of lab 3, bench \"B\"")
    header.text("deviceSerial", "01AF23")
    header.text("formatRevision", "1")

    mcu = Header()
    mcu.bytes += struct.pack(">BBBBBHHBB", 1, 1, 2, 3, 5, 0x8001, 300, 0x20, 0x05)
    mcu.bytes += bytes(range(16))
    mcu.text("manufacturingDate", "2023_12_31")
    mcu.text("customerInfo", "Lab é")
    mcu.text("amplifierText", "amp-2")
    mcu.bytes += struct.pack(">fff", 1.0, 0.5, -0.25)
    header.length("mcuHeader", len(mcu.bytes))
    header.lengths += [(len(header.bytes) + at, "mcuHeader." + name) for at, name in mcu.lengths]
    header.bytes += mcu.bytes
    header.length("extensionLength", 0)

    header.bytes = struct.pack(">I", len(header.bytes) - 4) + header.bytes[4:]
    (HERE / "header_v4.bin").write_bytes(header.bytes + BODY)
    (HERE / "header_v4.lengths").write_text("".join(f"{at} {name}\n" for at, name in header.lengths))


def version3():
    header = Header()
    header.u32(3, 120, 2)
    header.times()
    for label in ("left", "žába"):
        header.text("channelLabel", label)
    header.u32(0)
    (HERE / "header_v3.bin").write_bytes(header.bytes + BODY)


version4()
version3()
