# SPDX-License-Identifier: GPL-3.0-or-later
"""The unit's cable is pulled while a recording runs, and put back, or not."""

import re
import signal
import unittest
from datetime import datetime

import numpy as np

import expectations
import recording_reader as reader
import reference_scoring as reference
from driver import DriverTest, volts
from program import DATA, parse_summary, simulate

CHANNELS = 4
SPEED = 30
AUTO_RESUME = "autoResumeOnDaqDisconnect=true"
CLOCK = r"(\d{1,2}:\d\d:\d\d [AP]M)"
BANNER = "=" * 60

LOST = (f"DAQ Disconnected: The DAQ device stopped responding at approximately {CLOCK}\\.\n\n"
        "Data acquisition has been stopped and files have been closed\\.\n")
PAUSED = (f"DAQ Disconnected: Recording paused at {CLOCK}\\.\n\nThe recording will resume automatically when the "
          "DAQ is reconnected\\.\nA new file with a numbered suffix will be created for the resumed segment\\.\n")
RESUMED = (f"Recording Resumed: Recording paused at {CLOCK} and resumed at {CLOCK}\\.\n"
           "Approximate gap: (\\d+) seconds\\.\n\nContinuing in: (.*)\n")

TIMEOUT_LOG = [BANNER, "DAQ WATCHDOG TIMEOUT - DEVICE STOPPED RESPONDING", "Last data received approximately: "]
NOT_RESUMED_LOG = ["Auto-resume NOT active for this run (m_autoResumeEnabled = false , DAQ running = true ) — the "
                   "opt-in is only read at launch, so enabling it mid-session requires a restart to take effect.",
                   "Initiating graceful shutdown...", "DAQ watchdog shutdown completed"]
PAUSE_LOG = ["Auto-resume enabled — entering pause state", BANNER,
             "DAQ disconnect detected — entering auto-resume PAUSE state",
             "DAQ watchdog timer stopped and deleted", "Stopping DataManager thread...",
             "DataManager thread stopped", "Flushing FileWriter queue (pause): ", "FileWriter deleted (pause)"]
RESUME_LOG = ["Reconnect poll: DAQ has re-enumerated — attempting resume",
              "attemptResume: starting recovery + new segment", "attemptResume: new segment base = ",
              "Thread priorities set: DAQ=TimeCritical, DataManager=Highest",
              "DAQ watchdog timer started (5 second timeout)", "attemptResume: success — segment base now "]


class UnplugTest(DriverTest):
    def play(self, name, settings="", duration=None, speed=SPEED, channels=CHANNELS):
        self.faults(name).touch()
        return self.start(*simulate(DATA / "real4.f64", "--channels", channels, "--simulate-faults",
                                    self.faults(name), base=self.base(name), duration=duration, speed=speed),
                          settings=settings)

    def base(self, name):
        return self.folder / name

    def faults(self, name):
        return self.folder / f"{name}.faults"

    def fault(self, name, command):
        with open(self.faults(name), "a", encoding="ascii") as file:
            file.write(command + "\n")

    def assert_log(self, result, *expected):
        """The lines (or beginnings of lines) come in this order, others between them."""
        lines = iter(result.log)
        for text in expected:
            if not any(line == text or (text.endswith(" ") and line.startswith(text)) for line in lines):
                self.fail(f"'{text}' is missing, or not in its place\n{result.tail(200)}")

    def assert_clock(self, text, begun, ended):
        """The time of day lies between the two moments."""
        moment = datetime.strptime(text, "%I:%M:%S %p").time()
        self.assertTrue(begun.replace(microsecond=0).time() <= moment <= ended.time() or ended.date() != begun.date(),
                        f"{text} is not between {begun} and {ended}")

    def assert_segment(self, base, volts, begin_at):
        """A segment that began with a block of volts at or shortly behind begin_at; returns its frames and begin.

        Blocks that the unit had announced when it vanished may be lost with it.
        """
        recording = reader.read_recording(base, reader.MOUSE, config=False)
        frames = len(recording.samples) // 4
        for begin in range(begin_at, begin_at + 4):
            part = volts[:, begin * 20:(begin + frames) * 20]
            samples, _ = reference.stored(reference.decimate(part).T)
            if np.array_equal(samples[:40], recording.samples[:40]):
                expectations.check_segment(self, recording, part, frames, reader.MOUSE)
                expectations.check_stamps(self, recording.stamps, frames)
                return frames, begin
        self.fail(f"{base} does not begin with any of the four blocks behind frame {begin_at}")

    def volts(self):
        return np.tile(np.fromfile(DATA / "real4.f64", dtype="<f8").reshape(-1, CHANNELS).T, 4)

    def without_auto_resume(self):
        with self.play("ends") as program:
            program.wait_for(r"Recording  segment 0")
            begun = datetime.now()
            self.fault("ends", "unplug")
            result = program.finish()
        ended = datetime.now()
        self.assert_status(1, result)
        self.assertLess((ended - begun).total_seconds(), 30)
        told = re.search(LOST, result.messages)
        self.assertTrue(told, result.messages)
        self.assert_clock(told.group(1), begun, ended)
        self.assert_log(result, *TIMEOUT_LOG, *NOT_RESUMED_LOG)
        summary = parse_summary(result.out)
        self.assertEqual((summary.ended, summary.segments), ("device stopped responding", [str(self.base("ends"))]))
        frames, _ = self.assert_segment(self.base("ends"), self.volts(), 0)
        self.assertEqual(frames, summary.processed)

    def resumes_into_the_next_free_segment(self):
        """A number at the end of the name gives way to the segment's."""
        name, stem = 'resumes %1, %2 "é" (7)', 'resumes %1, %2 "é"'
        base, second_base = self.base(name), self.base(f"{stem} (2)")
        earlier = [self.folder / f"{stem} (1).binfb", self.folder / f"{stem} (1).FeatVecfb"]
        for path in earlier:
            path.write_text("earlier")
        with self.play(name, AUTO_RESUME, duration=140) as program:
            program.wait_for(r"Recording  segment 0")
            begun = datetime.now()
            self.fault(name, "unplug")
            program.wait_for("DAQ Disconnected: Recording paused")
            self.fault(name, "replug")
            result = program.finish()
        ended = datetime.now()
        self.assert_status(0, result)
        self.assert_log(result, *TIMEOUT_LOG, *PAUSE_LOG, *RESUME_LOG)
        paused = re.search(PAUSED, result.messages)
        resumed = re.search(RESUMED, result.messages)
        self.assertTrue(paused and resumed, result.messages)
        for text in (paused.group(1), resumed.group(1), resumed.group(2)):
            self.assert_clock(text, begun, ended)
        self.assertEqual(resumed.group(4), str(second_base))
        self.assertLessEqual(int(resumed.group(3)), (ended - begun).total_seconds() + 1)

        summary = parse_summary(result.out)
        self.assertEqual(summary.segments, [str(base), str(second_base)])
        self.assertEqual((summary.ended, summary.lost, summary.processed), ("duration reached", "nothing", 4200))
        first, _ = self.assert_segment(base, self.volts(), 0)
        second, _ = self.assert_segment(second_base, self.volts(), first)
        self.assertEqual(first + second, 4200)
        # The scores go on across the pause, the windows do not.
        self.assertEqual(summary.steps, [reference.step_count(first) + reference.step_count(second)] * CHANNELS)
        self.assertEqual([path.read_text() for path in earlier], ["earlier", "earlier"])
        self.assertFalse(self.base(f"{stem} (2)_Marks.csv").exists(), "markers are per recording")
        headers = [reader.read_recording(path, reader.MOUSE, config=False).header for path in (base, second_base)]
        self.assertEqual(headers[0].device_serial, headers[1].device_serial)
        self.assertGreater(headers[1].start, headers[0].start)

    def ended_while_paused(self):
        with self.play("paused", AUTO_RESUME) as program:
            program.wait_for(r"Recording  segment 0")
            self.fault("paused", "unplug")
            program.wait_for("DAQ Disconnected: Recording paused")
            program.signal(signal.SIGTERM)
            result = program.finish()
        self.assert_status(0, result)
        summary = parse_summary(result.out)
        self.assertEqual((summary.ended, summary.segments), ("stopped by the user", [str(self.base("paused"))]))
        self.assert_segment(self.base("paused"), self.volts(), 0)
        self.assertEqual(list(self.folder.glob("paused (*")), [])

    def another_unit_is_not_continued_on(self):
        with self.play("other", AUTO_RESUME) as program:
            program.wait_for(r"Recording  segment 0")
            self.fault("other", "unplug")
            program.wait_for("DAQ Disconnected: Recording paused")
            self.fault("other", "replug serial 777")
            program.wait_for(r"Paused  segment 0", count=3)  # at least one look for the unit
            program.signal(signal.SIGINT)
            result = program.finish()
        self.assert_status(0, result)
        self.assertEqual(parse_summary(result.out).segments, [str(self.base("other"))])
        self.assertEqual(list(self.folder.glob("other (*")), [])

    def duration_ends_a_pause_by_the_clock(self):
        with self.play("clock", AUTO_RESUME, duration=8, speed=1) as program:
            program.wait_for(r"Recording  segment 0")
            self.fault("clock", "unplug")
            result = program.finish()
        self.assert_status(1, result)  # the clock ended it, but most of what was wanted is missing
        summary = parse_summary(result.out)
        self.assertEqual(summary.ended, "device stopped responding")
        self.assertLess(summary.processed, 240)
        self.assert_segment(self.base("clock"), self.volts(), 0)

    def stalled_unit_is_a_lost_unit(self):
        with self.play("stall", speed=1) as program:
            program.wait_for(r"Recording  segment 0")
            self.fault("stall", "stall on")
            result = program.finish()
        self.assert_status(1, result)
        self.assertRegex(result.messages, LOST)
        self.assertEqual(parse_summary(result.out).ended, "device stopped responding")
        self.assert_segment(self.base("stall"), self.volts(), 0)

    def through_the_driver(self):
        """The same with a driver that reports the unit as gone; its signal begins anew with the new task."""
        control = self.folder / "control"
        base, second_base = self.base("driver"), self.base("driver (1)")
        with self.record("driver", environment={"STANDIN_CONTROL": str(control)},
                         settings=AUTO_RESUME) as program:
            program.wait_for(r"Recording  segment 0")
            control.write_text("unplugged")
            program.wait_for("DAQ Disconnected: Recording paused")
            control.write_text("serial=4711")
            program.wait_for(r"Paused  segment 0", count=2)
            control.unlink()
            program.wait_for(r"Recording  segment 1")
            program.signal(signal.SIGTERM)
            result = program.finish()
        self.assert_status(0, result)
        self.assert_log(result, "DAQ read failed, error: -88709 read: 0", *TIMEOUT_LOG, *PAUSE_LOG, *RESUME_LOG)
        self.assertEqual(parse_summary(result.out).segments, [str(base), str(second_base)])
        for path in (base, second_base):
            recording = reader.read_recording(path, reader.MOUSE, config=False)
            frames = len(recording.samples) // 4
            self.assertGreater(frames, 0)
            expectations.check_segment(self, recording, volts(8, frames), frames, reader.MOUSE)
        self.assert_driver_left_clean("driver")

    def test_pulling_the_cable(self):
        self.together(self.without_auto_resume, self.resumes_into_the_next_free_segment, self.ended_while_paused,
                      self.another_unit_is_not_continued_on, self.duration_ends_a_pause_by_the_clock,
                      self.stalled_unit_is_a_lost_unit, self.through_the_driver)

    def test_failed_read_restarts_the_task(self):
        with self.play("read", duration=20, speed=10) as program:
            program.wait_for("Thread priorities set")
            self.fault("read", "read-error -200279 1")
            result = program.finish()
        self.assertIn("DAQ read failed, error: -200279 read: 0", result.log)
        self.assert_log(result, "DAQ read failed, error: -200279 read: 0", "error time:  ", "Restarting DAQ task.")
        self.assertIn("Device: 1 read errors, 1 restarts; samples between a read error and its restart were never "
                      "acquired\n", result.out)
        self.assertEqual(parse_summary(result.out).processed, 600)
        recording = reader.read_recording(self.base("read"), reader.MOUSE)
        self.assertEqual(recording.samples.shape, (2400, CHANNELS))


if __name__ == "__main__":
    unittest.main()
