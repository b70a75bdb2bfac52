# SPDX-License-Identifier: GPL-3.0-or-later
"""A setup file that stimulates, through the whole program without a window."""

import json
import unittest
from datetime import datetime, timedelta

import recording_reader as reader
from program import AppTest, parse_summary, simulate

CHANNELS = 3
SECONDS = 60
DECISIONS = SECONDS // 2 - 3  # every 2 s, but the first one needs 8 s of data
HEADER = "EventType,DateTime,StimControlType,StimInterval(min),SleepDuration(sec),nCh,Stim[ch1-N]"
# Register values: 43 + 14 r Hz, 0.039322 r V, 0.5 r s.
CAGES = [(100, 100, 20), (0, 255, 1), (255, 0, 255)] + [(10, 20, 30)] * 5


def stimulation(**changed):
    cages = [{"frequency": f, "amplitude": a, "duration": d, "waveShape": 0, "randomFrequency": index == 7,
              "randomAmplitude": False, "randomDuration": False} for index, (f, a, d) in enumerate(CAGES)]
    return {"enabled": True, "protocol": "ActivityBased", "minIntervalMs": 90000, "maxIntervalMs": 120000,
            "randomInterval": False, "sleepDurationSec": 3, "activityThreshold": -1e6, "cageEnableMask": 0b101,
            "extTriggerMask": 0, "cages": cages,
            "schedule": [{"startTime": "00:00:00", "endTime": "23:59:59",
                          "days": dict.fromkeys(("monday", "tuesday", "wednesday", "thursday", "friday", "saturday",
                                                 "sunday"), True)}],
            "randomRange": {"frequencyMin": 0, "frequencyMax": 100, "amplitudeMin": 1, "amplitudeMax": 2,
                            "durationMin": 3, "durationMax": 5}, **changed}


class StimulationTest(AppTest):
    def record(self, name, vexio, *more):
        setup = {"payloadType": "vtconfig_v1", "appVersion": "1", "savedAt": "2026-03-29T23:30:05Z",
                 "channelCount": CHANNELS, "animalIds": ["A", "B", "C"],
                 "lightCycle": {"lightOnset": "07:00:00", "darkOnset": "19:00:00"}, "vexio": vexio}
        path = self.folder / f"{name}.vtconfig"
        path.write_text(json.dumps(setup), encoding="utf-8")
        base = self.folder / name
        result = self.run_program(*simulate("--channels", CHANNELS, "--setup", path, *more, base=base,
                                            duration=SECONDS, speed=100))
        self.assert_status(0, result)
        summary = parse_summary(result.out)
        self.assertEqual((summary.processed, summary.dropped, summary.lost), (SECONDS * 30, 0, "nothing"))
        return base, result

    def test_log_and_configuration(self):
        begun = datetime.now().replace(microsecond=0)
        base, result = self.record("night", stimulation())
        text = (self.folder / "night_Stim.csv").read_bytes().decode("ascii")
        self.assertTrue(text.endswith("\n"))
        header, *rows = text[:-1].split("\n")
        self.assertEqual(header, HEADER)
        # At its end a recording may drop the decision that its last frame completes.
        self.assertIn(len(rows), (DECISIONS - 1, DECISIONS))
        for row in rows:
            kind, when, *cells = row.split(",")
            self.assertEqual((kind, cells), ("Stim", ["ActivityBased", "1.5", "3", "3",
                                                      "10/1.44/3.9", "-/-/-", "128/3.61/0.0"]))
            stamp = datetime.strptime(when, "%m/%d/%Y %I:%M:%S %p")
            self.assertLessEqual(begun, stamp)
            self.assertLessEqual(stamp, datetime.now() + timedelta(seconds=1))

        config = reader.read_recording(base, reader.MOUSE).config[5:]
        self.assertEqual(config, [
            ["Activation Mode:", "ActivityBased", "1.5", "3", "2", "0", "-1e+06"],
            ["Randomization Range:", "43", "1443", "0.039322", "0.078644", "1.5", "2.5"],
            ["Activation Schedule Slot 1:", "00:00", "23:59",
             "Monday Tuesday Wednesday Thursday Friday Saturday Sunday"],
            ["Stim Cages:", "1", "0", "1", "0", "0", "0", "0", "0"],
            ["Stimulation Parameters", "", "Frequency", "Amplitude (V)", "Duration (s)"],
            ["", "Cage 1", "1443", "3.93", "10.0"],
            ["", "Cage 2", "43", "10.03", "0.5"],
            ["", "Cage 3", "3613", "0.00", "127.5"],
            *[["", f"Cage {cage}", "183", "0.79", "15.0"] for cage in (4, 5, 6, 7)],
            ["", "Cage 8", "Random", "0.79", "15.0"]])
        for line in ("StimulationController started", "StimulationController stopped"):
            self.assertIn(line, result.log)
        latencies = [line for line in result.log if "Latency from frame to register write:" in line]
        self.assertGreater(len(latencies), 0)
        self.assertEqual(sum("Latency from frame to register write," in line for line in result.log), 1)

    def test_a_unit_that_does_not_answer_is_told_once(self):
        faults = self.folder / "faults"
        faults.write_text("vexio absent\n", encoding="ascii")
        base, result = self.record("alone", stimulation(), "--simulate-faults", faults)
        self.assertEqual(result.messages.count("the stimulation unit does not answer"), 1)
        self.assertFalse((self.folder / "alone_Stim.csv").exists())
        self.assertEqual(reader.read_recording(base, reader.MOUSE).config[8], ["Stim Cages:"] + ["0"] * 8)


if __name__ == "__main__":
    unittest.main()
