#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Write ReferenceValues.h: what NumPy and SciPy say about the signal path.

Usage: tests/processing/make_reference_values.py

An independent computation of the filters, the features and the sleep decision. It shares no code and no table
with the program: filters are designed here. real4.f64 (tests/data) is scored as a whole.
"""

import pathlib

import numpy as np
from scipy import signal

HERE = pathlib.Path(__file__).resolve().parent
WINDOW = 960
RATE_HZ = 120.0
MOUSE, RAT = 1, 2
START = -4545454545454545.0

DECIMATOR = signal.lfilter(*signal.butter(6, 28 / 300), np.r_[1.0, np.zeros(453)])
SMOOTHER_A = np.array(
    [
        [6.5785432047e-06, 1.31570864094e-05, 6.5785432047e-06, 1, -1.8138748032878402, 0.8238661327975682],
        [1, 2, 1, 1, -1.9125396953844205, 0.9230744987029202],
    ]
)
SMOOTHER_B = np.array(
    [
        [2.27503e-11, 4.55006e-11, 2.27503e-11, 1, -1.9352347096331783, 0.9363560494873944],
        [1, 2, 1, 1, -1.9518777319531209, 0.953008715332295],
        [1, 2, 1, 1, -1.9813918320991442, 0.9825399169371699],
    ]
)
# trim, low, high, threshold, animal
SEARCHES = [
    (240, 0.9, 6.0, 0.25, MOUSE),
    (0, 0.5, 3.0, 0.35, RAT),
    (120, 0.5, 3.0, 0.35, RAT),
    (0, 6.5, 11.5, 0.25, RAT),
]
# low, high, breathing low, breathing high
BANDS = [(0.55, 12.0, 0.9, 6.0), (0.25, 8.0, 0.5, 3.0)]


def band(low, high):
    return signal.firwin(512, [low, high], window="hamming", pass_zero=False, fs=RATE_HZ)


BAND_FILTERS = {MOUSE: (band(0.5, 9), band(3, 9)), RAT: (band(0.45, 6), band(5, 12))}


def noise(count, seed):
    state, values = seed, []
    for _ in range(count):
        state = (state * 6364136223846793005 + 1442695040888963407) % 2**64
        values.append((state >> 11) * 2.0**-53 * 2 - 1)
    return np.array(values)


# name: frequency, amplitude, modulation frequency, modulation depth, noise amplitude, seed, gate from, gate to
SIGNALS = {
    "breathing": (2.3, 0.05, 0.11, 0.5, 0.01, 7, 0, 99999),
    "slow breathing": (1.1, 0.08, 0.07, 0.4, 0.004, 21, 0, 99999),
    "noise": (0.0, 0.0, 0.0, 0.0, 0.02, 99, 0, 99999),
    "fast beat": (8.3, 0.03, 0.3, 0.8, 0.006, 5, 0, 99999),
    "tone": (2.0, 0.1, 0.0, 0.0, 0.0, 1, 0, 99999),
    "burst": (5.0, 0.3, 0.0, 0.0, 0.0005, 3, 300, 470),
    # Ends before the second half, where only the smoother's undershoot is left.
    "undershoot": (6.0, 1.0, 0.0, 0.0, 0.0, 1, 200, 435),
    "zero": (0.0, 0.0, 0.0, 0.0, 0.0, 1, 0, 99999),
}


def make(name, count, rate=RATE_HZ):
    f, a, fm, depth, noise_amplitude, seed, start, end = SIGNALS[name]
    i = np.arange(count)
    tone = a * (1 + depth * np.sin(2 * np.pi * fm * i / rate)) * np.sin(2 * np.pi * f * i / rate)
    return np.where((i >= start) & (i < end), tone, 0.0) + noise_amplitude * noise(count, seed)


def rms_power(x):
    return 4 * np.sqrt(np.mean(x[len(x) // 2 :] ** 2))


def compress(x):
    envelope = np.abs(signal.hilbert(x))
    median = np.median(envelope)
    y = x.copy()
    above = envelope > median
    y[above] *= (envelope[above] / median) ** -0.2
    return y


def envelope_parameters(x, smoother):
    y = signal.sosfilt(smoother, np.abs(signal.hilbert(compress(x))))[len(x) // 2 :]
    mean = y.mean()
    level = mean if mean >= 0 else 2.220446049250313e-16
    return level, y.std(ddof=1) / (level + 0.0002)


def autocorrelation_peak(x, trim, low, high, threshold, animal):
    x = x[trim : len(x) - trim]
    r = np.correlate(x, x, "full")[len(x) - 1 :]
    if not r[0] > 0:
        return 0.0, 0.0, 0.0
    r = r / r[0]
    sequence = np.r_[r[:0:-1], r]
    lags = np.arange(-(len(x) - 1), len(x)) / RATE_HZ
    best, best_lag = START, -1.0
    for i in signal.argrelextrema(sequence, np.greater)[0]:
        if 1 / high < lags[i] < 1 / low and (animal != RAT or sequence[i] > 0) and sequence[i] > best:
            best, best_lag = sequence[i], lags[i]
    if best_lag < 0:
        return 0.0, 0.0, 0.0
    if best > threshold:
        rate = 1 / best_lag
        return best_lag, best, 0.0 if rate >= high or rate <= low else rate
    return 0.0, best if animal == RAT else 0.0, 0.0


def spectrum(x, low, high, breath_low, breath_high):
    p = np.abs(np.fft.fft(signal.hilbert(x))[: len(x) // 2]) ** 2
    first = int(low / RATE_HZ * len(x) + 1)
    count = int(high / RATE_HZ * len(x)) - first + 1
    total = p[first : first + count].sum() / len(x)
    if total > 0:
        p = p / total
    with np.errstate(divide="ignore"):
        p = 10 * np.log10(p)
    breath = wide = START
    for k in range(first, first + count):
        f = k * RATE_HZ / len(x)
        if breath_low < f < breath_high and p[k] > breath:
            breath = p[k]
        if low < f <= high and p[k] > wide:
            wide = p[k]
    return breath - wide, p


def features(br, act, animal):
    """spectralContrast, breathRegularity, envelopeVariability, envelopeLevel, breathRate, signalPower,
    activityRegularity, activityVariability, activityLevel, brPower2."""
    k8, k3 = np.kaiser(WINDOW, 8), np.kaiser(WINDOW, 3)
    if animal == MOUSE:
        br2, act2 = 2 * br, 2 * act
        level, variability = envelope_parameters(act2, SMOOTHER_A)
        c = compress(br2)
        _, regularity, rate = autocorrelation_peak(c * k8, *SEARCHES[0])
        contrast, _ = spectrum(c * k3, *BANDS[0])
        return contrast, regularity, variability, 3.8 * level, rate, rms_power(br), 0, 0, 0, rms_power(br2)
    level, variability = envelope_parameters(br, SMOOTHER_B)
    c = compress(br)
    _, regularity, _ = autocorrelation_peak(c * k8, *SEARCHES[1])
    _, _, rate = autocorrelation_peak(br, *SEARCHES[2])
    act_level, act_variability = envelope_parameters(act, SMOOTHER_B)
    _, act_regularity, _ = autocorrelation_peak(compress(act) * k8, *SEARCHES[3])
    contrast, _ = spectrum(c * k3, *BANDS[1])
    power = rms_power(br)
    return contrast, regularity, variability, level, rate, power, act_regularity, act_variability, act_level, 0


def score(animal):
    """Per channel of real4.f64: the features of all steps and the number of steps asleep."""
    volts = np.fromfile(HERE.parent / "data/real4.f64", dtype="<f8").reshape(-1, 4)
    result = []
    for channel in range(4):
        y = signal.lfilter(DECIMATOR, 1, volts[:, channel])[::5]
        br, act = (signal.lfilter(taps, 1, y) for taps in BAND_FILTERS[animal])
        steps, stats = [], []
        weight, level_mean, activity_mean = 2.0, 0.0, 0.0
        for end in range(WINDOW, len(y) + 1, 240):
            f = features(br[end - WINDOW : end], act[end - WINDOW : end], animal)
            weight = 0.99995 * weight + 1
            level_mean = ((weight - 1) * level_mean + f[3]) / weight
            activity_mean = ((weight - 1) * activity_mean + f[8]) / weight
            level = np.log(f[3] + 0.002) - np.log(level_mean + 0.002)
            activity = np.log(f[8] + 0.002) - np.log(activity_mean + 0.002)
            if animal == MOUSE:
                stat = 2.4 * f[1] + 0.0462 * f[0] - 6.6 * f[2] - 1.65 * level + 0.47
            else:
                stat = 0.1004 * f[1] - 7.5534 * f[2] - 0.90255 * level + 0.293 * activity + 1.0
            steps.append(f)
            stats.append(stat)
        result.append((steps, stats))
    return result


def numbers(values):
    return "{" + ", ".join(f"{float(value):.17g}" for value in values) + "}"


def block_case(name):
    x = make(name, WINDOW)
    compressed = compress(x)
    picks = [0, 1, 100, 333, 479, 480, 700, 959]
    bins = [0, 1, 2, 9, 19, 40, 66, 95, 240, 479]
    lines = [f'    {{.signal = "{name}",']
    lines.append(f"     .rmsPower = {float(rms_power(x)):.17g},")
    lines.append(f"     .compressed = {numbers(compressed[picks])},")
    lines.append(f"     .smootherA = {numbers(envelope_parameters(x, SMOOTHER_A))},")
    lines.append(f"     .smootherB = {numbers(envelope_parameters(x, SMOOTHER_B))},")
    peaks = [numbers(autocorrelation_peak(x, *search)) for search in SEARCHES]
    lines.append(f"     .peaks = {{{{{', '.join(peaks)}}}}},")
    for field, bands in (("mouse", BANDS[0]), ("rat", BANDS[1])):
        contrast, decibel = spectrum(x, *bands)
        lines.append(f"     .{field}Contrast = {float(contrast):.17g},")
        if name in ("tone", "zero"):
            decibel = np.full(480, np.nan)  # nothing but rounding beside the tone
        values = ", ".join("Unchecked" if np.isnan(v) else f"{v:.17g}" for v in decibel[bins])
        lines.append(f"     .{field}Decibel = {{{values}}},")
    return "\n".join(lines).rstrip(",") + "},"


def feature_case(br_name, act_name, animal):
    values = features(make(br_name, WINDOW), make(act_name, WINDOW), animal)
    return f'    {{"{br_name}", "{act_name}", {animal}, {numbers(values)}}},'


def filter_cases():
    picks = [0, 1, 2, 7, 100, 127, 255, 399]
    yield "decimate", "breathing", picks, signal.lfilter(DECIMATOR, 1, make("breathing", 2000, 600.0))[::5]
    x = make("breathing", 1200)
    picks = [0, 1, 7, 255, 256, 600, 1199]
    for animal, title in ((MOUSE, "mouse"), (RAT, "rat")):
        for taps, kind in zip(BAND_FILTERS[animal], ("Br", "Act")):
            yield f"{kind} {title}", "breathing", picks, signal.lfilter(taps, 1, x)
    gain = 0.00923988850202239
    b = gain * np.array([1, 0, -3, 0, 3, 0, -1])
    a = [1.0, -4.98680413292746, 10.4294794861654, -11.7359119593033, 7.50665280057149, -2.58918458336692,
         0.375774015765328]
    yield "bandpass", "breathing", picks, signal.lfilter(b, a, x)
    rectified = np.abs(x)
    yield "smoother A", "breathing", picks, signal.sosfilt(SMOOTHER_A, rectified)
    yield "smoother B", "breathing", picks, signal.sosfilt(SMOOTHER_B, rectified)


def main():
    out = ["// SPDX-License-Identifier: GPL-3.0-or-later", "// Written by make_reference_values.py; do not edit.",
           "#pragma once", "", '#include "ReferenceTypes.h"', "", "// clang-format off", "namespace vt::test {", ""]
    out.append("inline const std::vector<SignalSpec> ReferenceSignals = {")
    for name, spec in SIGNALS.items():
        out.append(f'    {{"{name}", ' + ", ".join(repr(v) for v in spec) + "},")
    out.append("};\n\ninline const std::vector<FilterCase> FilterCases = {")
    for filter_name, name, picks, y in filter_cases():
        out.append(f'    {{"{filter_name}", "{name}",')
        out.append("     {" + ", ".join(map(str, picks)) + "},")
        out.append(f"     {numbers(y[picks])}}},")
    out.append("};\n\ninline const std::vector<BlockCase> BlockCases = {")
    out.extend(block_case(name) for name in SIGNALS)
    out.append("};\n\ninline const std::vector<FeatureCase> FeatureCases = {")
    for br, act in (("breathing", "fast beat"), ("slow breathing", "noise"), ("noise", "breathing"),
                    ("tone", "burst"), ("breathing", "undershoot"), ("zero", "zero")):
        out.extend(feature_case(br, act, animal) for animal in (MOUSE, RAT))
    out.append("};\n\ninline const std::vector<RecordingCase> RecordingCases = {")
    for animal in (MOUSE, RAT):
        for channel, (steps, stats) in enumerate(score(animal)):
            asleep = sum(stat > 0 for stat in stats)
            out.append(f"    {{{animal}, {channel}, {len(stats)}, {asleep},\n     {{")
            for step in (0, 17, 38, 71):
                out.append(f"         {{{step}, {numbers(steps[step])}}},")
            out.append("     }},")
            print(f"animal {animal} channel {channel}: {asleep} of {len(stats)} steps asleep")
    out.append("};\n\n} // namespace vt::test")
    (HERE / "ReferenceValues.h").write_text("\n".join(out) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
