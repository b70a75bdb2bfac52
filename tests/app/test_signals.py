# SPDX-License-Identifier: GPL-3.0-or-later
"""Ctrl-C and SIGTERM end a recording in good order."""

import signal
import unittest

import recording_reader as reader
from program import AppTest, parse_summary, simulate

CHANNELS = 2


class SignalsTest(AppTest):
    def assert_complete(self, base, result):
        """Ended as the user wished, and everything that was processed stands in the files."""
        self.assert_status(0, result)
        summary = parse_summary(result.out)
        self.assertEqual((summary.ended, summary.lost), ("stopped by the user", "nothing"))
        recording = reader.read_recording(base, reader.MOUSE)
        self.assertEqual(len(recording.samples), 4 * summary.processed)
        self.assertEqual(len(recording.activity), max(0, summary.processed // 60 - 3))
        self.assertEqual(len(recording.stamps), -(-summary.processed // 60))
        return summary

    def test_one_signal_ends_a_recording(self):
        def end_with(number, speed):
            base = self.folder / f"{number.name}-{speed}"
            with self.start(*simulate("--channels", CHANNELS, base=base, speed=speed)) as program:
                frames = int(program.wait_for(r"Recording  segment 0  frames (\d+)").group(1))
                program.signal(number)
                summary = self.assert_complete(base, program.finish())
            self.assertGreaterEqual(summary.processed, frames)

        self.together(*[lambda number=number, speed=speed: end_with(number, speed)
                        for number in (signal.SIGINT, signal.SIGTERM) for speed in (1, 1000)])

    def test_signals_in_quick_succession_are_one(self):
        """From the first moment of the recording on, and as many as fit in until the program has ended."""
        def shower(number, speed):
            base = self.folder / f"shower-{number.name}-{speed}"
            with self.start(*simulate("--channels", CHANNELS, base=base, speed=speed)) as program:
                program.wait_for("Thread priorities set")
                program.signal(number)
                program.wait_for("DAQ watchdog timer stopped")
                while program.process.poll() is None:
                    program.signal(signal.SIGINT)
                    program.signal(signal.SIGTERM)
                self.assert_complete(base, program.finish())

        self.together(*[lambda number=number, speed=speed: shower(number, speed)
                        for number in (signal.SIGINT, signal.SIGTERM) for speed in (1, 1000)])


if __name__ == "__main__":
    unittest.main()
