// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_REGISTRY_H
#define BENCHMARKS_REGISTRY_H

#include <benchmark/benchmark.h>
#include <functional>
#include <string>
#include <vector>

/**
 * One thing to be timed. The name is "row/side", or "row/side/size" where a row has several sizes:
 * targets.tsv names the rows, and which sides are compared.
 */
struct Timed {
    std::string name;
    std::function<void(benchmark::State &)> run;
};

/** What is compared stands side by side, so that both meet the same neighbours on the machine. */
typedef std::vector<Timed> TimedList;

void addTracing(TimedList &list);
void addDocuments(TimedList &list);
void addSockets(TimedList &list);

/**
 * Ends a benchmark whose result is not what it should be: nothing is reported for it.
 * @return @a holds
 */
inline bool require(benchmark::State &state, bool holds, const char *what)
{
    if (!holds)
        state.SkipWithError(what);
    return holds;
}

#endif
