# SPDX-License-Identifier: GPL-3.0-or-later
"""What the tests on the stand-in NI-DAQmx library share: its signal, its report, its log of calls."""

import numpy as np

import recording_reader as reader
from program import STANDIN, AppTest


def volts(channels, frames, gain=100):
    """What the stand-in acquires, (channels, samples)."""
    n = np.arange(frames * 20)
    turn = 2 * np.pi * n / 600
    offset = 2.5 if gain == 0 else 0.0
    return np.stack([offset + 0.8 * np.sin(turn * (2 + c / 4)) + 0.1 * np.sin(turn * 37) for c in range(channels)])


def read_report(path):
    """How often what happened, by name; 0 for what did not."""
    report = dict.fromkeys(("tasks_created", "tasks_cleared", "blocks_read", "dead_handle_calls",
                            "stops_inside_callback", "tasks_exhausted"), 0)
    for line in path.read_text(encoding="ascii").splitlines():
        name, count = line.rsplit(" ", 1)
        report[name] = int(count)
    return report


class DriverTest(AppTest):
    def record(self, name, *more, channels=8, animal=reader.MOUSE, gain=100, speed=1, environment=None, **options):
        """Starts a recording; use as a context."""
        self.books.mkdir(exist_ok=True)
        values = {"STANDIN_CHANNELS": str(channels), "STANDIN_ANIMAL": str(animal), "STANDIN_GAIN": str(gain),
                  "STANDIN_SPEED": str(speed), "STANDIN_REPORT": str(self.report(name)),
                  "STANDIN_LOG": str(self.books / f"{name}.calls")}
        values.update(environment or {})
        return self.start("--headless", "--nidaqmx-library", STANDIN, "--device", "Dev1", "--output",
                          self.folder / name, *more, environment=values, **options)

    @property
    def books(self):
        return self.folder / "books"

    def report(self, name):
        return self.books / f"{name}.report"

    def calls(self, name):
        """(task, call with its arguments), in order."""
        lines = (self.books / f"{name}.calls").read_text(encoding="ascii").splitlines()
        return [tuple(line.split(" ", 1)) for line in lines]

    def assert_driver_left_clean(self, name):
        report = read_report(self.report(name))
        self.assertEqual(report["tasks_created"], report["tasks_cleared"], "tasks that were not cleared")
        for fault in ("dead_handle_calls", "stops_inside_callback", "tasks_exhausted"):
            self.assertEqual(report[fault], 0, fault)
        return report

    def assert_analog_calls(self, name, channels):
        """One task, set up in the fixed order with the fixed arguments, read only in callbacks, stopped, cleared."""
        calls = self.calls(name)
        task = next(task for task, call in calls if call.startswith("DAQmxCreateAIVoltageChan"))
        own = [call for number, call in calls if number == task]
        samples = channels * 20
        self.assertEqual(own[:5], ['DAQmxCreateTask ""',
                                   f'DAQmxCreateAIVoltageChan Dev1/ai0:{channels - 1} "" 10083 -10 10 10348 NULL',
                                   f'DAQmxCfgSampClkTiming "" 600 10280 10123 {samples}',
                                   "DAQmxRegisterEveryNSamplesEvent 1 20 0 callback", "DAQmxStartTask"])
        self.assertEqual(own[-2:], ["DAQmxStopTask", "DAQmxClearTask"])
        self.assertEqual(set(own[5:-2]), {f"DAQmxReadAnalogF64 20 10 0 {samples}"})
        self.assertEqual([number for number, call in calls if call.startswith("DAQmxCreateAIVoltageChan")], [task])
