// SPDX-License-Identifier: GPL-3.0-or-later
// The program's sleep scoring against what the simulated animals did, briefly.
#include "Agreement.h"

#include <gtest/gtest.h>

namespace vt::test {
namespace {

TEST(Agreement, HoldsOverAnHour)
{
    for (const int animalType : {1, 2})
        expectAgreement(animalType, 1, 1.0);
}

} // namespace
} // namespace vt::test
