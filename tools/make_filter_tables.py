#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Write src/processing/FilterTables.cpp, the constant tables of the signal path.

Usage: tools/make_filter_tables.py [output file]

The program never designs a filter while it runs; these designs are evaluated once, here. Symmetric tables
(linear-phase filters, tapers) are written as their first half only. Every number carries 17 significant
digits, so the table in memory is the table computed here, bit for bit.
"""

import pathlib
import sys

import numpy as np
from scipy import signal

RAW_RATE_HZ = 600
DECIMATED_RATE_HZ = 120
DECIMATOR_TAPS = 454
BAND_TAPS = 512
WINDOW_LENGTH = 960
VALUES_PER_LINE = 5


def decimator():
    """Impulse response of a 6th-order Butterworth low-pass at 28 Hz, cut after 454 samples."""
    b, a = signal.butter(6, 28 / (RAW_RATE_HZ / 2))
    impulse = np.zeros(DECIMATOR_TAPS)
    impulse[0] = 1.0
    return signal.lfilter(b, a, impulse)


def band(low_hz, high_hz):
    taps = signal.firwin(BAND_TAPS, [low_hz, high_hz], window="hamming", pass_zero=False, fs=DECIMATED_RATE_HZ)
    return half(taps)


def half(values):
    """First half of a table that is symmetric up to rounding."""
    if np.max(np.abs(values - values[::-1])) > 1e-15:
        raise ValueError("table is not symmetric")
    return values[: len(values) // 2]


def constant(name, comment, values):
    lines = [f"// {comment}", f"const std::array<double, {len(values)}> {name} = {{"]
    for start in range(0, len(values), VALUES_PER_LINE):
        row = ", ".join(f"{value:.16e}" for value in values[start : start + VALUES_PER_LINE])
        lines.append(f"    {row},")
    lines.append("};")
    return "\n".join(lines) + "\n"


def tables():
    yield constant("DecimatorTaps", "butter(6, 28/300), first 454 samples of the impulse response", decimator())
    yield constant("BrMouseHalfTaps", "firwin(512, [0.5, 9]) at 120 Hz, Hamming, first half", band(0.5, 9))
    yield constant("ActMouseHalfTaps", "firwin(512, [3, 9]) at 120 Hz, Hamming, first half", band(3, 9))
    yield constant("BrRatHalfTaps", "firwin(512, [0.45, 6]) at 120 Hz, Hamming, first half", band(0.45, 6))
    yield constant("ActRatHalfTaps", "firwin(512, [5, 12]) at 120 Hz, Hamming, first half", band(5, 12))
    yield constant("TapWinK8Half", "kaiser(960, 8), first half", half(np.kaiser(WINDOW_LENGTH, 8)))
    yield constant("TapWinK3Half", "kaiser(960, 3), first half", half(np.kaiser(WINDOW_LENGTH, 3)))


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    target = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else root / "src/processing/FilterTables.cpp"
    text = (
        "// SPDX-License-Identifier: GPL-3.0-or-later\n"
        "// Written by tools/make_filter_tables.py; do not edit.\n"
        '#include "processing/FilterTables.h"\n\n'
        "// clang-format off\n"
        "namespace vt {\n\n" + "\n".join(tables()) + "\n} // namespace vt\n"
    )
    target.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
