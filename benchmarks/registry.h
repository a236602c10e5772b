// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_REGISTRY_H
#define BENCHMARKS_REGISTRY_H

#include <QtCore/QByteArray>

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

/**
 * Uses as much memory as a document of that size may take on either side, and frees it again. What
 * has been free for long, a virtual machine gets from its host when it is used, at a price that
 * nothing else here comes near to.
 */
inline void fetchMemory(const QByteArray &document)
{
    const std::vector<char> memory(size_t(document.size()) * 10, 'x');
    benchmark::DoNotOptimize(memory.data());
}

#endif
