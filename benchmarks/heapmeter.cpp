// SPDX-License-Identifier: LGPL-2.1-or-later
#include "heapmeter.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <malloc.h>
#include <stdlib.h>

namespace
{

std::atomic<long> inUse(0);
std::atomic<long> peak(0);
std::atomic<long> requests(0);

void *added(void *memory)
{
    const long now = inUse += long(malloc_usable_size(memory));
    long highest = peak;
    while (now > highest && !peak.compare_exchange_weak(highest, now)) {
    }
    ++requests;
    return memory;
}

void removed(void *memory)
{
    inUse -= long(malloc_usable_size(memory));
}

/** A number of kB from /proc/self/status, in bytes. */
long statusValue(const char *name)
{
    FILE *const file = std::fopen("/proc/self/status", "r");
    char line[256];
    long value = 0;
    while (file && std::fgets(line, sizeof line, file)) {
        if (std::strncmp(line, name, std::strlen(name)) == 0)
            value = std::strtol(line + std::strlen(name), nullptr, 10) * 1024;
    }
    if (file)
        std::fclose(file);
    return value;
}

} // namespace

// The program's own definitions come before the C library's, for all libraries too.
extern "C" {

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *memory);

#define REPLACES_LIBC __attribute__((visibility("default")))

REPLACES_LIBC void *malloc(size_t size)
{
    return added(__libc_malloc(size));
}

REPLACES_LIBC void *calloc(size_t count, size_t size)
{
    return added(__libc_calloc(count, size));
}

REPLACES_LIBC void *realloc(void *memory, size_t size)
{
    removed(memory);
    void *const moved = __libc_realloc(memory, size);
    if (!moved && size > 0)
        added(memory);
    return added(moved);
}

REPLACES_LIBC void *memalign(size_t alignment, size_t size)
{
    return added(__libc_memalign(alignment, size));
}

REPLACES_LIBC void *aligned_alloc(size_t alignment, size_t size)
{
    return added(__libc_memalign(alignment, size));
}

REPLACES_LIBC int posix_memalign(void **memory, size_t alignment, size_t size)
{
    *memory = added(__libc_memalign(alignment, size));
    return *memory ? 0 : ENOMEM;
}

REPLACES_LIBC void free(void *memory)
{
    removed(memory);
    __libc_free(memory);
}

} // extern "C"

long heapInUse()
{
    return inUse;
}

long heapPeak()
{
    return peak;
}

long heapRequests()
{
    return requests;
}

long residentSize()
{
    return statusValue("VmRSS:");
}

long residentPeak()
{
    return statusValue("VmHWM:");
}

void resetPeaks()
{
    peak = inUse.load();
    FILE *const file = std::fopen("/proc/self/clear_refs", "w");
    if (file) {
        std::fputs("5", file);
        std::fclose(file);
    }
}
