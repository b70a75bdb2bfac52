# SPDX-License-Identifier: GPL-3.0-or-later
"""What a recording must hold, given the volts that the unit delivered."""

import numpy as np

import recording_reader as reader
import reference_scoring as reference

# Both sides compute in double precision, along different ways. The absolute part only matters for values that
# are zero by definition, such as the contrast of a spectrum whose highest peak is the breathing peak.
RELATIVE_TOLERANCE = 1e-6
ABSOLUTE_TOLERANCE = 1e-9

# A product this close to a whole number may be truncated to either side of it.
TRUNCATION_MARGIN = 1e-9


def check_names(test, folder, base, animal):
    """Exactly the files of one segment carry the base's name, beside a log of simulated room sensors."""
    expected = sorted(path.name for path in reader.file_names(base, animal).values())
    found = sorted(path.name for path in folder.iterdir() if path.is_file() and path.name.startswith(base.name)
                   and path.name != base.name + ".Env")
    test.assertEqual(found, expected)


def check_header(test, header, animal, channels, labels, product, serial, gain, begun, ended, software):
    test.assertEqual(header.software_version, software)
    test.assertEqual(header.env_sensor_info, "envsensplaceholder")
    test.assertEqual(header.channel_count, channels)
    test.assertEqual(header.features_per_epoch, {reader.MOUSE: 4, reader.RAT: 6}[animal])
    test.assertEqual(header.animal_type, animal)
    test.assertEqual(header.sample_rate, 120)
    test.assertEqual(header.mcu_gain, gain)
    test.assertEqual(header.offset_subtracted, 2.5 if gain == 0 else 0.0)
    test.assertEqual(header.max_amplitude, 5.0)
    test.assertEqual(header.channel_labels, labels)
    test.assertEqual((header.device_description, header.device_serial), (product, serial))
    test.assertEqual(header.format_revision, "1")
    test.assertEqual((header.light_onset, header.dark_onset), ((7, 0, 0), (19, 0, 0)))
    test.assertTrue(begun.replace(microsecond=0) <= header.start <= ended,
                    f"start {header.start} is not between {begun} and {ended}")
    test.assertEqual((header.mcu.animal_type, header.mcu.gain, header.mcu.map_revision), (animal, gain, 1))


def check_config(test, rows, base, channels, labels, product, serial, device):
    test.assertEqual(rows[0], ["Data File:", str(base)])
    test.assertEqual(rows[1], ["Number of Recording Channels:", str(channels)])
    test.assertEqual(rows[2][0], "Device Information:")
    test.assertIn(serial, rows[2][1])
    test.assertEqual(rows[2][2:], [device, product])
    test.assertEqual(rows[3], ["Light Dark Times:", "7", "0", "0", "19", "0", "0"])
    test.assertEqual(rows[4], ["Animal IDs:"] + (labels + [""] * 8)[:8])
    test.assertEqual(rows[5][0], "Activation Mode:")
    test.assertEqual((rows[6][0], len(rows[6])), ("Randomization Range:", 7))
    test.assertEqual(rows[7], ["Activation Schedule:", "Always Active"])
    test.assertEqual(rows[8], ["Stim Cages:"] + ["0"] * max(8, channels))
    test.assertEqual(rows[9], ["Stimulation Parameters", "", "Frequency", "Amplitude (V)", "Duration (s)"])
    test.assertEqual(rows[10:], [["", f"Cage {cage}", "-", "-", "-"] for cage in range(1, 9)])


def check_stamps(test, stamps, frames, realtime=False):
    """One stamp behind the first frame, then one every 60; the count is in samples per channel."""
    test.assertEqual([count for _, count in stamps], [4 * frame for frame in range(1, frames + 1, 60)])
    seconds = [float(text) for text, _ in stamps]
    test.assertEqual(seconds, sorted(seconds))
    test.assertTrue(all(len(text.replace(".", "").lstrip("0")) <= 6 for text, _ in stamps), stamps)
    test.assertGreaterEqual(seconds[0], 0.0)
    if realtime:
        # Stamp k belongs to the signal 2 k s after the first one; the machine may be late, never early.
        for number, second in enumerate(seconds):
            test.assertAlmostEqual(second - seconds[0], 2.0 * number, delta=1.0)


def _first_difference(found, expected):
    where = np.argwhere(found != expected)
    if len(where) == 0:
        return "none"
    sample, channel = where[0]
    return (f"{len(where)} values differ, the first at sample {sample} of channel {channel}: "
            f"{found[sample, channel]} instead of {expected[sample, channel]}")


def check_samples(test, samples, decimated):
    """Every 16-bit sample; decimated is (channels, samples) in volts."""
    expected, distance = reference.stored(decimated.T)
    test.assertEqual(samples.shape, expected.shape)
    undecided = distance < TRUNCATION_MARGIN
    step = samples.astype(int) - expected.astype(int)
    same = (step == 0) | (undecided & (np.abs(step) == 1))
    test.assertTrue(same.all(), _first_difference(np.where(same, expected, samples), expected))


def check_values(test, name, found, expected):
    test.assertEqual(found.shape, expected.shape, name)
    close = np.isclose(found, expected, rtol=RELATIVE_TOLERANCE, atol=ABSOLUTE_TOLERANCE)
    if close.all():
        return
    where = tuple(np.argwhere(~close)[0])
    test.fail(f"{name}: {np.count_nonzero(~close)} of {close.size} values differ, the first at (step, channel, ...) "
              f"{where}: {found[where]!r} instead of {expected[where]!r}")


def check_segment(test, recording, volts, frames, animal, offset=0.0):
    """Samples and features of a segment that began with the first of volts, (channels, samples at 600 Hz).

    Returns the reference's scores, or None for a segment that is too short to have any.
    """
    decimated = reference.decimate(volts[:, :frames * 20], offset)
    test.assertEqual(recording.sizes["raw"], recording.header.size + frames * 4 * 2 * volts.shape[0])
    check_samples(test, recording.samples, decimated)
    steps = reference.step_count(frames)
    for role, found in (("features", recording.features), ("activity", recording.activity),
                        ("breath", recording.breath)):
        test.assertEqual(len(found), steps, f"steps in {role}")
    if steps == 0:
        return None
    scores = reference.score(decimated, animal)
    check_values(test, "feature vectors", recording.features, scores.vector.transpose(1, 0, 2))
    check_values(test, "activity", recording.activity, scores.signal_power.T)
    check_values(test, "breath rate", recording.breath, scores.breath_rate.T)
    return scores
