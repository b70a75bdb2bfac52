# SPDX-License-Identifier: GPL-3.0-or-later
"""A day of signal from 16 animals, as fast as it goes: memory does not grow."""

import re
import signal
import unittest
from pathlib import Path

import recording_reader as reader
from program import PROGRESS_LINE, AppTest, parse_summary, simulate

CHANNELS = 16
DAY_FRAMES = 24 * 3600 * 30
SETTLED_FRAMES = 10 * 60 * 30
MAY_GROW_KIB = 2048
PATIENCE_SECONDS = 3000


def resident_kib(pid):
    return int(re.search(r"^VmRSS:\s+(\d+) kB$", Path(f"/proc/{pid}/status").read_text(), re.MULTILINE).group(1))


class MemoryTest(AppTest):
    def test_a_day_at_sixteen_channels(self):
        base = self.folder / "day"
        figures = []
        with self.start(*simulate("--channels", CHANNELS, base=base, speed=1000000)) as program:
            while not figures or figures[-1][0] < DAY_FRAMES:
                line = program.wait_for(PROGRESS_LINE.pattern, count=len(figures) + 1, seconds=PATIENCE_SECONDS)
                figures.append((int(line.group(4)), resident_kib(program.pid)))
            program.signal(signal.SIGINT)
            result = program.finish()
        self.assert_status(0, result)
        settled = next(kib for frames, kib in figures if frames >= SETTLED_FRAMES)
        last = figures[-1][1]
        print(f"resident: {settled} KiB after {SETTLED_FRAMES // 1800} simulated minutes, {last} KiB after "
              f"{figures[-1][0] / 108000:.1f} simulated hours, at most {max(kib for _, kib in figures)} KiB")
        self.assertLessEqual(last - settled, MAY_GROW_KIB, figures)

        summary = parse_summary(result.out)
        self.assertEqual((summary.lost, summary.dropped), ("nothing", 0))
        self.assertEqual(summary.steps, [summary.processed // 60 - 3] * CHANNELS)
        paths = reader.file_names(base, reader.MOUSE)
        with open(paths["raw"], "rb") as file:
            header = reader.parse_header(file.read(65536))
        self.assertEqual(paths["raw"].stat().st_size, header.size + summary.processed * 4 * 2 * CHANNELS)
        for role, values in (("features", 4), ("activity", 1), ("breath", 1)):
            self.assertEqual(paths[role].stat().st_size, header.size + summary.steps[0] * values * 8 * CHANNELS, role)


if __name__ == "__main__":
    unittest.main()
