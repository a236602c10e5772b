// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_REQUIRE_H
#define BENCHMARKS_REQUIRE_H

/** Ends the program with an error. */
[[noreturn]] void endWith(const char *error);

/**
 * Ends the program unless something holds: what goes wrong is no measurement. It is inline to cost
 * next to nothing where it is part of what is measured.
 */
inline void require(bool holds, const char *error)
{
    if (!holds)
        endWith(error);
}

#endif
