# SPDX-License-Identifier: GPL-3.0-or-later
"""Recordings from the serial amplifier: the program's simulated one, and one of the test's own at a
pseudo-terminal, whose samples are known."""

import os
import threading
import time
import tty
import unittest
from datetime import datetime

import numpy as np

import expectations
import recording_reader as reader
import reference_scoring as reference
from program import AppTest, parse_summary

SIMULATED = "strivix:sim"
FULL_SCALE_VOLTS = 3.3


def amplifier_files(base, animal):
    names = reader.file_names(base, animal)
    del names["markers"]
    return names


class Amplifier:
    """The far end of a serial line: codes of both channels, (2, samples), at 600 Hz once it is told to."""

    def __init__(self, codes, identity="Strivix T-7"):
        self.identity = identity
        self.packets = b"".join(bytes((0x80 | one >> 4, two >> 3, (two & 7) << 4 | one & 15)) for one, two in codes.T)
        self.master, self._slave = os.openpty()
        tty.setraw(self._slave)
        self.port = os.ttyname(self._slave)
        self.streaming = False
        self._ended = threading.Event()
        self._threads = [threading.Thread(target=run, daemon=True) for run in (self._answer, self._stream)]
        for thread in self._threads:
            thread.start()

    def _answer(self):
        line = b""
        while not self._ended.is_set():
            try:
                line += os.read(self.master, 100)
            except OSError:
                return
            if line.endswith(b"s"):
                self.streaming = False
            elif line.endswith(b"?"):
                os.write(self.master, f"\r\n{self.identity}\r\n".encode())
                line = b""
            elif line.endswith(b"bf64292\r\nc"):
                self.streaming = True

    def _stream(self):
        begun, sent = None, 0
        while not self._ended.wait(0.01):
            if not self.streaming:
                continue
            begun = begun or time.monotonic()
            due = 3 * int(600 * (time.monotonic() - begun))
            os.write(self.master, self.packets[sent:due])
            sent = due

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._ended.set()
        self._threads[1].join()
        os.close(self._slave)
        self._threads[0].join()
        os.close(self.master)


class AmplifierTest(AppTest):
    def record(self, name, device, *more, **options):
        return self.run_program("--headless", "--device", device, "--output", self.folder / name, *more, **options)

    def check_files(self, name, animal, ids, serial, result):
        """File set and headers of a recording of 3 s; returns it."""
        self.assert_status(0, result)
        base = self.folder / name
        summary = parse_summary(result.out)
        self.assertEqual((summary.processed, summary.dropped, summary.lost), (90, 0, "nothing"))
        found = sorted(path for path in self.folder.iterdir() if path.is_file() and path.name.startswith(base.name))
        self.assertEqual(found, sorted(amplifier_files(base, animal).values()))
        recording = reader.read_recording(base, animal)
        header = recording.header
        self.assertEqual((header.channel_count, header.channel_labels), (len(ids), ids))
        self.assertEqual((header.animal_type, header.features_per_epoch), (animal, {1: 4, 2: 6}[animal]))
        self.assertEqual((header.mcu_gain, header.offset_subtracted, header.max_amplitude), (0, 0.0, FULL_SCALE_VOLTS))
        self.assertEqual((header.device_description, header.device_serial), (f"Strivix {serial}", serial))
        self.assertEqual(header.mcu, reader.Mcu(map_revision=1, animal_type=animal, amplifier_type=1,
                                                build_info=bytes(16), manufacturing_date="1976_01_01",
                                                customer_info="mcu_CustInfo", amplifier_text="mcu_Strivix",
                                                input_gain=1.0, output_gain=1.0))
        self.assertEqual(recording.samples.shape, (360, len(ids)))
        self.assertEqual(recording.config[2][3], f"Strivix {serial}")
        expectations.check_stamps(self, recording.stamps, 90, realtime=True)
        return recording

    def test_simulated_amplifier(self):
        def two_mice():
            begun = datetime.now().replace(microsecond=0)
            result = self.record("two", SIMULATED, "--duration", 3, "--animal-id", "left")
            start = self.check_files("two", reader.MOUSE, ["left", "2"], "SA2-0417", result).header.start
            self.assertTrue(begun <= start <= datetime.now())

        def one_rat():
            result = self.record("one", SIMULATED, "--duration", 3, "--channels", 1, "--animal", "rat")
            samples = self.check_files("one", reader.RAT, ["1"], "SA2-0417", result).samples
            self.assertGreater(int(samples.max()) - int(samples.min()), 100)

        self.together(two_mice, one_rat)

    def test_every_sample_of_an_amplifier_at_a_port(self):
        n = np.arange(600 * 8)
        codes = np.stack([1024 + 900 * np.sin(2 * np.pi * n / 200), 511 + 400 * np.sin(2 * np.pi * n / 77)]).astype(int)
        with Amplifier(codes) as amplifier:
            result = self.record("port", f"strivix:{amplifier.port}", "--duration", 3)
        recording = self.check_files("port", reader.MOUSE, ["1", "2"], "T-7", result)
        sent = np.stack([(codes[0] - 1024) * 3.3 / 2048, (codes[1] - 511) * 3.3 / 1024])[:, :1800]
        expected = np.trunc(reference.decimate(sent, 0.0).T * 32768 / FULL_SCALE_VOLTS)
        # One count of room where a sum in another order ends on the other side of a whole number.
        self.assertLessEqual(np.abs(recording.samples - expected).max(), 1)
        self.assertGreater((recording.samples == expected).mean(), 0.99)

    def test_cannot_begin(self):
        def refused(device, *more, text):
            result = self.record("never", device, *more)
            self.assert_status(1, result)
            self.assertIn(text, result.messages)
            self.assertEqual(list(self.folder.glob("never*")), [])

        with Amplifier(np.zeros((2, 0), int), identity="Scales 3") as other:
            self.together(lambda: refused("strivix:/dev/none", text="Failed to open port: "),
                          lambda: refused(f"strivix:{other.port}", text="Device did not identify as Strivix\n"),
                          lambda: refused(SIMULATED, "--channels", 3, text="3 channels were asked for"))


class UnplugTest(AppTest):
    def test_unplugged_and_back(self):
        faults = self.folder / "faults"
        faults.touch()
        base, second = self.folder / "night", f"{self.folder / 'night'} (1)"
        with self.start("--headless", "--device", SIMULATED, "--simulate-faults", faults, "--output", base,
                        settings="autoResumeOnDaqDisconnect=true") as program:
            program.wait_for(r"Recording  segment 0  frames [1-9]\d*")
            with open(faults, "a", encoding="ascii", buffering=1) as file:
                file.write("unplug\n")
                program.wait_for("DAQ Disconnected: Recording paused at")
                file.write("replug\n")
            program.wait_for(r"Recording  segment 1  frames", count=2)
            program.process.terminate()
            result = program.finish()
        self.assert_status(0, result)
        summary = parse_summary(result.out)
        self.assertEqual((summary.segments, summary.lost), ([str(base), second], "nothing"))
        for segment, config in ((base, True), (second, False)):
            recording = reader.read_recording(segment, reader.MOUSE, config=config)
            self.assertEqual(recording.header.device_serial, "SA2-0417")
            self.assertGreater(len(recording.samples), 0)
        self.assertIn("StrivixDevice: Connected to", result.err)
        self.assertEqual(list(self.folder.glob("*_Marks.csv")), [])


if __name__ == "__main__":
    unittest.main()
