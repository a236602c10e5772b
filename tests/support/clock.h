// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_TESTS_CLOCK_H
#define QVCOMMON_TESTS_CLOCK_H

#include <chrono>
#include <ctime>

/** The present second, of the clock that the library reads. That of time() is up to a tick behind. */
inline std::time_t currentSecond()
{
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

#endif
