// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_ALLOCATIONS_H
#define TESTS_ALLOCATIONS_H

/**
 * How often the calling thread has allocated memory; -1 where a sanitizer owns the allocator.
 *
 * A program links qvcommon_allocations for it, whose malloc() comes before the C library's.
 */
long allocations();

#endif
