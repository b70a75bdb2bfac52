// SPDX-License-Identifier: GPL-3.0-or-later
#include "TestSignals.h"

#include "ReferenceValues.h"

#include <QFile>
#include <QtEndian>
#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace vt::test {

std::vector<double> makeNoise(std::size_t count, std::uint64_t seed)
{
    std::vector<double> values(count);
    for (double& value : values) {
        seed = seed * 6364136223846793005U + 1442695040888963407U;
        value = static_cast<double>(seed >> 11) * 0x1p-53 * 2.0 - 1.0;
    }
    return values;
}

std::vector<double> makeSine(double frequencyHz, double amplitude, std::size_t count, double rateHz)
{
    std::vector<double> values(count);
    for (std::size_t i = 0; i < count; ++i)
        values[i] =
            amplitude * std::sin(2 * std::numbers::pi * frequencyHz * static_cast<double>(i) / rateHz);
    return values;
}

std::vector<double> makeSignal(std::string_view name, std::size_t count, double rateHz)
{
    const auto spec = std::ranges::find(ReferenceSignals, name, &SignalSpec::name);
    if (spec == ReferenceSignals.end())
        throw std::invalid_argument("no such signal: " + std::string(name));
    const std::vector<double> tone = makeSine(spec->frequencyHz, spec->amplitude, count, rateHz);
    const std::vector<double> modulation = makeSine(spec->modulationHz, spec->modulationDepth, count, rateHz);
    std::vector<double> values = makeNoise(count, spec->seed);
    for (std::size_t i = 0; i < count; ++i) {
        values[i] *= spec->noiseAmplitude;
        if (i >= spec->gateFrom && i < spec->gateTo)
            values[i] += (1.0 + modulation[i]) * tone[i];
    }
    return values;
}

std::vector<std::vector<double>> readReal4()
{
    constexpr std::size_t Channels = 4;
    QFile file(QStringLiteral(VELLUMTIDE_TEST_DATA "/real4.f64"));
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("real4.f64 cannot be opened");
    const QByteArray bytes = file.readAll();
    std::vector<std::vector<double>> channels(Channels);
    for (qsizetype at = 0; at < bytes.size(); at += qsizetype{sizeof(double)}) {
        const auto value = std::bit_cast<double>(qFromLittleEndian<quint64>(bytes.constData() + at));
        channels[static_cast<std::size_t>(at) / sizeof(double) % Channels].push_back(value);
    }
    return channels;
}

} // namespace vt::test
