// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_OPTIONS_H
#define QVLOG_OPTIONS_H

#include "qvlog/filter.h"
#include "qvlog/logfiles.h"
#include "qvlog/printer.h"

#include <string>
#include <vector>

namespace qvlog
{

/** What the command line asks for. */
struct Options {
    enum Action { ShowEntries, ShowStats, ShowGaps, Snapshot, ShowHelp, ShowVersion };
    Action action = ShowEntries;
    std::vector<LogName> logs;
    Filter filter;
    PrinterOptions printer;
    bool follow = false;
    bool lastRun = false;
    std::string snapshot;
};

/**
 * Reads the command line.
 * @return whether it was understood; if not, error says why in one line
 */
bool parseOptions(int argc, char *argv[], Options &options, std::string &error);

/** @return the text of --help */
std::string helpText();

} // namespace qvlog

#endif
