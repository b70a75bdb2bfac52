// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/SegmentPaths.h"
#include "LogCapture.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace vt {
namespace {

void touch(const QString& path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
}

TEST(SegmentPaths, OnlyTheBinaryFilesOfAnimalTypeOneEndInFb)
{
    const SegmentPaths mouse = segmentPaths(QStringLiteral("/d/run"), 1);
    EXPECT_EQ(mouse.raw, QStringLiteral("/d/run.binfb"));
    EXPECT_EQ(mouse.featureVector, QStringLiteral("/d/run.FeatVecfb"));
    EXPECT_EQ(mouse.activity, QStringLiteral("/d/run_at.Featfb"));
    EXPECT_EQ(mouse.breathRate, QStringLiteral("/d/run_br.Featfb"));
    const SegmentPaths rat = segmentPaths(QStringLiteral("/d/run"), 2);
    EXPECT_EQ(rat.raw, QStringLiteral("/d/run.bin"));
    EXPECT_EQ(rat.featureVector, QStringLiteral("/d/run.FeatVec"));
    EXPECT_EQ(rat.activity, QStringLiteral("/d/run_at.Feat"));
    EXPECT_EQ(rat.breathRate, QStringLiteral("/d/run_br.Feat"));
    for (const SegmentPaths& paths : {mouse, rat}) {
        EXPECT_EQ(paths.timeStamps, QStringLiteral("/d/run_daq.Tstamp"));
        EXPECT_EQ(paths.markers, QStringLiteral("/d/run_Marks.csv"));
        EXPECT_EQ(paths.stimulation, QStringLiteral("/d/run_Stim.csv"));
        EXPECT_EQ(paths.configuration, QStringLiteral("/d/run_cnfg.csv"));
    }
}

TEST(SegmentPaths, StripsTheExtensionOnceAtTheEnd)
{
    const std::pair<const char*, const char*> cases[] = {
        {"a.bin", "a"}, {"a.binfb", "a"},   {"a.bin.bin", "a.bin"}, {"a.bin.txt", "a.bin.txt"},
        {"a", "a"},     {"a.BIN", "a.BIN"}, {"abin", "abin"},       {"a.binfbx", "a.binfbx"}};
    for (const auto& [name, base] : cases)
        EXPECT_EQ(stripRecordingExtension(QString::fromLatin1(name)).toStdString(), base);
}

TEST(SegmentPaths, NextSegmentTakesTheFirstFreeNumber)
{
    QTemporaryDir folder;
    const QString run = folder.filePath(QStringLiteral("run"));
    EXPECT_EQ(nextAvailableSegmentPath(run, 2), run + QStringLiteral(" (1)"));
    touch(run + QStringLiteral(" (1).bin"));
    EXPECT_EQ(nextAvailableSegmentPath(run, 2), run + QStringLiteral(" (2)"));
    // The mouse's files have another extension.
    EXPECT_EQ(nextAvailableSegmentPath(run, 1), run + QStringLiteral(" (1)"));
    // A number of the base is stripped, not incremented.
    EXPECT_EQ(nextAvailableSegmentPath(run + QStringLiteral(" (3)"), 2), run + QStringLiteral(" (2)"));
    EXPECT_EQ(nextAvailableSegmentPath(run + QStringLiteral("(3)"), 2), run + QStringLiteral("(3) (1)"));
    EXPECT_EQ(nextAvailableSegmentPath(run + QStringLiteral("%1"), 2), run + QStringLiteral("%1 (1)"));
}

TEST(SegmentPaths, TheLastSlotIsReused)
{
    QTemporaryDir folder;
    const QString run = folder.filePath(QStringLiteral("run"));
    for (int segment = 1; segment <= 98; ++segment)
        touch(QStringLiteral("%1 (%2).binfb").arg(run).arg(segment));
    test::LogCapture log;
    EXPECT_EQ(nextAvailableSegmentPath(run, 1), run + QStringLiteral(" (99)"));
    EXPECT_TRUE(log.lines().isEmpty());
    touch(run + QStringLiteral(" (99).binfb"));
    EXPECT_EQ(nextAvailableSegmentPath(run, 1), run + QStringLiteral(" (99)"));
    EXPECT_EQ(log.lines(),
              QStringList(QStringLiteral("nextAvailableSegmentPath: cap reached for base ") + run +
                          QStringLiteral(" — reusing the last segment slot; earlier segments are "
                                         "preserved")));
}

} // namespace
} // namespace vt
