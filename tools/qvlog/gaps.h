// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_GAPS_H
#define QVLOG_GAPS_H

#include "qvlog/entry.h"

#include <cstddef>
#include <string>
#include <vector>

namespace qvlog
{

/**
 * Finds the numbers that are missing in one log. Numbers need not come in order: without an
 * explicit kind of connection, several threads' lines overtake each other.
 */
class Gaps
{
public:
    void add(const Entry &entry);
    /** @return a line for each gap found so far, and one for the sum */
    std::string text() const;
    bool areThere() const { return !gaps.empty() || forgotten > 0; }

private:
    struct Gap {
        int run;
        long long first;
        long long last;
        std::string before; ///< the time of the last entry before it
        std::string after;
    };

    void addLate(long long number);

    std::string logName;
    int run = 0;
    long long highest = 0; ///< the number that the run has reached
    std::string lastTime;
    std::vector<Gap> gaps;
    std::size_t forgotten = 0; ///< gaps beyond those that are kept
};

} // namespace qvlog

#endif
