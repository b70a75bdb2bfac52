# SPDX-License-Identifier: GPL-3.0-or-later
"""Driver calls that fail or hang, through the stand-in library.

Whatever the driver does, the program ends in bounded time, says truthfully how, and leaves readable files, no
task and no call on a dead handle behind.
"""

import os
import random
import unittest

import numpy as np

import recording_reader as reader
import reference_scoring as reference
from driver import DriverTest, volts
from program import parse_summary

CHANNELS = 2
FRAMES = 90
SECONDS = FRAMES / 30
CODES = (-200279, -88709)
LOST = "DAQ Disconnected: The DAQ device stopped responding at approximately "
BOUND_SECONDS = 60  # a lost unit takes 5 s to notice, a driver's read up to 10 s to give up

COMPLETE, LOST_UNIT, REFUSED = "recorded to the end", "ended by the lost unit", "could not begin"


class FaultTest(DriverTest):
    def run_with(self, name, fail="", hang="", seconds=BOUND_SECONDS, speed=10):
        with self.record(name, "--duration", SECONDS, channels=CHANNELS, speed=speed,
                         environment={"STANDIN_FAIL": fail, "STANDIN_HANG": hang}) as program:
            return program.finish(seconds)

    def outcome(self, name, result):
        """How it ended, after checking that status, messages, summary and files all say the same."""
        base = self.folder / name
        files = list(self.folder.glob(f"{name}.*")) + list(self.folder.glob(f"{name}_*"))
        if "Recording summary" not in result.out:
            self.assert_status(1, result)
            self.assertNotEqual(result.messages.replace("Vellumtide is recording\n", ""), "", "ended without a word")
            self.assertEqual(files, [], "left behind by a recording that never began")
            return REFUSED
        summary = parse_summary(result.out)
        recording = reader.read_recording(base, reader.MOUSE)
        self.assertEqual(len(recording.samples), 4 * summary.processed)
        self.assertEqual(summary.acquired, summary.processed + summary.dropped)
        if summary.ended == "duration reached":
            # Faster than real time the frame queue is short: a busy machine may cost frames, which has to show, as
            # do restarts that took longer than a block.
            self.assert_status(0 if summary.lost == "nothing" else 1, result)
            self.assertEqual(summary.lost == "nothing",
                             summary.dropped == 0 and " of the acquisition\n" not in result.out, summary.lost)
            self.assertEqual(summary.acquired, FRAMES)
            return COMPLETE
        self.assert_status(1, result)
        self.assertEqual(summary.ended, "device stopped responding")
        self.assertIn(LOST, result.messages)
        return LOST_UNIT

    def check(self, name, expected, fail="", hang="", speed=10):
        """Returns (result, the driver's books)."""
        try:
            result = self.run_with(name, fail, hang, speed=speed)
            outcome = self.outcome(name, result)
            self.assertIn(outcome, expected, result.tail())
            return result, self.assert_driver_left_clean(name)
        except AssertionError as error:
            raise AssertionError(f"STANDIN_FAIL={fail} STANDIN_HANG={hang}: {error}") from error

    def check_all(self, cases, at_once=10):
        """cases: (allowed outcomes, STANDIN_FAIL, STANDIN_HANG)."""
        for first in range(0, len(cases), at_once):
            self.together(*[lambda number=number, case=case: self.check(f"case{number}", case[0], *case[1:])
                            for number, case in enumerate(cases[first:first + at_once], first)])


class AnalogFaultsTest(FaultTest):
    def test_failing_and_hanging_steps(self):
        """A step that fails once is taken again; one that always fails is a unit that does not respond."""
        steps = [("DAQmxCreateTask", 8), ("DAQmxCreateAIVoltageChan", 1), ("DAQmxCfgSampClkTiming", 1),
                 ("DAQmxRegisterEveryNSamplesEvent", 1), ("DAQmxStartTask", 8)]
        cases = []
        for number, (function, call) in enumerate(steps):
            code = CODES[number % 2]
            cases.append(([COMPLETE], f"{function}:{call}:{code}", ""))
            cases.append(([LOST_UNIT], f"{function}:{call}:{code}:ever", ""))
        for call in (1, 45, 90):
            cases.append(([COMPLETE], f"DAQmxReadAnalogF64:{call}:{CODES[0]}", ""))
        for code in CODES:
            cases.append(([LOST_UNIT], f"DAQmxReadAnalogF64:45:{code}:ever", ""))
        # Taking down: nothing is lost by it.
        for function in ("DAQmxStopTask", "DAQmxClearTask"):
            cases.append(([COMPLETE], f"{function}:1:{CODES[0]}:ever", ""))
        cases.append(([COMPLETE], f"DAQmxReadAnalogF64:45:{CODES[0]},DAQmxIsTaskDone:1:{CODES[1]}", ""))
        cases.append(([COMPLETE], f"DAQmxReadAnalogF64:45:{CODES[0]},DAQmxStopTask:1:{CODES[1]},"
                                  f"DAQmxClearTask:1:{CODES[1]}", ""))
        # A call that takes ten seconds. The watchdog has its say when it is one that the signal waits for.
        ten = 10000
        cases += [([LOST_UNIT], "", f"DAQmxReadAnalogF64:30:{ten}"), ([LOST_UNIT], "", f"DAQmxStartTask:8:{ten}"),
                  ([COMPLETE], "", f"DAQmxStopTask:1:{ten}"), ([COMPLETE], "", f"DAQmxWriteDigitalU32:500:{ten}"),
                  ([REFUSED], "", f"DAQmxGetSysDevNames:2:{ten}")]
        self.check_all(cases, at_once=len(cases))

    def test_a_restart_goes_on_in_the_same_files(self):
        failing = 31
        result, report = self.check("again", [COMPLETE], f"DAQmxReadAnalogF64:{failing}:{CODES[0]}",
                                    speed=1)
        for text in (f"DAQ read failed, error: {CODES[0]} read: 0", "Restarting DAQ task.", "Task done: no"):
            self.assertIn(text, result.log)
        self.assertRegex("\n".join(result.log), r"(?m)^error time:  \d\d/\d\d/\d{4} \d{1,2}:\d\d:\d\d [AP]M$")
        self.assertIn("Device: 1 read errors, 1 restarts;", result.out)
        self.assertRegex(result.out, r"(?m)^Without data: 0\.[1-9] s in 1 restart of the acquisition$")
        self.assertEqual(report["DAQmxCreateAIVoltageChan"], 2)
        # The stand-in's signal begins anew with its task; the filters go on.
        acquired = np.concatenate([volts(CHANNELS, failing - 1), volts(CHANNELS, FRAMES - failing + 1)], axis=1)
        samples = reader.read_recording(self.folder / "again", reader.MOUSE).samples
        self.assertTrue(np.array_equal(samples, reference.stored(reference.decimate(acquired).T)[0]))


class DeviceFaultsTest(FaultTest):
    def test_failing_calls_about_the_device(self):
        cases = [([REFUSED], f"{function}:1:{CODES[0]}:ever", "")
                 for function in ("DAQmxGetSysDevNames", "DAQmxGetDevSerialNum", "DAQmxCreateTask", "DAQmxCreateDIChan",
                                  "DAQmxCreateDOChan", "DAQmxStartTask", "DAQmxWriteDigitalU32",
                                  "DAQmxReadDigitalU32")]
        cases += [([COMPLETE], f"{function}:1:{CODES[1]}:ever", "")
                  for function in ("DAQmxGetDevProductType", "DAQmxGetDevIsSimulated", "DAQmxGetDevAIPhysicalChans",
                                   "DAQmxGetErrorString", "DAQmxGetExtendedErrorInfo")]
        self.check_all(cases, at_once=len(cases))

    def test_silent_microcontroller(self):
        control = self.folder / "control"
        control.write_text("nak")
        with self.record("silent", environment={"STANDIN_CONTROL": str(control)}) as program:
            result = program.finish(BOUND_SECONDS)
        self.assertEqual(self.outcome("silent", result), REFUSED)
        self.assertEqual(result.messages, "DAQ Communication Failed: DAQ not responding.\nMake sure the DAQ is "
                                          "connected and powered, then re-select it from the device list.\n")
        self.assert_driver_left_clean("silent")


class AnyCallTest(FaultTest):
    """One call, of whatever function, fails."""

    def fail_some(self, count):
        with self.record("plain", "--duration", SECONDS, channels=CHANNELS, speed=10) as program:
            self.assertEqual(self.outcome("plain", program.finish()), COMPLETE)
        total = self.assert_driver_left_clean("plain")["calls"]
        seed = int.from_bytes(os.urandom(4), "big")
        calls = random.Random(seed)
        # Every call is as likely to matter as any other, but most of them are bits on the bus.
        chosen = [calls.randint(1, total) for _ in range(count // 2)] + [calls.randint(max(1, total - 150), total)
                                                                       for _ in range(count - count // 2)]
        cases = [([COMPLETE, REFUSED], f"*:{call}:{CODES[number % 2]}", "") for number, call in enumerate(chosen)]
        self.check_all(cases)


class SomeCallsTest(AnyCallTest):
    def test_twelve_calls(self):
        self.fail_some(12)


class ManyCallsTest(AnyCallTest):
    def test_two_hundred_calls(self):
        self.fail_some(200)

    def test_all_calls_from_one_on(self):
        cases = [([REFUSED, LOST_UNIT, COMPLETE], f"*:{call}:{CODES[number % 2]}:ever", "")
                 for number, call in enumerate((1, 2, 5, 20, 100, 500, 1500, 3000, 4500, 6000, 6700, 6750, 6780, 6800,
                                                6820, 6840, 6860, 6880))]
        self.check_all(cases)


class DeadDriverTest(FaultTest):
    def test_read_that_does_not_return(self):
        """Longer than the program waits for it: the files are closed all the same, and the process ends."""
        result = self.run_with("dead", hang="DAQmxReadAnalogF64:30:300000", seconds=60)
        self.assertEqual(self.outcome("dead", result), LOST_UNIT)
        self.assertEqual(parse_summary(result.out).acquired, 29)
        self.assertIn("Acquisition did not stop within 15000 ms: the driver does not return", result.log)


if __name__ == "__main__":
    unittest.main()
