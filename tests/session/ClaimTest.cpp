// SPDX-License-Identifier: GPL-3.0-or-later
// What stands between the user's choice and a recording: another instance's claim, the laptop's lid.
#include "SessionHarness.h"

#include "platform/DaqClaim.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

class ClaimTest : public testing::Test
{
protected:
    ClaimTest()
    {
        qputenv("XDG_RUNTIME_DIR", m_claims.path().toLocal8Bit());
        qputenv("TMPDIR", m_claims.path().toLocal8Bit());
    }
    ~ClaimTest() override
    {
        qputenv("XDG_RUNTIME_DIR", m_runtimeBefore);
        qputenv("TMPDIR", m_temporaryBefore);
    }

private:
    QTemporaryDir m_claims;
    const QByteArray m_runtimeBefore = qgetenv("XDG_RUNTIME_DIR");
    const QByteArray m_temporaryBefore = qgetenv("TMPDIR");
};

struct LidStory
{
    PowerSchemeQuery::Result scheme{true, PowerSchemeQuery::LidAction::DoNothing,
                                    PowerSchemeQuery::LidAction::Sleep, false};
    bool show = true;
    int asked = 0; ///< questions to the system
    [[nodiscard]] SessionHarness::Options options()
    {
        SessionHarness::Options harness;
        harness.showLidWarning = &show;
        harness.lidQuery = [this](QObject*,
                                  const std::function<void(const PowerSchemeQuery::Result&)>& answer) {
            ++asked;
            answer(scheme);
        };
        return harness;
    }
};

} // namespace

TEST_F(ClaimTest, ADeviceOfAnotherInstanceIsRefusedUntouched)
{
    DaqClaim first;
    DaqClaim second;
    SessionHarness::Options options;
    options.claim = &first;
    SessionHarness holder(options);
    options.claim = &second;
    SessionHarness other(options); // a unit with the same serial number
    ASSERT_TRUE(holder.select());

    ASSERT_TRUE(other.refresh());
    ASSERT_EQ(other.session->devices().size(), 1U);
    EXPECT_TRUE(other.session->devices()[0].inUse);
    EXPECT_EQ(other.session->devices()[0].holderPid, QCoreApplication::applicationPid());
    other.unit.recordCalls(true);
    EXPECT_FALSE(other.select());
    EXPECT_EQ(other.session->status().device.refusal,
              u"Dev1 is in use by another Vellumtide instance (process %1)."_s.arg(
                  QCoreApplication::applicationPid()));
    for (const QString& call : other.unit.recordedCalls())
        EXPECT_TRUE(call.startsWith(u"DAQmxGet"_s)) << qPrintable(call);

    holder.session->selectDevice(QString());
    EXPECT_FALSE(other.session->devices()[0].inUse);
    EXPECT_TRUE(other.select());
    EXPECT_TRUE(holder.session->devices()[0].inUse);
}

TEST_F(ClaimTest, ALidThatWouldStopTheRecordingIsToldBeforeIt)
{
    LidStory lid;
    SessionHarness harness(lid.options());
    harness.user.answer = LidWarning::Continue;
    ASSERT_TRUE(harness.beginRecording());
    ASSERT_EQ(harness.user.questions.size(), 1U);
    const Question asked = harness.user.questions[0];
    EXPECT_EQ(asked.title, u"Closing the lid will stop recording"_s);
    EXPECT_EQ(asked.text,
              u"This laptop is configured to %1 when the lid is closed on battery, and to %2 when plugged "
              u"in. Closing "
              "the lid during a recording will suspend the system and stop data acquisition."_s.arg(
                  PowerSchemeQuery::lidActionText(PowerSchemeQuery::LidAction::Sleep),
                  PowerSchemeQuery::lidActionText(PowerSchemeQuery::LidAction::DoNothing)));
    EXPECT_EQ(asked.informativeText, u"To keep recording with the lid closed, set the lid-close action to "
                                     u"\"Do nothing\" in Windows Power & "
                                     "Sleep settings."_s);
    EXPECT_EQ(asked.buttons, (QStringList{u"Open Power Settings"_s, u"Continue"_s}));
    EXPECT_EQ(asked.checkBox, u"Don't show this again"_s);
    ASSERT_TRUE(harness.stopAndWaitIdle());

    asked.checked(false);
    EXPECT_TRUE(lid.show);
    asked.checked(true);
    EXPECT_FALSE(lid.show);
    ASSERT_TRUE(harness.beginRecording());
    EXPECT_EQ(harness.user.questions.size(), 1U);
    EXPECT_EQ(lid.asked, 1);
}

TEST_F(ClaimTest, ALidThatDoesNothingAsksNothing)
{
    LidStory lid;
    lid.scheme.lidDC = PowerSchemeQuery::LidAction::DoNothing;
    SessionHarness harness(lid.options());
    ASSERT_TRUE(harness.beginRecording());
    EXPECT_TRUE(harness.user.questions.empty());
    EXPECT_EQ(lid.asked, 1);
}

TEST_F(ClaimTest, WhoeverAnswersTheLidWarningAfterASleepGetsTheRecording)
{
    LidStory lid;
    SessionHarness harness(lid.options());
    harness.session->record(harness.setup());
    EXPECT_EQ(harness.user.messages.size(), 1U) << "no unit is chosen";
    EXPECT_TRUE(harness.user.questions.empty());

    harness.user.answer = LidWarning::Continue;
    harness.user.beforeAnswer = [&harness] { harness.session->abandonStart(); };
    EXPECT_TRUE(harness.beginRecording());
}
