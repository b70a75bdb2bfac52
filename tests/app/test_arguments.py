# SPDX-License-Identifier: GPL-3.0-or-later
"""Command lines that record nothing: help, mistakes, and recordings that cannot begin."""

import os
import stat
import subprocess
import unittest

import recording_reader as reader
from program import PROGRAM, AppTest, parse_summary, simulate

IN_USE = "File is in use by another application — choose a different file or close the other application."


def snapshot(folder):
    """Names, contents and times of everything under folder but the programs' own homes."""
    found = {}
    for path in sorted(folder.rglob("*")):
        name = str(path.relative_to(folder))
        if name.startswith("home-"):
            continue
        status = path.lstat()
        content = path.read_bytes() if stat.S_ISREG(status.st_mode) else b""
        found[name] = (status.st_mode, status.st_mtime_ns, content)
    return found


class AnswersTest(AppTest):
    def test_help_lists_every_option(self):
        for option in ("--help", "-h"):
            result = self.run_program(option)
            self.assert_status(0, result)
            self.assertEqual(result.err, "")
            for name in ("--simulate", "--simulate-speed", "--headless", "--device", "--channels", "--animal",
                         "--animal-id", "--output", "--duration", "--activity-only", "--bandpass",
                         "--nidaqmx-library", "--list-devices", "--version", "--setup", "--clear-settings",
                         "--extra-serial-port"):
                self.assertIn(name, result.out)

    def test_version(self):
        for option in ("--version", "-v"):
            result = self.run_program(option)
            self.assert_status(0, result)
            self.assertEqual(result.err, "")
            self.assertRegex(result.out, r"^VellumtideQT\d+\.\d+\.\S+\n$")

    def test_simulated_unit_is_listed(self):
        result = self.run_program("--list-devices", "--simulate")
        self.assert_status(0, result)
        self.assertEqual(result.out, "sim\tSIM-6218\t20001\tyes\nsim16\tSIM-6218\t20016\tyes\n"
                         "strivix:sim\tSerial amplifier\t\tyes\n")
        self.assertEqual(result.messages, "")


class MistakesTest(AppTest):
    MISTAKES = [
        (["--bogus"], "bogus"),
        (["--headless", "--bogus=1"], "bogus"),
        (["--headless", "--channels", "0"], "1 to 16"),
        (["--headless", "--channels", "17"], "1 to 16"),
        (["--headless", "--channels", "-3"], "1 to 16"),
        (["--headless", "--channels", "four"], "1 to 16"),
        (["--headless", "--channels", "99999999999"], "1 to 16"),
        (["--headless", "--duration", "-1"], "duration"),
        (["--headless", "--duration", "0"], "duration"),
        (["--headless", "--duration", "nan"], "duration"),
        (["--headless", "--duration", "inf"], "duration"),
        (["--headless", "--duration", "1e300"], "duration"),
        (["--headless", "--duration"], "duration"),
        (["--headless", "--simulate-speed", "0"], "simulate-speed"),
        (["--headless", "--simulate-seed", "one"], "simulate-seed"),
        (["--headless", "--animal", "cat"], "mouse"),
        (["--headless", "--setup"], "setup"),
        (["--headless", "--setup", ""], "setup"),
        (["--headless", "--extra-serial-port", "vid=2405"], "--extra-serial-port vid=2405: path is missing."),
        (["--headless", "--extra-serial-port", "path=/dev/x", "--extra-serial-port", "path=/dev/y;vid=xyz"], "'xyz'"),
        (["--clear-settings=yes"], "clear-settings"),
        (["--headless", "stray"], "stray"),
        (["--headless", "--simulate", "one.f64", "two.f64"], "two.f64"),
        (["--channels", "0"], "1 to 16"),
        (["stray"], "stray"),
    ]

    def assert_refused(self, result, part):
        self.assert_status(2, result)
        self.assertEqual(result.out, "")
        lines = result.err.splitlines()
        self.assertEqual(len(lines), 2, result.err)
        self.assertTrue(lines[0].startswith("vellumtide: "), result.err)
        self.assertIn(part, lines[0])
        self.assertEqual(lines[1], "Try 'vellumtide --help'.")

    def test_wrong_arguments_end_with_2_and_one_message(self):
        base = self.folder / "never"

        def check(arguments, part):
            # Without a display: a mistake must be told all the same.
            self.assert_refused(self.run_program("--output", base, *arguments,
                                                 environment={"DISPLAY": "", "QT_QPA_PLATFORM": "xcb"}), part)

        self.together(*[lambda case=case: check(*case) for case in self.MISTAKES])
        self.assertEqual(snapshot(self.folder), {})

    def test_headless_needs_an_output(self):
        for arguments in (["--headless", "--simulate"], ["--headless", "--simulate", "--output", ""],
                          ["--headless", "--simulate", "--output"]):
            with self.subTest(arguments=arguments):
                self.assert_refused(self.run_program(*arguments), "output")
        self.assertEqual(snapshot(self.folder), {})


class CannotBeginTest(AppTest):
    def assert_cannot_begin(self, arguments, *parts, folder=None, **options):
        """Exit status 1, one message that holds all parts, and every file (in folder) as it was."""
        folder = folder or self.folder
        before = snapshot(folder)
        result = self.run_program(*arguments, **options)
        self.assert_status(1, result)
        self.assertEqual(result.out, "", "a summary of nothing")
        for part in parts:
            self.assertIn(part, result.messages)
        self.assertEqual(len(result.messages.splitlines()), 1, result.messages)
        self.assertEqual(snapshot(folder), before, result.tail())

    def test_unknown_device(self):
        self.assert_cannot_begin(simulate("--device", "Dev7", base=self.folder / "a"), "Dev7", "sim")

    def test_driver_library_that_cannot_be_loaded(self):
        self.assert_cannot_begin(simulate("--nidaqmx-library", self.folder / "none.so", base=self.folder / "a"),
                                 "none.so")

    def test_driver_library_without_the_functions(self):
        libc = next(line.split()[2] for line in subprocess.run(["ldd", PROGRAM], stdout=subprocess.PIPE, check=True,
                                                               text=True).stdout.splitlines() if "libc.so" in line)
        self.assert_cannot_begin(simulate("--nidaqmx-library", libc, base=self.folder / "a"), "lacks the functions",
                                 "DAQmxCreateTask")

    def test_bad_playback_files(self):
        odd = self.folder / "odd.f64"
        odd.write_bytes(bytes(8 * 4 * 30 + 1))
        short = self.folder / "short.f64"
        short.write_bytes(bytes(8 * 4 * 19))
        for path, part in ((odd, "multiple"), (short, "19 samples"), (self.folder / "none.f64", "none.f64"),
                           (self.folder, "folder")):
            with self.subTest(path=path.name):
                self.assert_cannot_begin(simulate(path, "--channels", 4, base=self.folder / "a"), str(path), part)

    def test_bad_places(self):
        plain = self.folder / "plain"
        plain.write_text("a file")
        locked = self.folder / "locked"
        locked.mkdir()
        locked.chmod(0o555)
        self.addCleanup(locked.chmod, 0o755)
        long_name = "x" * 240
        cases = [(self.folder / "missing" / "a", "missing", "does not exist"),
                 (locked / "a", "locked", "not writable"),
                 (plain / "a", "plain", "not a folder"),
                 (self.folder, str(self.folder), "is a folder"),
                 (f"{self.folder}/", str(self.folder), "is a folder"),
                 (self.folder / long_name, "too long"),
                 (f"{self.folder}/" + "d/" * 2500 + "a", "too long")]
        for base, *parts in cases:
            with self.subTest(base=str(base)[-40:]):
                self.assert_cannot_begin(simulate(base=base), *parts)

    def test_longest_name_that_is_possible(self):
        base = self.folder / ("x" * (255 - len(" (99)_daq.Tstamp")))
        self.assert_status(0, self.run_program(*simulate("--channels", 1, base=base, duration=1)))
        self.assertEqual(reader.read_recording(base, reader.MOUSE).samples.shape, (120, 1))

    def test_channels_are_for_the_simulated_unit_that_is_named(self):
        for device, channels, expected in (("sim16", (), 16), ("sim16", ("--channels", 12), 12), ("sim", (), 8)):
            base = self.folder / f"{device}_{expected}"
            self.assert_status(0, self.run_program(*simulate("--device", device, *channels, base=base, duration=1)))
            self.assertEqual(reader.read_recording(base, reader.MOUSE).samples.shape, (120, expected))

    def test_existing_files_that_must_not_be_touched(self):
        def check(role):
            folder = self.folder / role
            folder.mkdir()
            path = reader.file_names(folder / "a", reader.MOUSE)[role]
            path.write_text("precious")
            path.chmod(0o444)
            self.assert_cannot_begin(simulate(base=folder / "a"), str(path), "read-only", folder=folder)
            path.unlink()
            path.mkdir()
            self.assert_cannot_begin(simulate(base=folder / "a"), str(path), "not a file", folder=folder)
            path.rmdir()
            os.mkfifo(path)
            self.assert_cannot_begin(simulate(base=folder / "a"), str(path), "not a file", folder=folder)

        # Markers and the configuration summary are nothing that a recording cannot do without.
        self.together(*[lambda role=role: check(role) for role in (*reader.BINARY, "stamps")])

    def test_more_than_the_unit_offers(self):
        ids = ["--animal-id", "a", "--animal-id", "b", "--animal-id", "c"]
        self.assert_cannot_begin(simulate("--channels", 2, *ids, base=self.folder / "a"), "3 animal IDs", "2 channels")

    def test_files_of_another_running_recording(self):
        base = self.folder / "shared"
        with self.start(*simulate("--channels", 2, base=base, speed=1, duration=4)) as first:
            first.wait_for("writeConfigFile - Written")  # the last of its files
            inodes = {path: path.stat().st_ino for path in self.folder.glob("shared*")}
            result = self.run_program(*simulate("--channels", 2, base=base, duration=1))
            self.assert_status(1, result)
            self.assertIn(IN_USE, result.messages)
            self.assertEqual(len(result.messages.splitlines()), 1, result.messages)
            self.assertEqual({path: path.stat().st_ino for path in inodes}, inodes)
            ended = first.finish()
        self.assert_status(0, ended)
        self.assertEqual(parse_summary(ended.out).processed, 120)
        self.assertEqual(reader.read_recording(base, reader.MOUSE).samples.shape, (480, 2))

    def test_extension_in_the_name_is_stripped(self):
        for name in ("one.bin", "two.binfb"):
            result = self.run_program(*simulate("--channels", 1, base=self.folder / name, duration=1))
            self.assert_status(0, result)
            reader.read_recording(self.folder / name.split(".")[0], reader.MOUSE)


if __name__ == "__main__":
    unittest.main()
