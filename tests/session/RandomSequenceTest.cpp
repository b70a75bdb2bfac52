// SPDX-License-Identifier: GPL-3.0-or-later
// Random sequences of what users and devices do, on stepped time: each ends in Idle with every file closed
// and readable.
#include "SessionHarness.h"

#include "acquisition/AcquisitionFrame.h"
#include "recording/FeatureFileReader.h"
#include "recording/RawFileReader.h"

#include <QDirIterator>
#include <QFileInfo>
#include <gtest/gtest.h>
#include <random>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

class Sequence
{
public:
    explicit Sequence(unsigned seed)
        : m_random(seed), m_harness({.channels = 1 + static_cast<int>(seed % 3),
                                     .animalType = 1 + static_cast<int>(seed / 3 % 2),
                                     .autoResume = seed % 4 != 0})
    {}

    void run()
    {
        ASSERT_TRUE(m_harness.select());
        const int steps = 5 + pick(20);
        for (int i = 0; i < steps; ++i)
            act();
        m_harness.unit.replug();
        m_harness.unit.setBusNak(false);
        m_harness.unit.stallCallbacks(false);
        m_harness.session->stop(EndReason::UserStop);
        const auto stopped = [this] {
            const SessionState state = m_harness.session->state();
            if (state != SessionState::Idle && state != SessionState::Stopping)
                m_harness.session->stop(EndReason::UserStop);
            return state == SessionState::Idle;
        };
        ASSERT_TRUE(m_harness.passUntil(stopped, 100)) << m_log;
        checkFiles();
        m_harness.session.reset();
        EXPECT_EQ(m_harness.unit.openTaskCount(), 0) << m_log;
        EXPECT_EQ(m_harness.unit.deadHandleCalls(), 0) << m_log;
    }

private:
    int pick(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }

    void act()
    {
        SessionController& session = *m_harness.session;
        switch (const int action = pick(13); action) {
        case 0:
            note("record");
            session.record(m_harness.setup(u"r%1"_s.arg(m_recordings++)));
            break;
        case 1:
            note("prepare");
            session.prepare(m_harness.setup(u"r%1"_s.arg(m_recordings++)));
            break;
        case 2:
            note("start");
            session.start();
            break;
        case 3:
            note("stop");
            session.requestStop();
            break;
        case 4:
            note("unplug");
            m_harness.unit.unplug();
            break;
        case 5:
            note("replug");
            m_harness.unit.replug();
            break;
        case 6:
            note("read error");
            m_harness.unit.failReads(daqmx::ErrorBufferOverwritten, 1 + pick(3));
            break;
        case 7:
            note("nak");
            m_harness.unit.setBusNak(pick(2) == 0);
            break;
        case 8:
            note("marker");
            session.addMarker(u"m"_s);
            break;
        case 9:
            note("stall");
            m_harness.unit.stallCallbacks(pick(2) == 0);
            break;
        default:
            run(action);
            break;
        }
    }

    // Most of the time something just runs: frames, a wait, or both, with or without the threads settling.
    void run(int action)
    {
        note(action == 10 ? "frames" : action == 11 ? "time" : "settle");
        if (action == 10)
            m_harness.deliver(pick(200));
        else if (action == 11)
            m_harness.passTime(100 * pick(120));
        else
            static_cast<void>(SessionHarness::waitUntil([this] { return ++m_turns % 20 == 0; }));
    }

    void note(const char* what) { m_log += std::string(what) + ", "; }

    void checkFiles()
    {
        QDirIterator files(m_harness.folder.path(), QDir::Files);
        while (files.hasNext()) {
            const QString path = files.next();
            const QString suffix = QFileInfo(path).suffix();
            SCOPED_TRACE(qPrintable(path));
            EXPECT_GT(QFileInfo(path).size(), suffix == "Tstamp"_L1 ? -1 : 0) << m_log;
            if (suffix.startsWith("bin"_L1)) {
                RawFileReader raw;
                EXPECT_TRUE(raw.open(path)) << m_log;
                EXPECT_EQ(raw.frameCount() % DecimatedSamplesPerFrame, 0) << m_log;
            } else if (suffix.startsWith("Feat"_L1)) {
                FeatureFileReader features;
                EXPECT_TRUE(features.open(path, suffix.startsWith("FeatVec"_L1) ? FeatureFileKind::Vector
                                                                                : FeatureFileKind::Single))
                    << m_log;
            }
        }
    }

    std::mt19937 m_random;
    SessionHarness m_harness;
    std::string m_log;
    int m_recordings = 0;
    int m_turns = 0;
};

constexpr unsigned sequenceCount = 1000;

} // namespace

TEST(RandomSequence, AThousandEndInIdleWithReadableFiles)
{
    for (unsigned seed = 1; seed <= sequenceCount; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Sequence(seed).run();
        if (HasFatalFailure() || HasNonfatalFailure())
            return;
    }
}
