# SPDX-License-Identifier: GPL-3.0-or-later
"""Recordings from a stand-in for the NI-DAQmx library, whose signal is a formula."""

import unittest
from datetime import datetime

import numpy as np

import expectations
import recording_reader as reader
from driver import DriverTest, volts
from program import DATA, STANDIN, parse_summary

# Two steps, one of them at the very end.
FRAMES = 300
SECONDS = FRAMES / 30


class RecordingsTest(DriverTest):
    def check(self, name, channels, animal, gain=100):
        begun = datetime.now()
        with self.record(name, "--duration", SECONDS, channels=channels, animal=animal, gain=gain) as program:
            result = program.finish()
        self.assert_status(0, result)
        base = self.folder / name
        labels = [str(channel + 1) for channel in range(channels)]
        expectations.check_names(self, self.folder, base, animal)
        recording = reader.read_recording(base, animal)
        software = self.run_program("--version").out.strip()
        expectations.check_header(self, recording.header, animal, channels, labels, f"Stand-in {channels}", "30001",
                                  gain, begun, datetime.now(), software)
        mcu = recording.header.mcu
        self.assertEqual((mcu.amplifier_type, mcu.sensor_type, mcu.sensor_count, mcu.shorted_mask),
                         (2, 1, channels, 0))
        self.assertEqual(mcu.build_info, b"\x0bFeb\x19\x09\x05C3.12.0.7")
        self.assertEqual((mcu.manufacturing_date, mcu.customer_info, mcu.amplifier_text),
                         ("2025_02_14", "Stand-in lab", "stand-in amp"))
        self.assertEqual((mcu.input_gain, mcu.output_gain, mcu.offset_volts), (1.0, 1.0, 0.0))
        expectations.check_config(self, recording.config, base, channels, labels, f"Stand-in {channels}", "30001",
                                  "Dev1")
        expectations.check_stamps(self, recording.stamps, FRAMES, realtime=True)
        scores = expectations.check_segment(self, recording, volts(channels, FRAMES, gain), FRAMES, animal,
                                            offset=2.5 if gain == 0 else 0.0)
        summary = parse_summary(result.out)
        self.assertEqual(summary.asleep, list(scores.asleep))
        self.assertEqual((summary.acquired, summary.processed, summary.lost), (FRAMES, FRAMES, "nothing"))
        self.assert_analog_calls(name, channels)
        self.assertEqual(self.assert_driver_left_clean(name)["blocks_read"], FRAMES)

    def test_eight_and_sixteen_channels_of_mice_and_rats(self):
        self.together(lambda: self.check("mouse8", 8, reader.MOUSE),
                      lambda: self.check("rat8", 8, reader.RAT),
                      lambda: self.check("mouse16", 16, reader.MOUSE),
                      lambda: self.check("rat16", 16, reader.RAT),
                      lambda: self.check("one", 1, reader.RAT),
                      lambda: self.check("nogain", 2, reader.MOUSE, gain=0))

    def test_fewer_channels_than_the_unit_has(self):
        with self.record("few", "--duration", 1, "--channels", 3, channels=8) as program:
            self.assert_status(0, program.finish())
        recording = reader.read_recording(self.folder / "few", reader.MOUSE)
        expectations.check_segment(self, recording, volts(3, 30), 30, reader.MOUSE)
        self.assert_analog_calls("few", 3)

    def test_more_channels_than_the_unit_has(self):
        with self.record("many", "--channels", 9, channels=8) as program:
            result = program.finish()
        self.assert_status(1, result)
        self.assertEqual(result.messages, "Not Ready to Record: 9 channels were asked for; Dev1 offers 8.\n")
        self.assertEqual(list(self.folder.glob("many*")), [])
        self.assert_driver_left_clean("many")

    def test_simulated_unit_beside_a_real_one(self):
        """Both are there; each records its own signal, and the real one is only read when it is the one."""
        def real():
            with self.record("real", "--simulate", "--duration", 2, channels=2) as program:
                self.assert_status(0, program.finish())
            recording = reader.read_recording(self.folder / "real", reader.MOUSE)
            expectations.check_segment(self, recording, volts(2, 60), 60, reader.MOUSE)
            self.assert_analog_calls("real", 2)
            self.assertEqual(self.assert_driver_left_clean("real")["blocks_read"], 60)

        def simulated():
            played = DATA / "real4.f64"
            with self.record("sim", "--simulate", played, "--device", "sim", "--channels", 4, "--duration",
                             2) as program:
                self.assert_status(0, program.finish())
            signal = np.fromfile(played, dtype="<f8").reshape(-1, 4).T
            recording = reader.read_recording(self.folder / "sim", reader.MOUSE)
            expectations.check_segment(self, recording, signal, 60, reader.MOUSE)
            self.assertEqual(self.assert_driver_left_clean("sim")["tasks_created"], 0)

        self.together(real, simulated)

    def test_animal_option_is_ignored_on_a_unit_that_knows(self):
        with self.record("knows", "--duration", 1, "--animal", "rat", channels=2) as program:
            result = program.finish()
        self.assert_status(0, result)
        self.assertIn("--animal is ignored: Dev1 itself says mouse.\n", result.messages)
        self.assertEqual(reader.read_recording(self.folder / "knows", reader.MOUSE).header.animal_type, reader.MOUSE)


class DeviceListTest(DriverTest):
    def list_devices(self, *more, **environment):
        return self.run_program("--list-devices", "--nidaqmx-library", STANDIN, *more, environment=environment)

    def test_units_one_a_line(self):
        result = self.list_devices()
        self.assert_status(0, result)
        self.assertEqual(result.out, "Dev1\tStand-in 8\t30001\tno\n")
        self.assertEqual(result.messages, "")
        result = self.list_devices("--simulate", STANDIN_DEVICE="PXI1Slot2", STANDIN_SERIAL="4294967295")
        self.assertEqual(result.out, "PXI1Slot2\tStand-in 8\t4294967295\tno\n"
                         "sim\tSIM-6218\t20001\tyes\nsim16\tSIM-6218\t20016\tyes\n"
                         "strivix:sim\tSerial amplifier\t\tyes\n")

    def test_no_unit_offers_the_simulated_one(self):
        control = self.folder / "control"
        control.write_text("unplugged")
        result = self.list_devices(STANDIN_CONTROL=str(control))
        self.assert_status(0, result)
        self.assertEqual(result.out, "sim\tSIM-6218\t20001\tyes\n")


if __name__ == "__main__":
    unittest.main()
