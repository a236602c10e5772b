// SPDX-License-Identifier: LGPL-2.1-or-later

// The timed comparisons. One run of this program is one round; ./bench makes several.

#include "messagelog.h"
#include "registry.h"

#include <QtCore/QCoreApplication>

#include <algorithm>
#include <cstring>
#include <malloc.h>

// A block above this size comes from the system each time, as it does on a 32-bit machine. By
// itself the C library of a 64-bit one may keep blocks of up to 32 MB instead, depending on what was
// freed before, and what a large message costs on either side depended on that.
static void allocateAsOnTheBoard()
{
    const int largestKept = 512 * 1024;
    mallopt(M_MMAP_THRESHOLD, largestKept);
    mallopt(M_TRIM_THRESHOLD, 2 * largestKept);
}

int main(int argc, char **argv)
{
    allocateAsOnTheBoard();
    QCoreApplication application(argc, argv);
    const MessageLog messages; // what Qt's debug output costs is no part of this

    TimedList list;
    addTracing(list);
    addDocuments(list);
    addSockets(list);
    // Every other round the other side comes first.
    if (argc > 1 && std::strcmp(argv[1], "--backwards") == 0) {
        std::reverse(list.begin(), list.end());
        std::copy(argv + 2, argv + argc, argv + 1);
        --argc;
    }
    for (const Timed &timed : list)
        benchmark::RegisterBenchmark(timed.name.c_str(), timed.run);

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    return benchmark::RunSpecifiedBenchmarks() == 0;
}
