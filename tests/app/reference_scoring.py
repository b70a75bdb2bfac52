# SPDX-License-Identifier: GPL-3.0-or-later
"""Filters, features and decision computed with SciPy from their definitions, in double precision.

Nothing here is taken from the program: the filters are designed, not copied, and every quantity is computed
over whole arrays instead of block by block. Arrays are (channels, samples) unless said otherwise.
"""

from dataclasses import dataclass

import numpy as np
from scipy import fft, signal

MOUSE = 1
RAT = 2
WINDOW = 960            # samples at 120 Hz
STEP = 240              # samples at 120 Hz between two steps
FRAMES_PER_STEP = 60
FIRST_STEP_FRAME = 240  # the windows are full for the first time
RATE = 120.0
FULL_SCALE = 5.0        # volts

DECIMATOR = signal.lfilter(*signal.butter(6, 28 / 300), np.eye(1, 454)[0])
BANDS = {MOUSE: {"Br": (0.5, 9), "Act": (3, 9)}, RAT: {"Br": (0.45, 6), "Act": (5, 12)}}
TAPER8 = signal.windows.kaiser(WINDOW, 8)
TAPER3 = signal.windows.kaiser(WINDOW, 3)
SMOOTHER = {
    MOUSE: [[6.5785432047e-06, 1.31570864094e-05, 6.5785432047e-06, 1, -1.8138748032878402, 0.8238661327975682],
            [1, 2, 1, 1, -1.9125396953844205, 0.9230744987029202]],
    RAT: [[2.27503e-11, 4.55006e-11, 2.27503e-11, 1, -1.9352347096331783, 0.9363560494873944],
          [1, 2, 1, 1, -1.9518777319531209, 0.953008715332295],
          [1, 2, 1, 1, -1.9813918320991442, 0.9825399169371699]],
}


def band_filter(animal, band):
    return signal.firwin(512, BANDS[animal][band], window="hamming", pass_zero=False, fs=RATE)


def decimate(volts, offset=0.0):
    """600 Hz to 120 Hz: y[n] = sum of h[k] x[5 n - k], nothing before the first sample."""
    outputs = -(-volts.shape[-1] // 5)
    return signal.upfirdn(DECIMATOR, volts, down=5, axis=-1)[..., :outputs] - offset


def stored(volts):
    """16-bit samples as they stand in the raw file, and how far v * 32768 / 5 is from a whole number."""
    scaled = volts * 32768.0 / FULL_SCALE
    return np.trunc(scaled).astype(np.int64).astype(np.int16), np.abs(scaled - np.rint(scaled))


def _windows(values, taps):
    """(channels, steps, 960): what a step sees of the filtered signal."""
    filtered = signal.lfilter(taps, 1.0, values, axis=-1)
    return np.lib.stride_tricks.sliding_window_view(filtered, WINDOW, axis=-1)[:, ::STEP]


def rms_power(x):
    return 4.0 * np.sqrt(np.mean(x[..., WINDOW // 2:] ** 2, axis=-1))


def envelope(x):
    return np.abs(signal.hilbert(x, axis=-1))


def compress(x):
    level = envelope(x)
    median = np.median(level, axis=-1, keepdims=True)
    with np.errstate(divide="ignore", invalid="ignore"):
        factor = (level / median) ** (0.8 - 1.0)
    return np.where(level > median, x * factor, x)


def envelope_parameters(x, animal):
    """(level, variability)."""
    smooth = signal.sosfilt(SMOOTHER[animal], envelope(compress(x)), axis=-1)[..., WINDOW // 2:]
    level = np.mean(smooth, axis=-1)
    level = np.where(level < 0, np.finfo(float).eps, level)
    return level, np.std(smooth, axis=-1, ddof=1) / (level + 0.0002)


def autocorrelation_peak(x, trim, low, high, threshold, animal):
    """(height, rate) of the highest local maximum between the lags 1/high and 1/low, both excluded."""
    part = x[..., trim:x.shape[-1] - trim]
    length = part.shape[-1]
    size = 2 * length
    r = fft.irfft(np.abs(fft.rfft(part, size, axis=-1)) ** 2, size, axis=-1)[..., :length]
    with np.errstate(divide="ignore", invalid="ignore"):
        r = r / r[..., :1]
    lags = np.arange(1, length - 1) / RATE
    peaks = (r[..., 1:-1] > r[..., :-2]) & (r[..., 1:-1] > r[..., 2:])
    peaks &= (lags > 1.0 / high) & (lags < 1.0 / low)
    if animal == RAT:
        peaks &= r[..., 1:-1] > 0
    heights = np.where(peaks, r[..., 1:-1], -np.inf)
    best = np.argmax(heights, axis=-1)
    height = np.max(heights, axis=-1)
    found = np.isfinite(height)
    rate = 1.0 / lags[best]
    rate = np.where(found & (height > threshold) & (rate < high) & (rate > low), rate, 0.0)
    kept = found if animal == RAT else found & (height > threshold)
    return np.where(kept, height, 0.0), rate


def spectral_contrast(x, low, high, breath_low, breath_high):
    power = np.abs(fft.fft(signal.hilbert(x, axis=-1), axis=-1)[..., :WINDOW // 2]) ** 2
    first = int(low / RATE * WINDOW + 1)
    count = int(high / RATE * WINDOW) - first + 1
    band = power[..., first:first + count]
    total = np.sum(band, axis=-1, keepdims=True) / WINDOW
    decibel = 10.0 * np.log10(band / np.where(total > 0, total, 1.0))
    frequency = np.arange(first, first + count) * RATE / WINDOW
    breathing = np.max(decibel[..., (frequency > breath_low) & (frequency < breath_high)], axis=-1)
    wide = np.max(decibel[..., (frequency > low) & (frequency <= high)], axis=-1)
    return breathing - wide


@dataclass
class Scores:
    """Every array is (channels, steps); the feature vector is (channels, steps, values)."""
    vector: np.ndarray
    breath_rate: np.ndarray
    signal_power: np.ndarray
    statistic: np.ndarray

    @property
    def asleep(self):
        return np.sum(self.statistic > 0, axis=-1)


def _running_mean(values):
    """Mean with a memory of 20000 steps that includes the current value and starts from 0 with weight 2."""
    weight = 2.0
    mean = np.zeros(values.shape[:-1])
    means = np.empty_like(values)
    for step in range(values.shape[-1]):
        weight = 0.99995 * weight + 1.0
        mean = ((weight - 1.0) * mean + values[..., step]) / weight
        means[..., step] = mean
    return means


def _log_ratio(values):
    return np.log(values + 0.002) - np.log(_running_mean(values) + 0.002)


def _score_mouse(br, act):
    level, variability = envelope_parameters(2.0 * act, MOUSE)
    level = 3.8 * level
    compressed = compress(2.0 * br)
    regularity, rate = autocorrelation_peak(compressed * TAPER8, 240, 0.9, 6.0, 0.25, MOUSE)
    contrast = spectral_contrast(compressed * TAPER3, 0.55, 12.0, 0.9, 6.0)
    statistic = (2.4 * regularity + 0.0462 * contrast - 6.6 * variability - 1.65 * _log_ratio(level) + 0.47)
    return Scores(np.stack([contrast, regularity, variability, level], axis=-1), rate, rms_power(br), statistic)


def _score_rat(br, act):
    level, variability = envelope_parameters(br, RAT)
    compressed = compress(br)
    regularity, _ = autocorrelation_peak(compressed * TAPER8, 0, 0.5, 3.0, 0.35, RAT)
    _, rate = autocorrelation_peak(br, 120, 0.5, 3.0, 0.35, RAT)
    activity_level, activity_variability = envelope_parameters(act, RAT)
    activity_regularity, _ = autocorrelation_peak(compress(act) * TAPER8, 0, 6.5, 11.5, 0.25, RAT)
    statistic = (0.1004 * regularity - 7.5534 * variability - 0.90255 * _log_ratio(level)
                 + 0.293 * _log_ratio(activity_level) + 1.0)
    vector = np.stack([regularity, variability, level, activity_regularity, activity_variability,
                       activity_level], axis=-1)
    return Scores(vector, rate, rms_power(br), statistic)


def score(decimated, animal):
    """All steps of a segment from its decimated samples in volts."""
    br = _windows(decimated, band_filter(animal, "Br"))
    act = _windows(decimated, band_filter(animal, "Act"))
    return _score_mouse(br, act) if animal == MOUSE else _score_rat(br, act)


def step_count(frames):
    return max(0, frames // FRAMES_PER_STEP - FIRST_STEP_FRAME // FRAMES_PER_STEP + 1)
