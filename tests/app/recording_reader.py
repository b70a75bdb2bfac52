# SPDX-License-Identifier: GPL-3.0-or-later
"""Reads the files of a recording byte by byte.

Written from the description of the files alone and shares nothing with the program, so that a mistake in the
program's encoders cannot be repeated here. Every deviation from the format is a FormatError that names the
file, the field and the place.
"""

import re
import struct
from dataclasses import dataclass, field
from datetime import datetime
from pathlib import Path

import numpy as np

MOUSE = 1
RAT = 2
SAMPLES_PER_BLOCK = 4  # decimated samples per channel that one acquired frame gives


class FormatError(Exception):
    pass


class _Cursor:
    """A place in big-endian bytes."""

    def __init__(self, data, name):
        self.data = data
        self.at = 0
        self.name = name

    def fail(self, what):
        raise FormatError(f"{self.name}: {what} at byte {self.at}")

    def take(self, count, what):
        if self.at + count > len(self.data):
            self.fail(f"{what} needs {count} bytes, {len(self.data) - self.at} are left")
        piece = self.data[self.at:self.at + count]
        self.at += count
        return piece

    def number(self, code, what):
        size = struct.calcsize(">" + code)
        return struct.unpack(">" + code, self.take(size, what))[0]

    def u32(self, what):
        return self.number("I", what)

    def f64(self, what):
        return self.number("d", what)

    def text(self, what):
        length = self.u32(what + " length")
        if length > 65536:
            self.fail(f"{what} claims {length} bytes")
        try:
            return self.take(length, what).decode("utf-8")
        except UnicodeDecodeError as error:
            self.fail(f"{what} is not UTF-8: {error}")


@dataclass
class Mcu:
    """The microcontroller block of the header."""
    map_revision: int = 0
    animal_type: int = 0
    amplifier_type: int = 0
    sensor_type: int = 0
    sensor_count: int = 0
    shorted_mask: int = 0
    gain: int = 0
    eeprom_control: int = 0
    status: int = 0
    build_info: bytes = b""
    manufacturing_date: str = ""
    customer_info: str = ""
    amplifier_text: str = ""
    input_gain: float = 0.0
    output_gain: float = 0.0
    offset_volts: float = 0.0


@dataclass
class Header:
    software_version: str = ""
    env_sensor_info: str = ""
    channel_count: int = 0
    features_per_epoch: int = 0
    animal_type: int = 0
    sample_rate: int = 0
    mcu_gain: int = 0
    offset_subtracted: float = 0.0
    max_amplitude: float = 0.0
    start: datetime = None
    light_onset: tuple = ()
    dark_onset: tuple = ()
    channel_labels: list = field(default_factory=list)
    device_description: str = ""
    device_serial: str = ""
    format_revision: str = ""
    mcu: Mcu = None
    size: int = 0  # bytes of the header, length word included


def parse_header(data, name="header"):
    cursor = _Cursor(data, name)
    following = cursor.u32("headerLength")
    if following <= 5:
        cursor.fail(f"first word {following}: not a version-4 header")
    if cursor.text("versionText") != "v4":
        cursor.fail("versionText is not v4")
    header = Header()
    header.software_version = cursor.text("softwareVersion")
    header.env_sensor_info = cursor.text("envSensorInfo")
    header.channel_count = cursor.u32("channelCount")
    if not 1 <= header.channel_count <= 16:
        cursor.fail(f"channelCount {header.channel_count}")
    header.features_per_epoch = cursor.u32("featuresPerEpoch")
    header.animal_type = cursor.u32("animalType")
    header.sample_rate = cursor.u32("sampleRate")
    header.mcu_gain = cursor.u32("mcuGain")
    header.offset_subtracted = cursor.f64("offsetSubtracted")
    header.max_amplitude = cursor.f64("maxAmplitude")
    second, minute, hour = (cursor.u32("startTime") for _ in range(3))
    day, month, year = (cursor.u32("startDate") for _ in range(3))
    try:
        header.start = datetime(year, month, day, hour, minute, second)
    except ValueError as error:
        cursor.fail(f"start date and time: {error}")
    header.light_onset = tuple(cursor.u32("lightOnset") for _ in range(3))
    header.dark_onset = tuple(cursor.u32("darkOnset") for _ in range(3))
    header.channel_labels = [cursor.text(f"label of channel {i}") for i in range(header.channel_count)]
    header.device_description = cursor.text("deviceDescription")
    header.device_serial = cursor.text("deviceSerial")
    header.format_revision = cursor.text("formatRevision")
    header.mcu = _parse_mcu(cursor)
    cursor.take(cursor.u32("extensionLength"), "extension")
    if cursor.at - 4 != following:
        cursor.fail(f"headerLength says {following} bytes follow, the fields take {cursor.at - 4}")
    header.size = cursor.at
    return header


def _parse_mcu(outer):
    cursor = _Cursor(outer.take(outer.u32("mcuHeader length"), "mcuHeader"), outer.name + " mcuHeader")
    mcu = Mcu()
    for name, code in (("map_revision", "B"), ("animal_type", "B"), ("amplifier_type", "B"),
                       ("sensor_type", "B"), ("sensor_count", "B"), ("shorted_mask", "H"), ("gain", "H"),
                       ("eeprom_control", "B"), ("status", "B")):
        setattr(mcu, name, cursor.number(code, name))
    mcu.build_info = bytes(cursor.take(16, "build information"))
    for name in ("manufacturing_date", "customer_info", "amplifier_text"):
        setattr(mcu, name, cursor.text(name))
    for name in ("input_gain", "output_gain", "offset_volts"):
        setattr(mcu, name, cursor.number("f", name))
    if cursor.at != len(cursor.data):
        cursor.fail(f"{len(cursor.data) - cursor.at} bytes left over")
    return mcu


def file_names(base, animal_type):
    """Every file that a recording without stimulation, sensors and cameras has, by role."""
    suffix = "fb" if animal_type == MOUSE else ""
    base = str(base)
    return {
        "raw": Path(f"{base}.bin{suffix}"),
        "features": Path(f"{base}.FeatVec{suffix}"),
        "activity": Path(f"{base}_at.Feat{suffix}"),
        "breath": Path(f"{base}_br.Feat{suffix}"),
        "stamps": Path(f"{base}_daq.Tstamp"),
        "markers": Path(f"{base}_Marks.csv"),
        "config": Path(f"{base}_cnfg.csv"),
    }


BINARY = ("raw", "features", "activity", "breath")


@dataclass
class Recording:
    """One segment's files, parsed."""
    header: Header
    header_bytes: bytes
    sizes: dict
    samples: np.ndarray   # int16, (frames of 16-bit samples, channels)
    features: np.ndarray  # (steps, channels, features per epoch)
    activity: np.ndarray  # (steps, channels)
    breath: np.ndarray    # (steps, channels)
    stamps: list          # (seconds as text, sample count)
    config: list          # rows of cells
    leftover: dict        # bytes behind the last whole unit, by role


def read_stamps(path, whole=True):
    """Lines of the time-stamp file. With whole=False an unfinished last line is dropped."""
    text = path.read_bytes().decode("ascii")
    lines = text.split("\n")
    last = lines.pop()
    if last and whole:
        raise FormatError(f"{path}: the last line {last!r} has no end")
    stamps = []
    for number, line in enumerate(lines, 1):
        match = re.fullmatch(r"(-?[0-9.]+(?:e[+-][0-9]+)?),([0-9]+)", line)
        if not match:
            raise FormatError(f"{path}: line {number} is {line!r}")
        stamps.append((match.group(1), int(match.group(2))))
    return stamps


def _body(data, header, code, unit_values, name, whole):
    """Values behind the header as rows of unit_values, and how many bytes are left over."""
    values = np.dtype(code)
    unit_bytes = unit_values * values.itemsize
    length = len(data) - header.size
    leftover = length % unit_bytes
    if leftover and whole:
        raise FormatError(f"{name}: {length} bytes after the header are no multiple of {unit_bytes}")
    rows = np.frombuffer(data, dtype=values, count=(length - leftover) // values.itemsize, offset=header.size)
    return rows.reshape(-1, unit_values), leftover


def read_recording(base, animal_type, whole=True, config=True):
    """Parses every file of one segment.

    whole: units cut off at the end of a file are errors; else they are counted in leftover (a program that
    was killed may leave one).
    """
    paths = file_names(base, animal_type)
    data = {role: paths[role].read_bytes() for role in BINARY}
    headers = {role: parse_header(data[role], str(paths[role])) for role in BINARY}
    header = headers["raw"]
    header_bytes = data["raw"][:header.size]
    for role in BINARY[1:]:
        if data[role][:headers[role].size] != header_bytes:
            raise FormatError(f"{paths[role]}: its header differs from the raw file's")
    channels = header.channel_count
    leftover = {}
    blocks, leftover["raw"] = _body(data["raw"], header, ">i2", channels * SAMPLES_PER_BLOCK,
                                    str(paths["raw"]), whole)
    steps = {}
    for role, per_channel in (("features", header.features_per_epoch), ("activity", 1), ("breath", 1)):
        steps[role], leftover[role] = _body(data[role], header, ">f8", channels * per_channel,
                                            str(paths[role]), whole)
    rows = []
    if config:
        text = paths["config"].read_bytes().decode("utf-8")
        if not text.endswith("\n"):
            raise FormatError(f"{paths['config']}: the last line has no end")
        rows = [line.split(",") for line in text[:-1].split("\n")]
    return Recording(
        header=header,
        header_bytes=header_bytes,
        sizes={role: len(data[role]) for role in BINARY},
        samples=blocks.reshape(-1, channels).astype(np.int16),
        features=steps["features"].reshape(-1, channels, header.features_per_epoch).astype(float),
        activity=steps["activity"].astype(float),
        breath=steps["breath"].astype(float),
        stamps=read_stamps(paths["stamps"], whole),
        config=rows,
        leftover=leftover)
