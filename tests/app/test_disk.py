# SPDX-License-Identifier: GPL-3.0-or-later
"""A disk that is full: the recording goes on, what could not be kept is counted, what was kept is whole.

The disk is a small one in memory, mounted where only the program sees it. Where that is not allowed, the tests
say so and check nothing.
"""

import functools
import os
import re
import subprocess
import sys
import unittest

import numpy as np

import recording_reader as reader
import reference_scoring as reference
from program import DATA, AppTest, byte_accounts, parse_summary, simulate

SECONDS = 150
FRAMES = SECONDS * 30
CHANNELS = 4

# $1 size, $2 where, $3 where its files are copied in the end, then the program. A filler that takes part of the
# disk goes away when something is written to the pipe "$3/release".
SCRIPT = """
mount -t tmpfs -o size="$1" none "$2" || exit 99
place="$2"; copy="$3"; shift 3
if [ -p "$copy/release" ]; then
    head -c "$FILLER" /dev/zero > "$place/filler"
    { read -r _ < "$copy/release"; rm "$place/filler"; echo released >&2; } &
fi
"$@"
status=$?
for file in "$place"/disk*; do
    [ ! -e "$file" ] || cp "$file" "$copy"
done
exit $status
"""


@functools.cache
def private_mount():
    """How to start a program that may mount, or None."""
    for way in (["unshare", "--mount", "--propagation", "private"],
                ["unshare", "--map-root-user", "--mount", "--propagation", "private"]):
        try:
            if subprocess.run([*way, "mount", "-t", "tmpfs", "none", "/mnt"], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL).returncode == 0:
                return way
        except OSError:
            pass
    print("\n*** NOT RUN: mounting a small disk is not allowed here, the full disk was NOT tested ***",
          file=sys.stderr)
    return None


def played():
    volts = np.fromfile(DATA / "real4.f64", dtype="<f8").reshape(-1, CHANNELS).T
    decimated = reference.decimate(volts)
    return decimated, reference.score(decimated, reference.MOUSE)


class FullDiskTest(AppTest):
    def setUp(self):
        super().setUp()
        self.disk = self.folder / "mounted"
        self.copy = self.folder / "copy"
        self.disk.mkdir()
        self.copy.mkdir()
        self.base = self.disk / "disk"

    def prefix(self, kibibytes):
        return [*private_mount(), "sh", "-c", SCRIPT, "sh", f"{kibibytes}k", str(self.disk), str(self.copy)]

    def arguments(self, speed):
        return simulate(DATA / "real4.f64", "--channels", CHANNELS, base=self.base, duration=SECONDS, speed=speed)

    def assert_blocks_in_order(self, name, found, expected):
        """Every unit in the file is one of those produced, and they stand in their order."""
        at = 0
        for number, unit in enumerate(found):
            while at < len(expected) and not np.allclose(unit, expected[at], rtol=1e-6, atol=1e-9):
                at += 1
            self.assertLess(at, len(expected), f"{name}: unit {number} of {len(found)} is none of those produced")
            at += 1

    def check_files(self, result):
        """Whole units only, and an account of every byte; returns the accounts by role."""
        recording = reader.read_recording(self.copy / "disk", reader.MOUSE)
        decimated, scores = played()
        samples, _ = reference.stored(decimated.T)
        self.assert_blocks_in_order("raw", recording.samples.reshape(-1, 4 * CHANNELS),
                                    samples.reshape(-1, 4 * CHANNELS))
        self.assert_blocks_in_order("features", recording.features, scores.vector.transpose(1, 0, 2))
        self.assert_blocks_in_order("activity", recording.activity, scores.signal_power.T)
        self.assert_blocks_in_order("breath", recording.breath, scores.breath_rate.T)

        paths = reader.file_names(self.base, reader.MOUSE)
        accounts = {role: byte_accounts(result)[str(paths[role])] for role in reader.BINARY}
        step_bytes = {"features": 4 * 8 * CHANNELS, "activity": 8 * CHANNELS, "breath": 8 * CHANNELS}
        offered = {role: reference.step_count(FRAMES) * size for role, size in step_bytes.items()}
        offered["raw"] = FRAMES * 4 * 2 * CHANNELS
        for role, (queued, written, dropped, failed) in accounts.items():
            self.assertEqual(queued, offered[role], role)
            self.assertEqual(queued, written + dropped + failed, role)
            self.assertEqual(written, recording.sizes[role] - recording.header.size, role)
        return accounts

    def check_summary(self, result, accounts):
        summary = parse_summary(result.out)
        self.assertEqual((summary.ended, summary.processed), ("duration reached", FRAMES))
        lost = re.fullmatch(r"0 frames dropped, (\d+) writes dropped \((\d+) bytes\), (\d+) writes failed "
                            r"\((\d+) bytes\), 0 flush timeouts", summary.lost)
        self.assertTrue(lost, summary.lost)
        self.assertEqual(int(lost.group(2)), sum(account[2] for account in accounts.values()))
        self.assertEqual(int(lost.group(4)), sum(account[3] for account in accounts.values()))
        self.assertGreater(int(lost.group(3)), 0)
        self.assertEqual(summary.bytes, sum(account[1] for account in accounts.values()))

    def test_session_goes_on_to_its_end(self):
        if not private_mount():
            return
        result = self.run_program(*self.arguments(1000), prefix=self.prefix(100))
        self.assert_status(1, result)
        self.assertIn("FileWriter error: CRITICAL: Disk full", result.log)
        self.assertIn("FileWriter: DISK FULL - Data loss imminent!", result.log)
        accounts = self.check_files(result)
        self.assertGreater(accounts["raw"][3], 0, "the disk was never full")
        self.check_summary(result, accounts)

    def test_writing_goes_on_when_there_is_room_again(self):
        if not private_mount():
            return
        os.mkfifo(self.copy / "release")
        with self.start(*self.arguments(60), prefix=self.prefix(400), environment={"FILLER": "350000"}) as program:
            program.wait_for("CRITICAL: Disk full")
            (self.copy / "release").write_text("now\n")
            program.wait_for("released")
            result = program.finish()
        self.assert_status(1, result)
        accounts = self.check_files(result)
        self.check_summary(result, accounts)
        last = reader.read_recording(self.copy / "disk", reader.MOUSE).samples[-4:]
        self.assertTrue(np.array_equal(last, reference.stored(played()[0].T)[0][-4:]), "nothing came after the gap")

    def test_no_room_for_the_headers(self):
        if not private_mount():
            return
        for kibibytes in (4, 8, 12):
            with self.subTest(kibibytes=kibibytes):
                result = self.run_program(*self.arguments(1000), prefix=self.prefix(kibibytes))
                self.assert_status(1, result)
                self.assertEqual(result.out, "")
                raw = reader.file_names(self.base, reader.MOUSE)["raw"]
                self.assertIn(f"Fatal Error: Could not open data file:\n{raw}\n\nThe application will now close.\n",
                              result.messages)
                self.assertEqual(list(self.copy.iterdir()), [], "left behind by a recording that never began")


if __name__ == "__main__":
    unittest.main()
