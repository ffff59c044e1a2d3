// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#include "Allocations.h"

#include <atomic>

namespace {

std::atomic<std::size_t> allocations = 0;

} // namespace

std::size_t allocationCount()
{
    return allocations;
}

extern "C" {

// The C library's own names of the functions replaced below.
void* libraryMalloc(std::size_t size) asm("__libc_malloc");
void* libraryCalloc(std::size_t count, std::size_t size) asm("__libc_calloc");
void* libraryRealloc(void* memory, std::size_t size) asm("__libc_realloc");

void* malloc(std::size_t size) noexcept
{
    ++allocations;
    return libraryMalloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    ++allocations;
    return libraryCalloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept
{
    ++allocations;
    return libraryRealloc(memory, size);
}
}
