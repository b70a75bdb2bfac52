// SPDX-License-Identifier: GPL-3.0-or-later
// Counts every allocation of a thread: malloc and its relatives are replaced for this program, so that Qt's
// own containers are seen as well as operator new.
#include "LogCapture.h"
#include "StallDevice.h"
#include "recording/FileWriter.h"
#include "recording/VellumtideFile.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

thread_local int allocations = 0;

} // namespace

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size)
{
    ++allocations;
    return __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size)
{
    ++allocations;
    return __libc_realloc(block, size);
}
}

namespace vt {
namespace {

TEST(WriterAllocation, QueueingBlocksAllocatesNothing)
{
    test::LogCapture log;
    QTemporaryDir folder;
    VellumtideFile raw;
    VellumtideFile features;
    ASSERT_EQ(raw.openFile(folder.filePath(QStringLiteral("a.bin")), true), VellumtideFile::Opened);
    ASSERT_EQ(features.openFile(folder.filePath(QStringLiteral("a.FeatVec")), true), VellumtideFile::Opened);
    raw.header().channelCount = 16;
    features.header().channelCount = 16;
    test::StallDevice disk(test::StallDevice::Gate::Closed);
    FileWriter writer;
    writer.start();
    ASSERT_TRUE(writer.queueWrite(&disk, 1.0));
    disk.waitUntilEntered();
    raw.setFileWriter(&writer);
    features.setFileWriter(&writer);

    const std::array<double, 16 * 6> values{};
    const int control = allocations;
    EXPECT_FALSE(QByteArray(1000, 'x').isEmpty());
    ASSERT_GT(allocations, control) << "allocations are not seen";
    const int before = allocations;
    bool accepted = true;
    for (int i = 0; i < 1050; ++i) // the emergency queue too
        accepted = raw.writeSamples(values.data(), 4) && features.writeValues(values) && accepted;
    EXPECT_EQ(allocations, before);
    EXPECT_TRUE(accepted);
    EXPECT_EQ(writer.statistics().emergencyHits, 100U);
    disk.release();
    EXPECT_TRUE(writer.shutdown(1000));
    EXPECT_EQ(writer.statistics().bytesWritten, 8U + 1050 * (128 + 768));
}

} // namespace
} // namespace vt
