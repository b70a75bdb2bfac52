// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/HeadlessRunner.h"

#include <gtest/gtest.h>

using namespace vt;
using namespace Qt::StringLiterals;

// Only dropped frames were told: an amplifier that lost bytes all night looked well in a night's log.
TEST(ProgressLine, TellsWhatTheAcquisitionHasLost)
{
    SessionStatus status;
    status.elapsedMs = 42'000;
    status.state = SessionState::Recording;
    status.framesProcessed = 1260;
    const QString well = u"42 s  Recording  segment 0  frames 1260 (0 dropped)  queue 0  disk ?  []"_s;
    EXPECT_EQ(progressLine(status), well);
    status.losses.bytesDamaged = 3;
    status.losses.interruptions = 1;
    status.losses.samplesDropped = 20;
    status.losses.restartGapMs = 1201;
    status.readErrors = 2;
    status.sensors.enabled = 1;
    EXPECT_EQ(progressLine(status),
              well + u"  lost: 3 bytes damaged, 1 interruption, 20 samples dropped, 2 read errors, "
                     "1.3 s without data  sensors 1 of 1"_s);
}
