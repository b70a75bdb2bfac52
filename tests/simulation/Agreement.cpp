// SPDX-License-Identifier: GPL-3.0-or-later
#include "Agreement.h"

#include "processing/FeatureExtractor.h"
#include "processing/FilterChain.h"
#include "processing/SleepDecision.h"
#include "processing/dataChannel.h"
#include "simulation/AnimalModel.h"

#include <QDateTime>
#include <algorithm>
#include <gtest/gtest.h>
#include <iostream>
#include <vector>

namespace vt::test {

namespace {

constexpr std::size_t FramesPerStep = 60;
constexpr std::size_t MarginFrames = 8 * 30;

struct Step
{
    std::size_t frame = 0; ///< the last one of the step
    bool sleeping = false;
    bool noSignal = false;
};

class Scorer
{
public:
    explicit Scorer(int animalType)
        : m_chain(1, animalType, 0.0), m_extractor(animalType),
          m_decision({1, animalType, SensorAmplifier::NiDevice, SessionKind::SleepScoring})
    {}

    void filter(const std::array<double, 20>& frame)
    {
        std::array<double, 4> decimated{};
        std::array<double, 4> br{};
        std::array<double, 4> act{};
        m_chain.filterDecimate(0, frame, decimated);
        m_chain.filterBrAct(0, decimated, br, act);
        m_br.append(br);
        m_act.append(act);
    }
    /// False while the first 8 s are incomplete.
    bool score(Step* step)
    {
        if (!m_br.isFull())
            return false;
        std::ranges::copy(m_br.window(), m_brWindow.data());
        std::ranges::copy(m_act.window(), m_actWindow.data());
        m_extractor.extract(FeatureExtractor::Window(m_brWindow.data(), WindowLength),
                            FeatureExtractor::Window(m_actWindow.data(), WindowLength), m_result);
        m_decision.step(0, m_result, m_now);
        step->sleeping = m_decision.channel(0).sleeping;
        step->noSignal = m_decision.channel(0).noSignal;
        return true;
    }

private:
    FilterChain m_chain;
    FeatureExtractor m_extractor;
    SleepDecision m_decision;
    dataChannel m_br;
    dataChannel m_act;
    AlignedArray m_brWindow{WindowLength};
    AlignedArray m_actWindow{WindowLength};
    FeatureResult m_result;
    const QDateTime m_now{QDate(2026, 3, 2), QTime(10, 0)};
};

/// Frames between each frame and the nearest change of truth.
std::vector<std::size_t> distanceToChange(const std::vector<bool>& truth)
{
    std::vector<std::size_t> distance(truth.size(), truth.size());
    for (std::size_t i = 1; i < truth.size(); ++i)
        distance[i] = truth[i] != truth[i - 1] ? 0 : distance[i - 1] + 1;
    for (std::size_t i = truth.size() - 1; i-- > 0;)
        distance[i] = truth[i] != truth[i + 1] ? 0 : std::min(distance[i], distance[i + 1] + 1);
    return distance;
}

} // namespace

Agreement scoreAnimal(int animalType, std::uint64_t seed, double hours)
{
    AnimalModel animal(animalType, seed);
    Scorer scorer(animalType);
    const auto frames = static_cast<std::size_t>(hours * 3600 * 30);
    std::vector<bool> truth;
    std::vector<Step> steps;
    std::array<double, 20> block{};
    for (std::size_t frame = 0; frame < frames; ++frame) {
        animal.generate(block.data(), block.size());
        truth.push_back(animal.isAsleep(frame * block.size()));
        scorer.filter(block);
        Step step{frame};
        if ((frame + 1) % FramesPerStep == 0 && scorer.score(&step))
            steps.push_back(step);
    }
    const auto distance = distanceToChange(truth);
    Agreement result;
    for (const Step& step : steps) {
        ++result.steps;
        result.noSignal += step.noSignal ? 1 : 0;
        if (distance[step.frame] < MarginFrames)
            continue;
        const bool asleep = truth[step.frame];
        ++(asleep ? result.sleepCompared : result.wakeCompared);
        if (step.sleeping == asleep)
            ++(asleep ? result.sleepAgreed : result.wakeAgreed);
    }
    return result;
}

std::ostream& operator<<(std::ostream& out, const Agreement& agreement)
{
    return out << 100.0 * agreement.share() << " % of " << agreement.sleepCompared + agreement.wakeCompared
               << " steps; asleep " << agreement.sleepAgreed << " of " << agreement.sleepCompared
               << ", awake " << agreement.wakeAgreed << " of " << agreement.wakeCompared;
}

void expectAgreement(int animalType, std::uint64_t seed, double hours)
{
    const Agreement agreement = scoreAnimal(animalType, seed, hours);
    const testing::Message who = testing::Message()
                                 << (animalType == 2 ? "rat " : "mouse ") << seed << ": " << agreement;
    std::cout << who.GetString() << '\n';
    SCOPED_TRACE(who);
    EXPECT_GE(agreement.share(), 0.95);
    EXPECT_GE(agreement.sleepAgreed, 0.93 * agreement.sleepCompared);
    EXPECT_GE(agreement.wakeAgreed, 0.90 * agreement.wakeCompared);
    EXPECT_GE(agreement.sleepCompared, 0.2 * agreement.steps);
    EXPECT_GE(agreement.wakeCompared, 0.05 * agreement.steps);
    EXPECT_EQ(agreement.noSignal, 0) << "the sensor is always connected";
}

} // namespace vt::test
