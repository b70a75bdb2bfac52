// SPDX-License-Identifier: GPL-3.0-or-later
// Source of the kernels: included once by each Kernels*.cpp, which is compiled for one instruction set and
// defines VT_KERNELS, the name of the table, and VT_LANES, doubles per vector, before. Everything here has
// internal linkage, and nothing from the standard library is called: an inline function compiled for a newer
// instruction set could otherwise be picked by the linker for the whole program.

#include "processing/kernels/Kernels.h"

#include <cstdint>

#if defined(__GNUC__) && !defined(__clang__)
// How vectors are passed differs between instruction sets; the functions below that pass them are all
// inlined.
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

namespace vt {
namespace {

constexpr std::size_t Lanes = VT_LANES;
using Vector = double __attribute__((vector_size(Lanes * sizeof(double))));
using Bits = std::int64_t __attribute__((vector_size(Lanes * sizeof(double))));
using UnsignedBits = std::uint64_t __attribute__((vector_size(Lanes * sizeof(double))));
using Pair = double __attribute__((vector_size(2 * sizeof(double))));

#define VT_INLINE static inline __attribute__((always_inline))

VT_INLINE Vector load(const double* p)
{
    Vector v;
    __builtin_memcpy(&v, p, sizeof(v));
    return v;
}

VT_INLINE void store(double* p, Vector v)
{
    __builtin_memcpy(p, &v, sizeof(v));
}

VT_INLINE Vector all(double value)
{
    return value - Vector{};
}

VT_INLINE UnsignedBits allBits(std::uint64_t value)
{
    return value - UnsignedBits{};
}

// Adding 1.5 x 2^52 to a number rounds it to the nearest integer, which then stands in the lowest bits.
constexpr double SmallInteger = 6755399441055744.0;
constexpr std::uint64_t SmallIntegerBits = 0x4338000000000000;

VT_INLINE Vector larger(Vector a, Vector b)
{
    return a > b ? a : b;
}

VT_INLINE Vector smaller(Vector a, Vector b)
{
    return a < b ? a : b;
}

VT_INLINE double sumOf(Vector v)
{
    double sum = v[0];
    for (std::size_t l = 1; l < Lanes; ++l)
        sum += v[l];
    return sum;
}

// Filters ------------------------------------------------------------------------------------------------

/// Vectors that hold the four outputs of a frame.
constexpr std::size_t Parts = 4 / Lanes;

static void decimate(const double* phaseTaps, const double* streams, std::size_t stride, double* out)
{
    Vector sums[DecimatorPhases][Parts] = {};
    for (std::size_t j = 0; j < DecimatorPhaseTaps; ++j)
        for (std::size_t p = 0; p < DecimatorPhases; ++p)
            for (std::size_t part = 0; part < Parts; ++part)
                sums[p][part] +=
                    phaseTaps[p * DecimatorPhaseTaps + j] * load(streams + p * stride + part * Lanes - j);
    for (std::size_t part = 0; part < Parts; ++part)
        store(out + part * Lanes,
              ((sums[0][part] + sums[1][part]) + (sums[2][part] + sums[3][part])) + sums[4][part]);
}

static void bandPair(const double* halfTapsBr, const double* halfTapsAct, const double* newest, double* outBr,
                     double* outAct)
{
    // The symmetric taps k and 511 - k share one multiplication, and both filters share the sum of the
    // samples.
    const double* late = newest;
    const double* early = newest - (BandTapCount - 1);
    Vector br[2][Parts] = {};
    Vector act[2][Parts] = {};
    for (std::size_t k = 0; k < BandTapCount / 2; k += 2) {
        for (std::size_t odd = 0; odd < 2; ++odd) {
            for (std::size_t part = 0; part < Parts; ++part) {
                const Vector both =
                    load(late + part * Lanes - k - odd) + load(early + part * Lanes + k + odd);
                br[odd][part] += halfTapsBr[k + odd] * both;
                act[odd][part] += halfTapsAct[k + odd] * both;
            }
        }
    }
    for (std::size_t part = 0; part < Parts; ++part) {
        store(outBr + part * Lanes, br[0][part] + br[1][part]);
        store(outAct + part * Lanes, act[0][part] + act[1][part]);
    }
}

// Analytic signal and compression --------------------------------------------------------------------------

static void hilbertBins(double* bins, std::size_t binCount, double scale)
{
    for (std::size_t k = 1; k + 1 < binCount; ++k) {
        const double re = bins[2 * k];
        const double im = bins[2 * k + 1];
        bins[2 * k] = im * scale;
        bins[2 * k + 1] = -re * scale;
    }
    bins[0] = bins[1] = 0.0;
    bins[2 * binCount - 2] = bins[2 * binCount - 1] = 0.0;
}

static void squaredEnvelope(const double* x, const double* hilbert, double* out, std::size_t count)
{
    for (std::size_t i = 0; i < count; i += Lanes) {
        const Vector a = load(x + i);
        const Vector b = load(hilbert + i);
        store(out + i, a * a + b * b);
    }
}

static void envelope(const double* x, const double* hilbert, double* out, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        out[i] = __builtin_sqrt(x[i] * x[i] + hilbert[i] * hilbert[i]);
}

static SumAndMaximum sumAndMaximum(const double* x, std::size_t count)
{
    Vector sum[2] = {};
    Vector top[2] = {load(x), load(x)};
    for (std::size_t i = 0; i < count; i += 2 * Lanes) {
        for (std::size_t u = 0; u < 2; ++u) {
            const Vector v = load(x + i + u * Lanes);
            sum[u] += v;
            top[u] = larger(v, top[u]);
        }
    }
    const Vector best = larger(top[0], top[1]);
    double maximum = best[0];
    for (std::size_t l = 1; l < Lanes; ++l)
        maximum = best[l] > maximum ? best[l] : maximum;
    return {sumOf(sum[0] + sum[1]), maximum};
}

static std::size_t countBelow(const double* x, std::size_t count, double limit)
{
    const Vector bound = all(limit);
    Bits below[2] = {};
    for (std::size_t i = 0; i < count; i += 2 * Lanes) {
        below[0] -= load(x + i) < bound;
        below[1] -= load(x + i + Lanes) < bound;
    }
    const Bits total = below[0] + below[1];
    std::int64_t sum = 0;
    for (std::size_t l = 0; l < Lanes; ++l)
        sum += total[l];
    return static_cast<std::size_t>(sum);
}

static void aroundLimit(const double* x, std::size_t count, double limit, double* below, double* from)
{
    const Vector bound = all(limit);
    const Vector infinite = all(__builtin_inf());
    Vector low[2] = {-infinite, -infinite};
    Vector high[2] = {infinite, infinite};
    for (std::size_t i = 0; i < count; i += 2 * Lanes) {
        for (std::size_t u = 0; u < 2; ++u) {
            const Vector v = load(x + i + u * Lanes);
            low[u] = larger(v < bound ? v : -infinite, low[u]);
            high[u] = smaller(v < bound ? infinite : v, high[u]);
        }
    }
    const Vector lows = larger(low[0], low[1]);
    const Vector highs = smaller(high[0], high[1]);
    *below = lows[0];
    *from = highs[0];
    for (std::size_t l = 1; l < Lanes; ++l) {
        *below = lows[l] > *below ? lows[l] : *below;
        *from = highs[l] < *from ? highs[l] : *from;
    }
}

static std::size_t collect(const double* x, std::size_t count, double low, double high, double* out)
{
    std::size_t found = 0;
    for (std::size_t i = 0; i < count; ++i) {
        out[found] = x[i];
        found += static_cast<std::size_t>((x[i] >= low) & (x[i] < high));
    }
    return found;
}

/// r^-0.1 for 1 <= r <= 1e300, within two units of the last place: a rough value from the bits of r and two
/// short polynomials, then one step of the iteration for y = r^-0.1 with three terms.
VT_INLINE Vector minusTenthPower(Vector r)
{
    const auto bits = reinterpret_cast<UnsignedBits>(r);
    const UnsignedBits exponentField = bits >> 52;
    const Vector exponent =
        reinterpret_cast<Vector>(exponentField + allBits(SmallIntegerBits)) - SmallInteger - 1023.0;
    const Vector m =
        reinterpret_cast<Vector>((bits & allBits(0x000fffffffffffff)) | allBits(0x3ff0000000000000));

    // log2(m) for m in [1, 2) to 1.2e-4: interpolation at Chebyshev nodes.
    const Vector log2m =
        (((-0.07844067620906969 * m + 0.626032182163479) * m - 2.078335168250735) * m + 4.029211391070551) *
            m -
        2.498353148813843;
    // 2^power = 2^whole 2^part with part in [-0.5, 0.5]; 2^part to 8e-8 in the same way.
    const Vector power = -0.1 * (exponent + log2m);
    const Vector shifted = power + SmallInteger;
    const Vector part = power - (shifted - SmallInteger);
    const Vector twoToPart =
        ((((0.001339086336751431 * part + 0.009676031918511777) * part + 0.05550357114211243) * part +
          0.24022107485304053) *
             part +
         0.6931471880262325) *
            part +
        1.0000000754548979;
    const UnsignedBits scale = (reinterpret_cast<UnsignedBits>(shifted) << 52) + allBits(0x3ff0000000000000);
    const Vector y = twoToPart * reinterpret_cast<Vector>(scale);

    const Vector y2 = y * y;
    const Vector y4 = y2 * y2;
    const Vector d = 1.0 - r * (y4 * y4 * y2);
    // (1 - d)^-0.1 = 1 + d/10 + 11 d^2/200 + 231 d^3/6000 + ...
    return y + y * d * (0.1 + d * (0.055 + d * 0.0385));
}

VT_INLINE bool anyAbove(const double* x, double limit)
{
    const Vector best = Lanes == 4 ? larger(load(x), load(x + 4))
                                   : larger(larger(load(x), load(x + 2)), larger(load(x + 4), load(x + 6)));
    bool found = false;
    for (std::size_t l = 0; l < Lanes; ++l)
        found |= best[l] > limit;
    return found;
}

static void compress(const double* x, const double* squares, double middle, double* out, std::size_t count)
{
    constexpr std::size_t Block = 8;
    const double inverse = 1.0 / middle;
    const Vector least = all(1.0);
    const Vector most = all(1e300);
    for (std::size_t i = 0; i < count; i += Block) {
        // Envelopes are slow: whole blocks lie below the median.
        const bool untouched = !anyAbove(squares + i, middle);
        for (std::size_t j = i; j < i + Block; j += Lanes) {
            const Vector signal = load(x + j);
            if (untouched) {
                store(out + j, signal);
                continue;
            }
            const Vector square = load(squares + j);
            const Vector factor = minusTenthPower(larger(smaller(square * inverse, most), least));
            store(out + j, square > all(middle) ? signal * factor : signal);
        }
    }
}

// Sums and spectra
// -------------------------------------------------------------------------------------------

static void multiply(const double* x, const double* factors, double* out, std::size_t count)
{
    for (std::size_t i = 0; i < count; i += Lanes)
        store(out + i, load(x + i) * load(factors + i));
}

static double sumOfSquares(const double* x, std::size_t count)
{
    Vector sum[2] = {};
    for (std::size_t i = 0; i < count; i += 2 * Lanes) {
        const Vector a = load(x + i);
        const Vector b = load(x + i + Lanes);
        sum[0] += a * a;
        sum[1] += b * b;
    }
    return sumOf(sum[0] + sum[1]);
}

static MeanAndDeviation meanAndDeviation(const double* x, std::size_t count)
{
    Vector sum[2] = {};
    for (std::size_t i = 0; i < count; i += 2 * Lanes) {
        sum[0] += load(x + i);
        sum[1] += load(x + i + Lanes);
    }
    const double mean = sumOf(sum[0] + sum[1]) / static_cast<double>(count);
    Vector squares[2] = {};
    for (std::size_t i = 0; i < count; i += 2 * Lanes) {
        const Vector a = load(x + i) - mean;
        const Vector b = load(x + i + Lanes) - mean;
        squares[0] += a * a;
        squares[1] += b * b;
    }
    return {mean, sumOf(squares[0] + squares[1])};
}

static void power(const double* bins, double* out, std::size_t binCount)
{
    for (std::size_t k = 0; k < binCount; ++k)
        out[k] = bins[2 * k] * bins[2 * k] + bins[2 * k + 1] * bins[2 * k + 1];
}

static void powerInPlace(double* bins, std::size_t binCount)
{
    for (std::size_t k = 0; k < binCount; ++k) {
        bins[2 * k] = bins[2 * k] * bins[2 * k] + bins[2 * k + 1] * bins[2 * k + 1];
        bins[2 * k + 1] = 0.0;
    }
}

/// ln(m) for m in [sqrt(1/2), sqrt(2)] by the series of 2 artanh((m - 1) / (m + 1)).
VT_INLINE Vector logarithmNearOne(Vector m)
{
    const Vector s = (m - 1.0) / (m + 1.0);
    const Vector s2 = s * s;
    Vector sum = all(1.0 / 21.0);
    sum = sum * s2 + 1.0 / 19.0;
    sum = sum * s2 + 1.0 / 17.0;
    sum = sum * s2 + 1.0 / 15.0;
    sum = sum * s2 + 1.0 / 13.0;
    sum = sum * s2 + 1.0 / 11.0;
    sum = sum * s2 + 1.0 / 9.0;
    sum = sum * s2 + 1.0 / 7.0;
    sum = sum * s2 + 1.0 / 5.0;
    sum = sum * s2 + 1.0 / 3.0;
    return 2.0 * (s + s * s2 * sum);
}

static void decibel(double* x, std::size_t count, double scale)
{
    constexpr double DecibelPerLn = 4.3429448190325182765; // 10 / ln 10
    constexpr double Ln2 = 0.69314718055994530942;
    constexpr double SmallestNormal = 2.2250738585072014e-308;
    // Counting octaves from sqrt(1/2), not from 1, keeps the logarithm's argument around 1.
    const UnsignedBits octaveStart = allBits(0x3fe6a09e667f3bcd);
    for (std::size_t i = 0; i < count; i += Lanes) {
        const Vector value = load(x + i) * scale;
        const Vector normal = larger(value, all(SmallestNormal));
        const auto bits = reinterpret_cast<UnsignedBits>(normal);
        const UnsignedBits octavesPlus1024 = (bits - octaveStart + allBits(0x4000000000000000)) >> 52;
        const Vector octaves =
            reinterpret_cast<Vector>(octavesPlus1024 + allBits(SmallIntegerBits)) - SmallInteger - 1024.0;
        const Vector m = reinterpret_cast<Vector>(bits - ((octavesPlus1024 - allBits(1024)) << 52));
        const Vector result = DecibelPerLn * (octaves * Ln2 + logarithmNearOne(m));
        store(x + i, value > Vector{} ? result : all(-__builtin_inf()));
    }
}

static double correlate(const double* x, std::size_t length, std::size_t lag)
{
    const std::size_t count = length - lag;
    Vector sum[4] = {};
    std::size_t i = 0;
    for (; i + 4 * Lanes <= count; i += 4 * Lanes)
        for (std::size_t u = 0; u < 4; ++u)
            sum[u] += load(x + i + u * Lanes) * load(x + i + u * Lanes + lag);
    double rest = 0.0;
    for (; i < count; ++i)
        rest += x[i] * x[i + lag];
    return sumOf((sum[0] + sum[1]) + (sum[2] + sum[3])) + rest;
}

// Envelope smoothing
// -----------------------------------------------------------------------------------------

/// The newest output enters the next one by a single multiply-add, so that the chain of dependent operations
/// is as short as the recursion allows.
template <std::size_t SectionCount>
VT_INLINE void smoothSections(const Biquad* sections, const double* first, const double* second,
                              std::size_t count, std::size_t skip, double* outFirst, double* outSecond)
{
    // past1[s], past2[s]: the last two inputs of section s, which are the last two outputs of section s - 1.
    Pair past1[SectionCount + 1] = {};
    Pair past2[SectionCount + 1] = {};
    for (std::size_t i = 0; i < count; ++i) {
        Pair value = {first[i], second[i]};
        for (std::size_t s = 0; s < SectionCount; ++s) {
            const Biquad& c = sections[s];
            const Pair older = c.b1 * past1[s] + c.b2 * past2[s] - c.a2 * past2[s + 1];
            const Pair out = (c.b0 * value + older) - c.a1 * past1[s + 1];
            past2[s] = past1[s];
            past1[s] = value;
            value = out;
        }
        past2[SectionCount] = past1[SectionCount];
        past1[SectionCount] = value;
        if (i >= skip) {
            outFirst[i - skip] = value[0];
            outSecond[i - skip] = value[1];
        }
    }
}

static void smooth(const Biquad* sections, std::size_t sectionCount, const double* first,
                   const double* second, std::size_t count, std::size_t skip, double* outFirst,
                   double* outSecond)
{
    if (!second) {
        second = first;
        outSecond = outFirst;
    }
    if (sectionCount == 2)
        smoothSections<2>(sections, first, second, count, skip, outFirst, outSecond);
    else
        smoothSections<3>(sections, first, second, count, skip, outFirst, outSecond);
}

} // namespace

extern const Kernels VT_KERNELS;
const Kernels VT_KERNELS = {.name = VT_KERNELS_NAME,
                            .decimate = decimate,
                            .bandPair = bandPair,
                            .hilbertBins = hilbertBins,
                            .squaredEnvelope = squaredEnvelope,
                            .envelope = envelope,
                            .sumAndMaximum = sumAndMaximum,
                            .countBelow = countBelow,
                            .aroundLimit = aroundLimit,
                            .collect = collect,
                            .compress = compress,
                            .multiply = multiply,
                            .sumOfSquares = sumOfSquares,
                            .meanAndDeviation = meanAndDeviation,
                            .power = power,
                            .powerInPlace = powerInPlace,
                            .decibel = decibel,
                            .correlate = correlate,
                            .smooth = smooth};

#undef VT_INLINE

} // namespace vt
