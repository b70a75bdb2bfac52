# SPDX-License-Identifier: GPL-3.0-or-later
"""Environmental sensors and cameras beside a recording without a window."""

import json
import os
import pty
import stat
import struct
import subprocess
import threading
import time
import tty
import unittest

import recording_reader as reader
from program import AppTest, parse_summary, simulate

NO_DATA = 1e15
CHANNELS = 2
MAC = "AC-CC-8E-00-00-01"


class Sensor:
    """A sensor at the other end of a pseudo-terminal: always the same reading."""

    REPLIES = {b"?": b"EnviroSen v2.3#A1B2\r", b"s": b"7 250 25600 29360 4149248 -9600\r\n"}

    def __init__(self):
        self.master, self._slave = pty.openpty()
        tty.setraw(self._slave)
        self.port = f"path={os.ttyname(self._slave)};vid=2405;pid=000B;serial=A1B2; description=Tessaly Enviro"
        threading.Thread(target=self._answer, daemon=True).start()

    def _answer(self):
        while True:
            try:
                command = os.read(self.master, 1)
                os.write(self.master, self.REPLIES.get(command, b""))
            except OSError:
                return

    def close(self):
        os.close(self._slave)
        os.close(self.master)


def read_env(path):
    """(serial numbers, labels, interval, records of (days, lux, deg F, % RH, inHg) per sensor) of a one-section log."""
    data = path.read_bytes()
    at = 0

    def number():
        nonlocal at
        at += 4
        return struct.unpack_from(">i", data, at - 4)[0]

    def text():
        nonlocal at
        length = number()
        at += length
        return data[at - length:at].decode("utf-8")

    header_length = number()
    count, interval = number(), number()
    for _ in range(6):
        number()
    assert text() == "programID"
    labels = [text() for _ in range(count)]
    serials = [text() for _ in range(count)]
    assert number() == 4 + header_length - at, "length of the column block"
    assert (number(), text(), text(), number()) == (5, "device", "ElapsedTime,Lux,Temp,RelHum,Pressure", 0)
    assert at == header_length + 4
    values = struct.unpack(f">{(len(data) - at) // 8}d", data[at:])
    assert len(values) % (5 * count) == 0 and len(data) == at + 8 * len(values), "a record in part"
    rows = [values[i:i + 5] for i in range(0, len(values), 5)]
    return serials, labels, interval, [rows[i:i + count] for i in range(0, len(rows), count)]


class SurroundingsTest(AppTest):
    def setup_file(self, **contents):
        path = self.folder / "setup.vtconfig"
        path.write_text(json.dumps({"payloadType": "vtconfig_v1", "appVersion": "1", "savedAt": "2026-03-29T23:30:05Z",
                                    "channelCount": CHANNELS, "animalIds": ["A", "B"],
                                    "lightCycle": {"lightOnset": "07:00:00", "darkOnset": "19:00:00"}, **contents}))
        return path

    @staticmethod
    def video(enabled):
        return {"segmentMinutes": 15, "cameras": [{"mac": MAC, "channel": 2, "enabled": enabled, "width": 1280,
                                                   "height": 720, "rotation": 90}]}

    def test_a_sensor_at_an_extra_port(self):
        sensor = Sensor()
        self.addCleanup(sensor.close)
        base = self.folder / "real"
        result = self.run_program("--headless", "--device", "sim", "--channels", CHANNELS, "--output", base,
                                  "--duration", 7, "--extra-serial-port", sensor.port)
        self.assert_status(0, result)
        serials, labels, interval, records = read_env(self.folder / "real.Env")
        self.assertEqual((serials, labels, interval), (["A1B2"], ["A1B2"], 2))
        self.assertIn(len(records), (2, 3, 4))
        for nth, ((days, lux, fahrenheit, humidity, pressure),) in enumerate(records, 1):
            self.assertAlmostEqual(days * 86400, 2 * nth, delta=1)
            self.assertEqual(lux, 250)
            self.assertAlmostEqual(fahrenheit, (25600 * 175.72 / 65536 - 46.85) * 9 / 5 + 32, places=9)
            self.assertAlmostEqual(humidity, 29360 * 125 / 65536 - 6, places=9)
            self.assertAlmostEqual(pressure, 4149248 / 4096 / 33.863886666667, places=9)
        self.assertIn("  sensors 1 of 1", result.err)
        self.assertIn(f"Environmental sensors: 1 of 1 present at the end, {len(records)} rounds of readings", result.out)

    def test_a_setup_file_for_simulated_sensors_and_a_camera(self):
        base = self.folder / "night"
        setup = self.setup_file(envSensorLabels={"SIM1": "rack A"}, video=self.video(enabled=False))
        # A password that an earlier version left where others can read it.
        with self.start(*simulate("--channels", CHANNELS, "--setup", setup, base=base, duration=5, speed=1),
                        settings="[CameraSettings]\npassword=mouse-trap") as program:
            result = program.finish()
            store = program.home / "config" / "OrrinDale" / "Vellumtide5.conf"
        self.assert_status(0, result)
        self.assertEqual(parse_summary(result.out).lost, "nothing")
        serials, labels, _, records = read_env(self.folder / "night.Env")
        self.assertEqual((serials, labels), (["SIM1", "SIM2"], ["rack A", "SIM2"]))
        self.assertGreaterEqual(len(records), 1)
        for record in records:
            for _, lux, fahrenheit, humidity, pressure in record:
                self.assertNotEqual(lux, NO_DATA)
                self.assertTrue(65 < fahrenheit < 80 and 20 < humidity < 80 and 28 < pressure < 31, record)
        settings = store.read_text()
        for line in ("segmentMinutes=15", f"cameras\\{MAC}\\channel=2", f"cameras\\{MAC}\\rotation=90", "SIM1=rack A"):
            self.assertIn(line, settings)
        self.assertEqual(stat.S_IMODE(store.stat().st_mode) & 0o077, 0)
        self.assertIn("password=mouse-trap", settings)
        self.assertNotIn("mouse-trap", result.err)
        self.assertNotIn("AxisDiscovery", result.err)
        self.assertEqual(len(reader.read_recording(base, reader.MOUSE).samples), 600)

    def test_a_camera_that_is_not_there_is_told_and_counted(self):
        isolated = ("unshare", "--user", "--map-root-user", "--net")
        if subprocess.run([*isolated, "true"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
            self.skipTest("this user may not make a network namespace")
        setup = self.setup_file(video=self.video(enabled=True))
        base = self.folder / "dark"
        begun = time.monotonic()
        result = self.run_program(*simulate("--channels", CHANNELS, "--setup", setup, base=base, duration=3, speed=1),
                                  prefix=isolated)
        self.assertLess(time.monotonic() - begun, 60)
        self.assert_status(1, result)
        told = [line for line in result.messages.splitlines() if line.startswith("Cameras: ")]
        self.assertEqual(len(told), 1, result.messages)
        self.assertIn(f"The camera of channel 2 ({MAC})", told[0])
        self.assertIn("No active network interfaces found", told[0])
        self.assertIn("  cameras 0 of 1", result.err)
        self.assertIn("Cameras: 0 of 1 filming at the end", result.out)
        self.assertIn(f"Lost: all video of 1 camera: {MAC}", result.out)
        self.assertEqual(len(reader.read_recording(base, reader.MOUSE).samples), 360)


if __name__ == "__main__":
    unittest.main()
