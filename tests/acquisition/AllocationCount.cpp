// SPDX-License-Identifier: GPL-3.0-or-later
#include "AllocationCount.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long allocations = 0;

} // namespace

long vt::test::allocationsOnThisThread()
{
    return allocations;
}

void* operator new(std::size_t size)
{
    ++allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
