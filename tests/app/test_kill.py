# SPDX-License-Identifier: GPL-3.0-or-later
"""The program is killed without warning at random moments: what it had is in its files."""

import os
import random
import subprocess
import time
import unittest

import numpy as np

import expectations
import recording_reader as reader
import reference_scoring as reference
from program import DATA, PROGRESS_LINE, AppTest, simulate

CHANNELS = 4
MAY_BE_MISSING_FRAMES = 15  # 0.5 s
LATEST_KILL_SECONDS = 3.0
LOOK_SECONDS = 0.02


class Reference:
    """The played file over and over, decimated and scored."""

    def __init__(self, passes):
        volts = np.tile(np.fromfile(DATA / "real4.f64", dtype="<f8").reshape(-1, CHANNELS).T, passes)
        decimated = reference.decimate(volts)
        self.samples = reference.stored(decimated.T)[0]
        scores = reference.score(decimated, reference.MOUSE)
        self.bodies = {"features": scores.vector.transpose(1, 0, 2), "activity": scores.signal_power.T,
                       "breath": scores.breath_rate.T}


class Killed:
    """What was known about the signal when the program was killed."""

    def __init__(self, raw, speed):
        self.raw = raw
        self.speed = speed
        self.earliest_begin = None  # the signal began no later than this
        self.reported = 0           # frames that the program said it had processed

    def look(self, program):
        """n blocks in the file mean that the signal began at least n / 30 s ago (at real time)."""
        frames = frames_in(self.raw)
        if frames > 0:
            begin = time.monotonic() - frames / 30.0
            self.earliest_begin = begin if self.earliest_begin is None else min(begin, self.earliest_begin)
        for line in program.lines():
            progress = PROGRESS_LINE.fullmatch(line.rstrip("\n"))
            if progress:
                self.reported = int(progress.group(4))

    def produced_until(self, moment):
        """Frames that the unit had certainly delivered, at real time, or that the program had processed."""
        if self.speed > 1 or self.earliest_begin is None:
            return self.reported
        return max(self.reported, int((moment - self.earliest_begin) * 30.0))


def frames_in(path):
    try:
        with open(path, "rb") as file:
            first = file.read(4)
            header = 4 + int.from_bytes(first, "big")
            return max(0, os.fstat(file.fileno()).st_size - header) // (2 * 4 * CHANNELS) if len(first) == 4 else 0
    except FileNotFoundError:
        return 0


class KillTest(AppTest):
    passes = 1

    @classmethod
    def setUpClass(cls):
        cls.reference = Reference(cls.passes)

    def check_files(self, base, produced):
        paths = reader.file_names(base, reader.MOUSE)
        if frames_in(paths["raw"]) == 0:
            self.assertLessEqual(produced, MAY_BE_MISSING_FRAMES)
            return 0
        recording = reader.read_recording(base, reader.MOUSE, whole=False, config=False)
        frames = len(recording.samples) // 4
        self.assertGreaterEqual(frames, produced - MAY_BE_MISSING_FRAMES)
        self.assertTrue(np.array_equal(recording.samples, self.reference.samples[:4 * frames]), "samples")
        for name, expected in self.reference.bodies.items():
            steps = len(getattr(recording, name))
            # The three feature files are written one after the other, before the step's raw block.
            self.assertIn(steps - reference.step_count(frames), (-1, 0, 1), name)
            expectations.check_values(self, name, getattr(recording, name), expected[:steps])
        self.assertEqual([count for _, count in recording.stamps],
                         [4 * frame for frame in range(1, 60 * len(recording.stamps), 60)])
        return frames

    def kill_one(self, base, speed, seconds):
        paths = reader.file_names(base, reader.MOUSE)
        for path in paths.values():
            path.unlink(missing_ok=True)
        with self.start(*simulate(DATA / "real4.f64", "--channels", CHANNELS, base=base, speed=speed)) as program:
            known = Killed(paths["raw"], speed)
            end = time.monotonic() + seconds
            while time.monotonic() < end:
                try:
                    program.process.wait(min(LOOK_SECONDS, max(0.001, end - time.monotonic())))
                    self.fail("it ended by itself\n" + program.finish().tail())
                except subprocess.TimeoutExpired:
                    known.look(program)
            moment = time.monotonic()
            program.process.kill()
            program.process.wait()
        return self.check_files(base, known.produced_until(moment))

    def kill_many(self, kills, slots):
        seed = int.from_bytes(os.urandom(4), "big")
        moments = random.Random(seed)
        plan = [(moments.choice((1, 1, 1, 20)), moments.uniform(0.0, LATEST_KILL_SECONDS)) for _ in range(kills)]
        frames = []

        def slot(number):
            base = self.folder / f"killed{number}"
            for speed, seconds in plan[number::slots]:
                try:
                    frames.append(self.kill_one(base, speed, seconds))
                except Exception as error:
                    raise AssertionError(f"seed {seed}, speed {speed}, killed after {seconds:.3f} s: "
                                         f"{error}") from error
            # What the last kill left behind keeps nobody from recording there again, and is itself kept.
            raw = reader.file_names(base, reader.MOUSE)["raw"]
            left = raw.read_bytes() if frames_in(raw) > 0 else b""
            again = base.with_name(f"{base.name} (1)") if left else base
            self.assert_status(0, self.run_program(*simulate(DATA / "real4.f64", "--channels", CHANNELS, base=base,
                                                             duration=10)))
            self.assertEqual(self.check_files(again, 300), 300)
            if left:
                self.assertEqual(raw.read_bytes(), left)

        self.together(*[lambda number=number: slot(number) for number in range(slots)])
        self.assertEqual(len(frames), kills)
        self.assertGreater(sum(count > 0 for count in frames), 0, "no kill came after the beginning of a recording")
        print(f"{kills} kills, {sum(count > 0 for count in frames)} of them while frames were recorded, "
              f"longest recording {max(frames) / 30:.1f} s")


class FewKillsTest(KillTest):
    def test_five_kills(self):
        self.kill_many(5, 3)


class ManyKillsTest(KillTest):
    def test_two_hundred_kills(self):
        self.kill_many(200, 5)


if __name__ == "__main__":
    unittest.main()
