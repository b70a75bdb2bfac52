// SPDX-License-Identifier: GPL-3.0-or-later
// The program's sleep scoring against what the simulated animals did, over a working day and over day and
// night: the scoring compares with a mean over eleven hours.
#include "Agreement.h"

#include <gtest/gtest.h>

namespace vt::test {
namespace {

TEST(LongAgreement, HoldsOverEightHours)
{
    for (const int animalType : {1, 2})
        for (std::uint64_t seed = 1; seed <= 5; ++seed)
            expectAgreement(animalType, seed, 8.0);
}

TEST(LongAgreement, HoldsOverDayAndNight)
{
    for (const int animalType : {1, 2})
        expectAgreement(animalType, 100, 24.0);
}

} // namespace
} // namespace vt::test
