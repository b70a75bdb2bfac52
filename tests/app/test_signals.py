# SPDX-License-Identifier: GPL-3.0-or-later
"""Ctrl-C and SIGTERM end a recording in good order."""

import signal
import unittest

import recording_reader as reader
from driver import DriverTest
from program import PATIENCE_SECONDS, parse_summary, simulate

CHANNELS = 2


class SignalsTest(DriverTest):
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
                        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP) for speed in (1, 200)])

    def test_output_that_nobody_reads_any_more(self):
        """As with "vellumtide ... 2>&1 | head -1": the recording is what counts."""
        base = self.folder / "unread"
        with self.start(*simulate("--channels", CHANNELS, base=base, speed=1, duration=3), first_lines=1) as program:
            self.assertEqual(program.process.wait(PATIENCE_SECONDS), 0)
        self.assertEqual(len(reader.read_recording(base, reader.MOUSE).samples), 3 * 120)

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
                        for number in (signal.SIGINT, signal.SIGTERM) for speed in (1, 200)])

    def test_signal_before_the_recording_began(self):
        """While the unit is looked for, read, read again for the headers, and probed: nothing has begun yet."""
        with self.record("plain", "--duration", 0.1) as program:
            self.assert_status(0, program.finish())
        writes = self.assert_driver_left_clean("plain")["DAQmxWriteDigitalU32"]

        def end_during(name, call):
            with self.record(name, environment={"STANDIN_HANG": f"{call}:1000"}) as program:
                program.wait_for("^stand-in: .* takes 1000 ms longer")
                program.signal(signal.SIGTERM)
                result = program.finish()
            self.assert_status(1, result)
            messages = [line for line in result.messages.splitlines() if not line.startswith("stand-in: ")]
            self.assertEqual(messages, ["Ended before the recording began."], call)
            self.assertEqual(result.out, "")
            self.assertEqual([path for path in self.folder.iterdir() if path.name.startswith(name)], [])
            self.assert_driver_left_clean(name)

        calls = ["DAQmxGetSysDevNames:1", "DAQmxGetSysDevNames:2"]
        calls += [f"DAQmxWriteDigitalU32:{number}" for number in (1, writes // 4, writes * 3 // 4, writes - 3)]
        self.together(*[lambda number=number, call=call: end_during(f"early{number}", call)
                        for number, call in enumerate(calls)])


if __name__ == "__main__":
    unittest.main()
