// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_TIMEARG_H
#define QVLOG_TIMEARG_H

#include <ctime>
#include <string>

namespace qvlog
{

/**
 * Reads a point in time: "2024-03-01", "2024-03-01 13:04[:05[.042]]", "13:04[:05[.042]]" of today,
 * "today", "yesterday", "now", or "-90s", "-5min", "-2h", "-1d" before now.
 * @param time as times stand in the log, down to what was given
 * @return whether it was understood
 */
bool parseTime(const std::string &text, std::time_t now, std::string &time);

/** Compares two times of the log; years may have more than four digits. */
bool isEarlier(const std::string &a, const std::string &b);

} // namespace qvlog

#endif
