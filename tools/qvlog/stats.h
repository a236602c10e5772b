// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_STATS_H
#define QVLOG_STATS_H

#include "qvlog/entry.h"

#include <map>
#include <string>

namespace qvlog
{

/** Counts entries by class, thread and minute. */
class Stats
{
public:
    void add(const Entry &entry);
    /** @return the tables, in UTF-8 if asked to */
    std::string text(bool utf8) const;

private:
    typedef std::map<std::string, unsigned long> Table;

    static void count(Table &table, const std::string &key);

    Table classes;
    Table threads;
    Table minutes;
    Table kinds;
};

} // namespace qvlog

#endif
