# SPDX-License-Identifier: GPL-3.0-or-later
"""Claims among instances, the system's power events, and what is left when an instance dies."""

import contextlib
import re
import signal
import subprocess
import unittest

import dbusmock

import recording_reader as reader
from driver import DriverTest
from program import STANDIN, parse_summary, simulate

CHANNELS = 2
TWO_MINUTES = 120
INSTANCES = 4


def warnings(result):
    """Log lines of category W and worse, as (file:line, text)."""
    return re.findall(r"^\[[^\]]*[WCF]\] (\S+) - (.*)$", result.err, re.MULTILINE)


class ClaimsTest(DriverTest):
    def test_second_instance_is_told_who_has_the_unit(self):
        with self.start(*simulate("--channels", CHANNELS, base=self.folder / "first", speed=1)) as first:
            first.wait_for(r"Recording  segment 0  frames \d+")
            # Another runtime folder, as of a program that cron starts beside the desktop's.
            shared = {"TMPDIR": str(first.home / "tmp")}
            second = self.run_program(*simulate(base=self.folder / "second", duration=1), environment=shared)
            self.assert_status(1, second)
            self.assertEqual(second.messages,
                             f"sim is in use by another Vellumtide instance (process {first.pid}).\n")
            self.assertTrue(any("is held by another Vellumtide instance" in line for line in second.log))
            self.assertFalse((self.folder / "second.binfb").exists())
            # Another unit is free.
            with self.record("third", "--simulate", "--duration", 1, environment=shared) as third:
                self.assert_status(0, third.finish())

            first.process.kill()
            first.process.wait()
            fourth = self.run_program(*simulate(base=self.folder / "fourth", duration=1), environment=shared)
            self.assert_status(0, fourth)
            self.assertTrue(any("claimed serial 20001 (abandoned by prior owner)" in line for line in fourth.log),
                            fourth.tail())
        fifth = self.run_program(*simulate(base=self.folder / "fifth", duration=1), environment=shared)
        self.assert_status(0, fifth)
        self.assertFalse(any("abandoned" in line for line in fifth.log))


class LeftOpenTest(DriverTest):
    def test_next_start_tells_of_a_recording_that_was_not_closed(self):
        base = self.folder / "night"
        with self.start(*simulate("--channels", CHANNELS, base=base, speed=1)) as killed:
            killed.wait_for(r"Recording  segment 0  frames [1-9]\d*")
            killed.process.kill()
            killed.process.wait()
        again = self.run_program(*simulate(base=self.folder / "next", duration=1), home=killed.home)
        self.assert_status(0, again)
        self.assertIn("The last recording was not closed", again.messages)
        self.assertIn(str(base) + ".binfb", again.messages)
        self.assertGreater(len(reader.read_recording(base, reader.MOUSE, whole=False, config=False).samples), 0)
        third = self.run_program(*simulate(base=self.folder / "third", duration=1), home=killed.home)
        self.assertNotIn("not closed", third.messages)


    def test_instances_that_end_together_leave_nothing_noted(self):
        home = self.folder / "home"
        home.mkdir()

        def begin(number):
            own = self.folder / f"unit-{number}"  # the claims of a computer of its own: all have the same unit
            own.mkdir(mode=0o700)
            return self.start(*simulate("--channels", CHANNELS, base=self.folder / f"run-{number}", speed=1),
                              home=home, environment={"XDG_RUNTIME_DIR": str(own), "TMPDIR": str(own)})

        settings = home / "config" / "OrrinDale" / "Vellumtide5.conf"
        with contextlib.ExitStack() as stack:
            programs = [stack.enter_context(begin(number)) for number in range(INSTANCES)]
            for program in programs:
                program.wait_for(r"Recording  segment 0  frames [1-9]\d*")
            noted = settings.read_text().split("[openRecordings]")[1]
            self.assertEqual(noted.count("run-"), INSTANCES, noted)
            for program in programs:
                program.signal(signal.SIGTERM)
            for program in programs:
                self.assert_status(0, program.finish())
        self.assertNotIn("openRecordings", settings.read_text())
        logs = list((home / "data").glob("**/logs/*_log_*.txt"))
        self.assertEqual(len(logs), INSTANCES, logs)


class PowerTest(DriverTest):
    """Against logind's interface on a bus of the test's own."""

    @classmethod
    def setUpClass(cls):
        class Bus(dbusmock.DBusTestCase):
            pass
        Bus.setUpClass()
        Bus.start_system_bus()
        cls.addClassCleanup(Bus.tearDownClass)
        cls.bus = Bus.get_dbus(system_bus=True)
        cls.spawn = Bus.spawn_server_template

    def setUp(self):
        super().setUp()
        server, self.logind = self.spawn("logind", {}, stdout=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)

    def end_by(self, event, status):
        base = self.folder / event
        with self.start(*simulate("--channels", CHANNELS, base=base, speed=1, duration=TWO_MINUTES)) as program:
            frames = int(program.wait_for(r"Recording  segment 0  frames ([1-9]\d*)").group(1))
            held = {(str(entry[0]), str(entry[3])) for entry in self.logind.ListInhibitors()}
            self.assertEqual(held, {("shutdown:sleep", "delay"), ("shutdown", "block"), ("sleep:idle", "block")})
            self.logind.EmitSignal("org.freedesktop.login1.Manager", event, "b", [True])
            result = program.finish()
        self.assert_status(status, result)
        summary = parse_summary(result.out)
        self.assertGreaterEqual(summary.processed, frames)
        self.assertEqual(summary.lost, "nothing")
        self.assertEqual(len(reader.read_recording(base, reader.MOUSE).samples), 4 * summary.processed)
        self.assertIn("Forced graceful stop completed - application ready for system event", result.log)
        return result

    def test_shutdown_and_sleep_end_the_recording_and_nothing_is_lost(self):
        result = self.end_by("PrepareForShutdown", 1)
        self.assertIn("FORCED GRACEFUL STOP INITIATED", result.log)
        result = self.end_by("PrepareForSleep", 1)
        self.assertIn("System suspending during active recording — forcing graceful stop.", result.log)


class PoorSystemTest(DriverTest):
    def run_with(self, **environment):
        base = self.folder / "poor"
        result = self.run_program(*simulate("--channels", CHANNELS, base=base, duration=2), environment=environment)
        self.assert_status(0, result)
        self.assertEqual(len(reader.read_recording(base, reader.MOUSE).samples), 240)
        return warnings(result)

    def test_each_missing_service_costs_one_warning(self):
        nobody = {"DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={self.folder}/nobody"}
        blocked = self.folder / "file"
        blocked.write_text("in the folder's place")
        usual = self.run_with(**nobody)
        self.assertEqual(len(usual), 1, usual)
        # The unit's build information is kept in the same place.
        no_logs = [line for line in self.run_with(**nobody, XDG_DATA_HOME=str(blocked))
                   if "build-info cache" not in line[1]]
        self.assertEqual(len(no_logs), 2, no_logs)
        no_settings = self.run_with(**nobody, XDG_CONFIG_HOME=str(blocked))
        self.assertEqual(len(no_settings), 2, no_settings)


if __name__ == "__main__":
    unittest.main()
