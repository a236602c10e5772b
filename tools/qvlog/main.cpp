// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/foldermonitor.h"
#include "qvlog/gaps.h"
#include "qvlog/options.h"
#include "qvlog/snapshot.h"
#include "qvlog/stats.h"
#include "qvlog/view.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace
{

using namespace qvlog;

enum Status { Done = 0, Failed = 1, Usage = 2, GapsFound = 6 };

int fail(const std::string &error, Status status)
{
    std::fprintf(stderr, "qvlog: %s%s\n", error.c_str(), status == Usage ? " (try --help)" : "");
    return status;
}

/** Says what has gone wrong in reading. @return whether anything has */
bool reportTroubles(const LogReaders &readers)
{
    bool any = false;
    for (const std::unique_ptr<LogReader> &reader : readers) {
        const std::string trouble = reader->takeTrouble();
        if (!trouble.empty()) {
            fail(trouble, Failed);
            any = true;
        }
    }
    return any;
}

int writeOut(Output &output, Status status)
{
    if (!output.flush())
        return fail(std::string("cannot write: ") + std::strerror(errno), Failed);
    return status;
}

int showText(const std::string &text)
{
    Output output;
    output.text = text;
    return writeOut(output, Done);
}

int finish(Output &output, const LogReaders &readers, Status status)
{
    return writeOut(output, reportTroubles(readers) ? Failed : status);
}

int showEntries(const Options &options, const LogReaders &readers)
{
    Output output;
    Printer printer(options.printer, output);
    FolderMonitor monitor;
    if (options.follow) {
        for (const LogName &log : options.logs)
            monitor.add(log.folder);
    }
    const EntryTaker take = [&](const Entry &entry) {
        printer.add(entry, options.filter.accepts(entry));
        return output.settle();
    };
    bool writable = handOnEntries(readers, options.printer.merged, take);
    printer.endOfPast();
    while (options.follow && writable && output.flush()) {
        reportTroubles(readers);
        monitor.wait();
        writable = handOnEntries(readers, options.printer.merged, take);
    }
    return finish(output, readers, Done);
}

int showStats(const Options &options, const LogReaders &readers)
{
    Stats stats;
    handOnEntries(readers, false, [&](const Entry &entry) {
        if (options.filter.accepts(entry))
            stats.add(entry);
        return true;
    });
    Output output;
    output.text = stats.text(options.printer.format.utf8);
    return finish(output, readers, Done);
}

int showGaps(const LogReaders &readers)
{
    Output output;
    bool any = false;
    Entry entry;
    for (const std::unique_ptr<LogReader> &reader : readers) {
        Gaps gaps;
        while (reader->next(entry) == LogReader::Got)
            gaps.add(entry);
        output.text += gaps.text();
        any = any || gaps.areThere();
    }
    return finish(output, readers, any ? GapsFound : Done);
}

int run(const Options &options)
{
    if (options.action == Options::ShowHelp)
        return showText(helpText());
    if (options.action == Options::ShowVersion)
        return showText("qvlog " QVLOG_VERSION "\n");
    std::string error;
    if (options.action == Options::Snapshot)
        return writeSnapshot(options.logs, options.snapshot, error) ? Done : fail(error, Failed);
    LogReaders readers;
    for (const LogName &log : options.logs) {
        readers.emplace_back(new LogReader(log, options.follow));
        if (!readers.back()->open(options.lastRun, error))
            return fail(error, Failed);
    }
    switch (options.action) {
    case Options::ShowStats:
        return showStats(options, readers);
    case Options::ShowGaps:
        return showGaps(readers);
    default:
        return showEntries(options, readers);
    }
}

} // namespace

int main(int argc, char *argv[])
{
    Options options;
    std::string error;
    if (!parseOptions(argc, argv, options, error))
        return fail(error, Usage);
    return run(options);
}
