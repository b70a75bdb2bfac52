// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/CameraTroubles.h"

#include <gtest/gtest.h>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

using Kind = CameraTroubles::News::Kind;
const QString Mac = u"AC-CC-8E-00-00-01"_s;
const QString Crash = u"FFmpeg crashed."_s;

} // namespace

TEST(CameraTroubles, AFailureThatIsNotToldTakesBackWhatIsNotTrueAndIsToldLater)
{
    CameraTroubles troubles;
    const QDateTime begin = QDateTime::fromString(u"2025-01-31T22:00:00"_s, Qt::ISODate);
    qint64 nowMs = 0;
    const auto fail = [&] { return troubles.fail(Mac, Crash, false, begin.addMSecs(nowMs), nowMs); };
    const auto setFilming = [&](bool isFilming) {
        troubles.setFilming(Mac, isFilming, begin.addMSecs(nowMs), nowMs);
    };
    ASSERT_EQ(fail().value().kind, Kind::DoesNotFilm);
    EXPECT_FALSE(troubles.nextReviewMs());
    // A few frames of an attempt that fails: nothing has changed.
    nowMs = 60000;
    setFilming(true);
    EXPECT_EQ(troubles.nextReviewMs(), nowMs + CameraTroubles::SteadyMs);
    nowMs += CameraTroubles::SteadyMs - 1;
    EXPECT_TRUE(troubles.review(nowMs).empty());
    setFilming(false);
    EXPECT_FALSE(fail());
    setFilming(true);
    const QDateTime back = begin.addMSecs(nowMs);
    nowMs += CameraTroubles::SteadyMs;
    const std::vector<CameraTroubles::News> news = troubles.review(nowMs);
    ASSERT_EQ(news.size(), 1U);
    EXPECT_EQ(news[0].kind, Kind::FilmsAgain);
    EXPECT_EQ(news[0].since, begin);
    EXPECT_EQ(news[0].back, back);

    nowMs = 100000;
    setFilming(false);
    ASSERT_EQ(fail().value().kind, Kind::TakeBack);
    EXPECT_FALSE(fail());
    EXPECT_EQ(troubles.nextReviewMs(), CameraTroubles::TellAgainMs);
    EXPECT_TRUE(troubles.review(CameraTroubles::TellAgainMs - 1).empty());
    const std::vector<CameraTroubles::News> later = troubles.review(CameraTroubles::TellAgainMs);
    ASSERT_EQ(later.size(), 1U);
    EXPECT_EQ(later[0].kind, Kind::DoesNotFilm);
    EXPECT_EQ(later[0].since, begin.addMSecs(100000));
    EXPECT_FALSE(troubles.nextReviewMs());
    EXPECT_EQ(troubles.forget(Mac).value().kind, Kind::TakeBack);
}

TEST(CameraTroubles, ACauseIsToldOnceEvenThoughTheTroubleWasTold)
{
    CameraTroubles troubles;
    const QDateTime now = QDateTime::currentDateTime();
    const QString refusal = u"The camera refuses the user name or the password."_s;
    EXPECT_TRUE(troubles.fail(Mac, Crash, false, now, 0));
    EXPECT_EQ(troubles.fail(Mac, refusal, true, now, 1).value().what, refusal);
    EXPECT_FALSE(troubles.fail(Mac, Crash, false, now, 2));
    EXPECT_FALSE(troubles.fail(Mac, refusal, true, now, 3));
}
