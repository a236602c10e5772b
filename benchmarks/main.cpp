// SPDX-License-Identifier: LGPL-2.1-or-later

// The timed comparisons. One run of this program is one round; ./bench makes several.

#include "messagelog.h"
#include "registry.h"

#include <QtCore/QCoreApplication>

#include <algorithm>
#include <cstring>

int main(int argc, char **argv)
{
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
