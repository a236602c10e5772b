// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/stats.h"

#include "qvlog/format.h"
#include "qvlog/texts.h"

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

namespace qvlog
{

namespace
{

/** So that a strange log does not take all memory; what comes beyond is counted together. */
const std::size_t mostRows = 10000;
const char otherRows[] = "(others)";

typedef std::pair<std::string, unsigned long> Row;

void appendTable(std::string &out, const char *title, const std::vector<Row> &rows, bool utf8)
{
    if (!out.empty())
        out += '\n';
    out += title + std::string("\n");
    for (const Row &row : rows) {
        char number[32];
        std::snprintf(number, sizeof number, "%10lu  ", row.second);
        out += number;
        appendReadable(out, row.first.data(), row.first.size(), utf8);
        out += '\n';
    }
}

/** The most frequent first. */
std::vector<Row> byCount(const std::map<std::string, unsigned long> &table)
{
    std::vector<Row> rows(table.begin(), table.end());
    std::stable_sort(rows.begin(), rows.end(),
                     [](const Row &a, const Row &b) { return a.second > b.second; });
    return rows;
}

} // namespace

void Stats::count(Table &table, const std::string &key)
{
    const Table::iterator found = table.find(key);
    if (found != table.end())
        ++found->second;
    else
        ++table[table.size() < mostRows ? key : otherRows];
}

void Stats::add(const Entry &entry)
{
    const std::size_t minute = 16; // the characters of a time down to it
    ++kinds[kindName(entry.kind)];
    if (entry.kind != Entry::Line)
        return;
    count(classes, entry.className);
    count(threads, entry.thread);
    count(minutes, entry.sortTime.substr(0, minute));
}

std::string Stats::text(bool utf8) const
{
    std::string out;
    appendTable(out, "by kind", byCount(kinds), utf8);
    appendTable(out, "by class", byCount(classes), utf8);
    appendTable(out, "by thread", byCount(threads), utf8);
    appendTable(out, "by minute", std::vector<Row>(minutes.begin(), minutes.end()), utf8);
    return out;
}

} // namespace qvlog
