// SPDX-License-Identifier: GPL-3.0-or-later
// Between the unit's registers and what people set.
#include "hardware/VexioRegisters.h"

#include <gtest/gtest.h>

namespace vt::test {

TEST(VexioRegisters, ConversionsRoundAndClamp)
{
    using namespace VEXIO_NS;
    EXPECT_EQ(frequencyHzToRegister(43), 0);
    EXPECT_EQ(frequencyHzToRegister(3613), 255);
    EXPECT_EQ(frequencyHzToRegister(1000), 68) << "68.36";
    EXPECT_EQ(frequencyHzToRegister(50), 1) << "half is rounded up";
    EXPECT_EQ(frequencyHzToRegister(0), 0);
    EXPECT_EQ(frequencyHzToRegister(1e6), 255);
    EXPECT_EQ(frequencyKHzToRegister(1.0), 68);
    EXPECT_EQ(frequencyKHzToRegister(3.613), 255);
    EXPECT_EQ(amplitudeVoltsToRegister(5.0), 127) << "127.16";
    EXPECT_EQ(amplitudeVoltsToRegister(10.027), 255);
    EXPECT_EQ(amplitudeVoltsToRegister(99), 255);
    EXPECT_EQ(amplitudeVoltsToRegister(-1), 0);
    EXPECT_EQ(durationSecToRegister(2.25), 5);
    EXPECT_EQ(durationSecToRegister(127.5), 255);
    EXPECT_EQ(durationSecToRegister(1000), 255);
    EXPECT_DOUBLE_EQ(registerToFrequencyHz(100), 1443.0);
    EXPECT_DOUBLE_EQ(registerToFrequencyKHz(100), 1.443);
    EXPECT_DOUBLE_EQ(registerToAmplitudeVolts(100), 3.9322);
    EXPECT_DOUBLE_EQ(registerToDurationSec(9), 4.5);
    EXPECT_EQ(waveShapeName(2), u"Single Pulse"_qs);
    EXPECT_EQ(waveShapeName(3), u"Unknown"_qs);
    // Cages 1 to 4: 1, 2, 3, 0; cages 5 to 8: 0, 3, 2, 1.
    const int codes[] = {1, 2, 3, 0, 0, 3, 2, 1};
    for (int cage = 0; cage < 8; ++cage)
        EXPECT_EQ(speakerFaultCode(0x39, 0x6C, cage), codes[cage]) << cage;
}

} // namespace vt::test
