// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/printer.h"

namespace qvlog
{

Printer::Printer(const PrinterOptions &printerOptions, Output &out)
    : options(printerOptions)
    , output(out)
    , anyShown(false)
    , past(true)
{
    output.text += options.format.heading();
}

void Printer::add(const Entry &entry, bool wanted)
{
    const bool hasContext = options.before > 0 || options.after > 0;
    Surroundings &around = surroundings[options.merged ? nullptr : entry.log];
    if (wanted) {
        if (hasContext && around.skipped && anyShown && options.format.isForPeople())
            put(line = "--\n");
        for (const Entry &earlier : around.context)
            print(earlier);
        around.context.clear();
        print(entry);
        around.skipped = false;
        around.afterLeft = options.after;
        return;
    }
    if (around.afterLeft > 0) {
        --around.afterLeft;
        print(entry);
        return;
    }
    if (options.before > 0)
        around.context.push_back(entry);
    if (around.context.size() > options.before) {
        around.context.pop_front();
        around.skipped = true;
    }
    around.skipped = around.skipped || options.before == 0;
}

void Printer::print(const Entry &entry)
{
    anyShown = true;
    int &run = shownRuns[entry.log];
    if (run != entry.run && options.format.isForPeople() && !options.quiet)
        put(line = options.format.runMark(entry));
    run = entry.run;
    line.clear();
    options.format.append(line, entry);
    put(line);
}

void Printer::put(std::string &text)
{
    if (!past || !options.hasLast) {
        output.text += text;
        return;
    }
    lastLines.push_back(text);
    if (lastLines.size() > options.last)
        lastLines.pop_front();
}

void Printer::endOfPast()
{
    past = false;
    for (const std::string &text : lastLines)
        output.text += text;
    lastLines.clear();
}

} // namespace qvlog
