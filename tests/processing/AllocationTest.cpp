// SPDX-License-Identifier: GPL-3.0-or-later
// Counts every allocation of a thread: malloc and its relatives are replaced for this program, which covers
// operator new, Qt's containers and FFTW. What is published as value types (vectors for the interface thread)
// is built for connected receivers only; none is connected here, so that nothing at all may be allocated, in
// steps with features too.
#include "FakeDevice.h"
#include "LogCapture.h"
#include "TestSignals.h"
#include "processing/DataManager.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace {

thread_local int allocations = 0;
thread_local int failAfter = -1; // aligned allocations to grant before one fails; -1: all succeed

} // namespace

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

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
/// What operator new calls for aligned arrays; the only one that can be made to fail.
void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    ++allocations;
    if (failAfter >= 0 && failAfter-- == 0)
        return nullptr;
    return __libc_memalign(alignment, size);
}
void* memalign(std::size_t alignment, std::size_t size)
{
    ++allocations;
    return __libc_memalign(alignment, size);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t size)
{
    ++allocations;
    *block = __libc_memalign(alignment, size);
    return *block ? 0 : ENOMEM;
}
}

namespace vt {
namespace {

TEST(ProcessingAllocation, TicksAllocateNothing)
{
    for (int animal : {1, 2}) {
        test::LogCapture log;
        test::SteppingTimeSource time;
        test::FakeDevice device(
            {test::makeSignal("breathing", 12000, 600.0), test::makeSignal("noise", 12000, 600.0)});
        DataManager::Config config;
        config.channelCount = 2;
        config.animalType = animal;
        config.bandpass = true;
        DataManager manager(config, time);
        manager.beginSegment(&device);
        manager.handleNewDAQData(SamplesPerFrame);

        const int control = allocations;
        EXPECT_FALSE(QByteArray(1000, 'x').isEmpty());
        ASSERT_GT(allocations, control) << "allocations are not seen";
        const int before = allocations;
        for (int i = 0; i < 600; ++i)
            manager.handleNewDAQData(SamplesPerFrame);
        EXPECT_EQ(allocations, before) << "animal " << animal;
        EXPECT_EQ(manager.sleepCounts(0).steps, 7);
    }
}

/// Fails each aligned allocation in turn: it is logged and the rest of the session goes on.
TEST(ProcessingAllocation, MissingMemoryIsLoggedAndCostsOneFilterOnly)
{
    bool failed = true;
    for (int granted = 0; failed; ++granted) {
        test::LogCapture log;
        test::SteppingTimeSource time;
        test::FakeDevice device({test::makeSignal("breathing", 12000, 600.0)});
        DataManager::Config config;
        config.channelCount = 1;
        failAfter = granted;
        DataManager manager(config, time);
        failed = failAfter < 0;
        failAfter = -1;
        manager.beginSegment(&device);
        for (int i = 0; i < 300; ++i)
            manager.handleNewDAQData(SamplesPerFrame);
        EXPECT_EQ(manager.framesProcessed(), 300U);
        const QString text = log.lines().join(QLatin1Char('\n'));
        const bool reported = text.contains(QStringLiteral("Failed to allocate")) ||
                              text.contains(QStringLiteral("failed: not enough memory"));
        EXPECT_EQ(reported, failed) << granted << text.toStdString();
    }
}

} // namespace
} // namespace vt
