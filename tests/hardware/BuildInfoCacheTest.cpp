// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/BuildInfoCache.h"
#include "LogCapture.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace vt::test {

namespace {

constexpr std::array<std::uint8_t, 16> March{17,  'M', 'a', 'r', 25,  9,   5,   '2',
                                             '.', '5', '0', '1', '.', '4', '.', '2'};

} // namespace

TEST(BuildInfo, DecodesAndDescribes)
{
    const DaqBuildInfo info = decodeBuildInfo(March);
    EXPECT_EQ(buildInfoText(info), u"built=Mar-17-2025 09:05 compilerVer=2.50 fwVer=1.4.2"_qs);
    EXPECT_TRUE(isPlausible(info));
    EXPECT_EQ(crc32(QByteArray()), 0U);
    EXPECT_EQ(crc32("123456789"), 0xCBF43926U) << "the published check value";
}

TEST(BuildInfo, PlausibleIsADateAndATime)
{
    struct Case
    {
        std::size_t at;
        std::uint8_t value;
        bool isPlausible;
    };
    for (const Case& c : {Case{0, 0, false}, Case{0, 1, true}, Case{0, 31, true}, Case{0, 32, false},
                          Case{1, 'm', false}, Case{2, '1', false}, Case{4, 99, true}, Case{4, 100, false},
                          Case{5, 23, true}, Case{5, 24, false}, Case{6, 59, true}, Case{6, 60, false}}) {
        auto raw = March;
        raw[c.at] = c.value;
        EXPECT_EQ(isPlausible(decodeBuildInfo(raw)), c.isPlausible) << c.at << ' ' << int{c.value};
    }
}

TEST(BuildInfoCache, KeepsUnitsApart)
{
    LogCapture log;
    const QTemporaryDir folder;
    const BuildInfoCache cache(folder.filePath(u"new/folder/daq_build_info.json"_qs));
    EXPECT_FALSE(cache.load(u"1"_qs).has_value());
    auto june = March;
    june[1] = 'J', june[2] = 'u', june[3] = 'n';
    EXPECT_TRUE(cache.store(u"1"_qs, decodeBuildInfo(March)));
    EXPECT_TRUE(cache.store(u"2"_qs, decodeBuildInfo(june)));
    EXPECT_EQ(cache.load(u"1"_qs), decodeBuildInfo(March));
    EXPECT_EQ(cache.load(u"2"_qs), decodeBuildInfo(june));
    EXPECT_TRUE(cache.store(u"1"_qs, decodeBuildInfo(june)));
    EXPECT_EQ(cache.load(u"1"_qs), decodeBuildInfo(june));
    EXPECT_TRUE(log.lines().isEmpty());

    const BuildInfoCache blocked(folder.path());
    EXPECT_FALSE(blocked.store(u"1"_qs, decodeBuildInfo(March)));
    EXPECT_TRUE(log.has(u"DAQInfo: failed to open build-info cache for write: "_qs + folder.path()));
}

// Entries as another program or a damaged disk may have left them. CRCs by Python's zlib.
TEST(BuildInfoCache, IgnoresBadEntries)
{
    const QString mismatch = u"DAQInfo: build-info cache CRC mismatch for serial 7 — ignoring entry"_qs;
    const QString notValid = u"DAQInfo: build-info cache validator failed for serial 7"_qs;
    struct Case
    {
        const char* json;
        QString logLine; ///< empty: none
        bool isUsed;
    };
    const Case cases[] = {
        {R"({"version":1,"devices":{"7":{"rawRegsHex":"114d6172190905322e3530312e342e32","crc32":"2074747300"}}})",
         {},
         true},
        {R"({"version":1,"devices":{"7":{"rawRegsHex":"114D6172190905322E3530312E342E32","crc32":"2074747300"}}})",
         {},
         true},
        {R"({"version":1,"devices":{"7":{"rawRegsHex":"114d6172190905322e3530312e342e","crc32":"341867230"}}})",
         {},
         false},
        {R"({"version":1,"devices":{"7":{"rawRegsHex":"114d6172190905322e3530312e342e3200","crc32":"63054429"}}})",
         {},
         false},
        {R"({"version":1,"devices":{"7":{"rawRegsHex":"114d6172190905322e3530312e342e","crc32":"1"}}})",
         {},
         false},
        {R"({"version":1,"devices":{"7":{"rawRegsHex":"114d6172190905322e3530312e342e3x","crc32":"2074747300"}}})",
         {},
         false},
        {R"({"version":1,"devices":{"7":{"rawRegsHex":"114d6172190905322e3530312e342e32","crc32":"2074747301"}}})",
         mismatch, false},
        {R"({"version":1,"devices":{"7":{"rawRegsHex":"114d6172190905322e3530312e342e32","crc32":""}}})",
         mismatch, false},
        {R"({"version":1,"devices":{"7":{"rawRegsHex":"004d6172190905322e3530312e342e32","crc32":"870682283"}}})",
         notValid, false},
        {R"({"version":1,"devices":{"8":{}}})", {}, false},
        {R"({"version":1,"devices":[]})", {}, false},
        {R"(not json)", {}, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.json);
        LogCapture log;
        const QTemporaryDir folder;
        const QString path = folder.filePath(u"daq_build_info.json"_qs);
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(c.json);
        file.close();
        EXPECT_EQ(BuildInfoCache(path).load(u"7"_qs).has_value(), c.isUsed);
        EXPECT_EQ(log.lines(), c.logLine.isEmpty() ? QStringList() : QStringList{c.logLine});
    }
}

} // namespace vt::test
