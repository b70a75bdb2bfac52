# SPDX-License-Identifier: GPL-3.0-or-later
"""Runs the program under test and reads what it says.

Settings, caches, runtime and temporary files of every run live in a temporary folder of its test, so that runs
side by side claim their simulated units apart from each other. Paths come from the
environment that ctest sets: VELLUMTIDE_PROGRAM, VELLUMTIDE_STANDIN (the stand-in NI-DAQmx library),
VELLUMTIDE_TEST_DATA.
"""

import concurrent.futures
import os
import re
import shutil
import subprocess
import tempfile
import threading
import unittest
from dataclasses import dataclass
from pathlib import Path

PROGRAM = os.environ["VELLUMTIDE_PROGRAM"]
STANDIN = os.environ.get("VELLUMTIDE_STANDIN", "")
DATA = Path(os.environ["VELLUMTIDE_TEST_DATA"])

# Long enough for a loaded machine and a sanitised program; only a hanging program ever waits so long.
PATIENCE_SECONDS = 120

LOG_LINE = re.compile(r"\[\d{4}/\d\d/\d\d \d{1,2}:\d\d:\d\d\.\d{3} UTC[^\]]*([DIWCF])\] (\S+) - (.*)")
PROGRESS_LINE = re.compile(r"(\d+) s  (\w+)  segment (\d+)  frames (\d+) \((\d+) dropped\)  queue (\d+)  "
                           r"disk (?:\?|[0-9.]+ GB)  \[([-SWx]*)\]((?:  [^ ].*)?)")


@dataclass
class Result:
    status: int
    out: str
    err: str

    @property
    def log(self):
        """Texts of the log lines on standard error."""
        return [match.group(3) for match in map(LOG_LINE.fullmatch, self.err.splitlines()) if match]

    @property
    def messages(self):
        """Standard error without log and progress lines: what is meant for the user."""
        # The summary is logged as one record of many lines, the last one empty.
        text = re.sub(r"^(\[.*) - Recording summary\n(.+\n)*\n", r"\1 - summary\n", self.err, flags=re.MULTILINE)
        return "".join(line + "\n" for line in text.splitlines()
                       if not LOG_LINE.fullmatch(line) and not PROGRESS_LINE.fullmatch(line))

    def tail(self, lines=40):
        text = "\n".join(self.err.splitlines()[-lines:])
        return f"exit status {self.status}\n--- standard output\n{self.out}\n--- end of standard error\n{text}"


class Program:
    """One running program. Its output is read as it comes, so that it never waits for the test.

    first_lines: each output is closed after so many lines instead of being read to its end.
    home: settings, logs and runtime files of an earlier run (its home) instead of new ones.
    """

    def __init__(self, folder, arguments, environment=None, settings="", prefix=(), first_lines=None,
                 home=None):
        home = home or Path(tempfile.mkdtemp(prefix="home-", dir=folder))
        self.home = home
        runtime = home / "run"
        runtime.mkdir(mode=0o700, exist_ok=True)
        temporary = home / "tmp"
        temporary.mkdir(exist_ok=True)
        config = home / "config" / "OrrinDale"
        config.mkdir(parents=True, exist_ok=True)
        if settings:
            (config / "Vellumtide5.conf").write_text(f"[General]\n{settings}\n")
        values = {name: value for name, value in os.environ.items() if not name.startswith("XDG_")}
        values.update(HOME=str(home), XDG_RUNTIME_DIR=str(runtime), TMPDIR=str(temporary),
                      XDG_CONFIG_HOME=str(home / "config"), XDG_DATA_HOME=str(home / "data"), XDG_CACHE_HOME=str(home / "cache"),
                      XDG_STATE_HOME=str(home / "state"), LC_ALL="C.UTF-8")
        values.update(environment or {})
        # A build with AddressSanitizer: the process may end while a thread of the driver is still ending, whose
        # Qt data then counts as a leak. The tests inside one process look for leaks.
        if "ASAN_OPTIONS" in values:
            values["ASAN_OPTIONS"] += ":detect_leaks=0"
        self.process = subprocess.Popen([*prefix, PROGRAM, *map(str, arguments)], env=values, cwd=folder,
                                        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE)
        self._changed = threading.Condition()
        self._out = []
        self._err = []
        self._open_streams = 2
        self._first_lines = first_lines
        for stream, lines in ((self.process.stdout, self._out), (self.process.stderr, self._err)):
            threading.Thread(target=self._collect, args=(stream, lines), daemon=True).start()

    def _collect(self, stream, lines):
        for raw in stream:
            with self._changed:
                lines.append(raw.decode("utf-8", "replace"))
                self._changed.notify_all()
            if len(lines) == self._first_lines:
                stream.close()
                break
        with self._changed:
            self._open_streams -= 1
            self._changed.notify_all()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        with self._changed:
            self._changed.wait_for(lambda: self._open_streams == 0, 10)
        self.process.stdout.close()
        self.process.stderr.close()

    @property
    def pid(self):
        return self.process.pid

    def signal(self, number):
        self.process.send_signal(number)

    def wait_for(self, pattern, count=1, seconds=PATIENCE_SECONDS):
        """Waits for the count-th line on standard error that pattern is found in; returns its match."""
        expression = re.compile(pattern)

        def found():
            hits = [match for match in map(expression.search, self._err) if match]
            return hits[count - 1] if len(hits) >= count else None

        with self._changed:
            self._changed.wait_for(lambda: found() or self._open_streams == 0, seconds)
            match = found()
        if not match:
            raise AssertionError(f"'{pattern}' did not come {count} time(s) within {seconds} s\n{self._so_far()}")
        return match

    def lines(self):
        """Standard error so far."""
        with self._changed:
            return list(self._err)

    def _so_far(self):
        status = self.process.poll()
        return Result(status if status is not None else "(running)", "".join(self._out), "".join(self._err)).tail()

    def finish(self, seconds=PATIENCE_SECONDS):
        """Waits for the end."""
        with self._changed:
            ended = self._changed.wait_for(lambda: self._open_streams == 0, seconds)
        if not ended:
            raise AssertionError(f"still running after {seconds} s\n{self._so_far()}")
        return Result(self.process.wait(), "".join(self._out), "".join(self._err))


class AppTest(unittest.TestCase):
    """A test with a folder of its own."""

    longMessage = True
    maxDiff = 4000

    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="vellumtide-test-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def start(self, *arguments, **options):
        """Use as a context: the program is gone when the block is left."""
        return Program(self.folder, arguments, **options)

    def run_program(self, *arguments, seconds=PATIENCE_SECONDS, **options):
        with self.start(*arguments, **options) as program:
            return program.finish(seconds)

    def assert_status(self, expected, result):
        if result.status != expected:
            self.fail(f"exit status {result.status} instead of {expected}\n{result.tail()}")

    def together(self, *scenarios):
        """Runs the scenarios at the same time, each to its end; fails with everything that failed."""
        with concurrent.futures.ThreadPoolExecutor(len(scenarios)) as pool:
            futures = [pool.submit(scenario) for scenario in scenarios]
        failures = [future.exception() for future in futures if future.exception()]
        if len(failures) == 1:
            raise failures[0]
        if failures:
            self.fail("\n\n".join(f"{type(failure).__name__}: {failure}" for failure in failures))


def simulate(*more, base, duration=None, speed=1000):
    """Arguments of a run on the simulated unit."""
    arguments = ["--headless", "--simulate", "--device", "sim", "--simulate-speed", speed, "--output", base]
    if duration is not None:
        arguments += ["--duration", duration]
    return [*arguments, *more]


@dataclass
class Summary:
    """The summary on standard output, by its figures."""
    segments: list
    ended: str
    acquired: int
    processed: int
    dropped: int
    bytes: int
    writes: int
    lost: str
    steps: list
    asleep: list


def parse_summary(text):
    def one(pattern):
        match = re.search(pattern, text, re.MULTILINE)
        if not match:
            raise AssertionError(f"the summary has no '{pattern}':\n{text}")
        return match

    if not text.startswith("Recording summary\n"):
        raise AssertionError(f"no summary:\n{text}")
    frames = one(r"^Signal: [0-9.]+ s recorded, frames acquired (\d+), processed (\d+), dropped (\d+)$")
    files = one(r"^Files: (\d+) bytes in (\d+) writes$")
    rows = re.findall(r"^ +(\d+) +(\d+) +(\d+) +([0-9.]+)  (.*)$", text[text.index("\nChannel "):], re.MULTILINE)
    return Summary(segments=re.findall(r"^Segment \d+: (.*)$", text, re.MULTILINE),
                   ended=one(r"^Ended: (.*) after [0-9.]+ s$").group(1),
                   acquired=int(frames.group(1)), processed=int(frames.group(2)), dropped=int(frames.group(3)),
                   bytes=int(files.group(1)), writes=int(files.group(2)),
                   lost=one(r"^(?:Lost: |Without data: (?=.* of the acquisition$))(.*)$").group(1),
                   steps=[int(row[1]) for row in rows], asleep=[int(row[2]) for row in rows])


def byte_accounts(result):
    """(queued, written, dropped, failed) per file path, from the log."""
    accounts = {}
    for text in result.log:
        match = re.fullmatch(r"Bytes: (.*) queued (\d+) written (\d+) dropped (\d+) failed (\d+)", text)
        if match:
            accounts[match.group(1)] = tuple(int(match.group(i)) for i in range(2, 6))
    return accounts
