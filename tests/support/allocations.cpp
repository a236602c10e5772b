// SPDX-License-Identifier: LGPL-2.1-or-later
#include "allocations.h"

#include <cstddef>

#if defined(__has_feature)
#    if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#        define SANITIZER_ALLOCATES
#    endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#    define SANITIZER_ALLOCATES
#endif

#ifdef SANITIZER_ALLOCATES

long allocations()
{
    return -1;
}

#else

static __thread long allocated = 0;

long allocations()
{
    return allocated;
}

#    define EXPORTED extern "C" __attribute__((visibility("default")))

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);
}

EXPORTED void *malloc(size_t size) noexcept
{
    ++allocated;
    return __libc_malloc(size);
}

EXPORTED void *calloc(size_t count, size_t size) noexcept
{
    ++allocated;
    return __libc_calloc(count, size);
}

EXPORTED void *realloc(void *memory, size_t size) noexcept
{
    ++allocated;
    return __libc_realloc(memory, size);
}

#endif
