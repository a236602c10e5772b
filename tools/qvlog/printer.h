// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_PRINTER_H
#define QVLOG_PRINTER_H

#include "qvlog/entry.h"
#include "qvlog/format.h"
#include "qvlog/output.h"

#include <cstddef>
#include <deque>
#include <map>
#include <string>

namespace qvlog
{

/** What of the entries is shown beside those that are wanted. */
struct PrinterOptions {
    Format format;
    std::size_t before = 0; ///< entries of context
    std::size_t after = 0;
    bool hasLast = false;
    std::size_t last = 0; ///< how many of the lines there are at first
    bool quiet = false;   ///< no marks between runs
    bool merged = false;  ///< several logs are one
};

/** Shows entries with their context. */
class Printer
{
public:
    Printer(const PrinterOptions &options, Output &output);

    void add(const Entry &entry, bool wanted);
    /** All that was there at first has come; what follows is shown at once. */
    void endOfPast();

private:
    /** What came just before in the same log. */
    struct Surroundings {
        std::deque<Entry> context; ///< entries that may come before one that is wanted
        std::size_t afterLeft = 0;
        bool skipped = true; ///< whether entries were left out since the last one shown
    };

    void print(const Entry &entry);
    void put(std::string &line);

    const PrinterOptions options;
    Output &output;
    std::map<const std::string *, Surroundings> surroundings;
    bool anyShown;
    bool past;
    std::map<const std::string *, int> shownRuns;
    std::deque<std::string> lastLines;
    std::string line;
};

} // namespace qvlog

#endif
