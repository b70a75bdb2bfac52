# SPDX-License-Identifier: GPL-3.0-or-later
"""Real signals, played through the whole program, against SciPy."""

import unittest
from datetime import datetime

import numpy as np

import expectations
import recording_reader as reader
from program import DATA, AppTest, byte_accounts, parse_summary, simulate

SECONDS = 150
FRAMES = SECONDS * 30
CHANNELS = 4
# An independent computation of the rule on this file; published with it.
ASLEEP = {reader.MOUSE: [22, 28, 0, 0], reader.RAT: [32, 42, 2, 0]}
STEPS = 72


class PlaybackTest(AppTest):
    def setUp(self):
        super().setUp()
        self.file = DATA / "real4.f64"
        self.volts = np.fromfile(self.file, dtype="<f8").reshape(-1, CHANNELS).T

    def record(self, name, animal, *more):
        base = self.folder / name
        begun = datetime.now()
        result = self.run_program(*simulate(self.file, "--channels", CHANNELS, *more, base=base, duration=SECONDS))
        self.assert_status(0, result)
        return base, result, reader.read_recording(base, animal), begun

    def check(self, name, animal, *more):
        base, result, recording, begun = self.record(name, animal, *more)
        software = self.run_program("--version").out.strip()
        expectations.check_names(self, self.folder, base, animal)
        expectations.check_header(self, recording.header, animal, CHANNELS, ["1", "2", "3", "4"], "SIM-6218",
                                  "20001", 100, begun, datetime.now(), software)
        expectations.check_config(self, recording.config, base, CHANNELS, ["1", "2", "3", "4"], "SIM-6218",
                                  "20001", "sim")
        expectations.check_stamps(self, recording.stamps, FRAMES)
        scores = expectations.check_segment(self, recording, self.volts, FRAMES, animal)
        self.assertEqual(list(scores.asleep), ASLEEP[animal], "the reference itself")

        summary = parse_summary(result.out)
        self.assertEqual(summary.segments, [str(base)])
        self.assertEqual(summary.steps, [STEPS] * CHANNELS)
        self.assertEqual(summary.asleep, ASLEEP[animal])
        self.assertEqual((summary.acquired, summary.processed, summary.dropped), (FRAMES, FRAMES, 0))
        self.assertEqual((summary.ended, summary.lost), ("duration reached", "nothing"))
        payload = {str(path): recording.sizes[role] - recording.header.size
                   for role, path in reader.file_names(base, animal).items() if role in reader.BINARY}
        self.assertEqual(byte_accounts(result), {path: (size, size, 0, 0) for path, size in payload.items()})
        self.assertEqual(summary.bytes, sum(payload.values()))

    def test_mouse(self):
        self.check("mouse", reader.MOUSE)

    def test_rat(self):
        self.check("rat", reader.RAT, "--animal", "rat")

    def test_bandpass_changes_no_file(self):
        _, _, plain, _ = self.record("plain", reader.MOUSE)
        _, _, shown, _ = self.record("shown", reader.MOUSE, "--bandpass")
        for name in ("samples", "features", "activity", "breath"):
            self.assertTrue(np.array_equal(getattr(plain, name), getattr(shown, name)), name)

    def test_activity_only_records_activity_and_scores_nothing(self):
        _, _, plain, _ = self.record("plain", reader.MOUSE)
        base, result, activity, _ = self.record("activity", reader.MOUSE, "--activity-only")
        expectations.check_names(self, self.folder, base, reader.MOUSE)
        self.assertTrue(np.array_equal(plain.samples, activity.samples))
        self.assertTrue(np.array_equal(plain.activity, activity.activity))
        self.assertEqual((len(activity.features), len(activity.breath)), (0, 0))
        self.assertEqual(parse_summary(result.out).steps, [0] * CHANNELS)

    def test_playback_starts_again_at_its_end(self):
        base = self.folder / "twice"
        result = self.run_program(*simulate(self.file, "--channels", CHANNELS, base=base, duration=2 * SECONDS + 1))
        self.assert_status(0, result)
        volts = np.concatenate([self.volts] * 3, axis=1)
        expectations.check_segment(self, reader.read_recording(base, reader.MOUSE), volts, 2 * FRAMES + 30,
                                   reader.MOUSE)

    def test_animal_ids_reach_header_config_and_summary(self):
        base = self.folder / "named"
        labels = ["mouse, no. 1", "Größe 2", "", "4 \"old\""]
        arguments = [word for label in labels for word in ("--animal-id", label)]
        result = self.run_program(*simulate(self.file, "--channels", CHANNELS, *arguments, base=base, duration=1))
        self.assert_status(0, result)
        recording = reader.read_recording(base, reader.MOUSE)
        labels[2] = "3"  # left empty: the channel's number
        self.assertEqual(recording.header.channel_labels, labels)
        self.assertEqual(recording.samples.shape, (120, CHANNELS))
        config = reader.file_names(base, reader.MOUSE)["config"].read_text(encoding="utf-8").split("\n")
        self.assertEqual(config[4], 'Animal IDs:,"mouse, no. 1",Größe 2,3,"4 ""old""",,,,')


if __name__ == "__main__":
    unittest.main()
