// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace.h"

#include "debugline.h"
#include "syslogsink.h"
#include "tracecore.h"
#include "tracelevels.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <pthread.h>
#include <sched.h>

using namespace qvcommon;

Trace *Trace::instance = nullptr;
QList<int> Trace::threadIds;
int Trace::linenumber = 1;
QMutex Trace::traceMutex;
bool Trace::syncLogging = false;
bool Trace::blockOnFullQueue = false;
bool flushAfterEachLogMsg = true;

namespace
{

/** Where a thread was found among those that have logged, and how many these were. */
struct KnownPlace {
    int index;
    int threads;
};

// The last places of a few threads, under the lock. The list is everybody's to change, so a place
// counts only if the list agrees with it.
KnownPlace knownPlaces[16];

/** The entry for a thread, rarely shared: the stacks of threads are 8 MB and 4 kB apart. */
KnownPlace &knownPlace(int tid)
{
    return knownPlaces[(unsigned(tid) >> 12) % (sizeof knownPlaces / sizeof *knownPlaces)];
}

/** The place of the calling thread among those that have logged, from 1. */
int threadOrdinal()
{
    const int tid = int(uintptr_t(pthread_self()));
    const QList<int> &threads = Trace::threadIds;
    KnownPlace &place = knownPlace(tid);
    if (place.threads != threads.size() || place.index >= place.threads ||
        threads.at(place.index) != tid) {
        int index = int(threads.indexOf(tid));
        if (index < 0) {
            index = int(threads.size());
            Trace::threadIds.append(tid);
        }
        place.index = index;
        place.threads = int(threads.size());
    }
    return place.index + 1;
}

// The memory of a line that no slot has kept, for the next line; under the lock. Not an object, which
// would need a constructor at load.
QString *spareLine = nullptr;

/** Empty, or memory for a line. */
QString takeSpareLine()
{
    QString line;
    if (spareLine)
        line.swap(*spareLine);
    return line;
}

void keepSpareLine(QString &line)
{
    if (!line.isDetached())
        return;
    // Whoever had a share of it in another thread has read it before he gave it up.
    std::atomic_thread_fence(std::memory_order_acquire);
    if (!spareLine)
        spareLine = new QString;
    spareLine->swap(line);
}

/** Apart from the log calls, which would make room for it before they look at the filter. */
__attribute__((noinline)) void writeAccepted(int level, const QString &className,
                                             const QString &functionName, const QString &message)
{
    TraceCore::write(level, className, functionName, message);
}

} // namespace

Trace::Trace(QObject *parent)
    : QObject(parent)
    , appName(QLatin1String("setAppName_before_using"))
{
    if (load(instance))
        std::exit(-1);
    // Not in the list above: other threads peek at these as soon as there is an instance.
    store(consolePrint, false);
    store(groupMask, 0xffff);
    store(logLevel, 1);
    store(sysLogOpen, false);
    store(instance, this);
}

// A line takes less time than putting a thread to sleep and waking it, so a thread that comes too
// early first lets the others go on; on a single processor too, the lock's owner among them.
void Trace::lock()
{
    const int patience = 20;
    for (int tries = 0; tries < patience; ++tries) {
        if (traceMutex.tryLock())
            return;
        sched_yield();
    }
    traceMutex.lock();
}

void Trace::unlock()
{
    traceMutex.unlock();
}

void Trace::toggleConsolePrint()
{
    store(consolePrint, !peek(consolePrint));
}

// Each of these looks at the filter itself: a line that it drops costs one call.

void Trace::log(int group, int level, const QString &className, const QString &functionName,
                const QString &message)
{
    if (TraceCore::accepts(group, level))
        writeAccepted(level, className, functionName, message);
}

void Trace::logs(const QString &className, const QString &functionName, const QString &message)
{
    if (TraceCore::accepts(TracingGroup, DebugLevel))
        writeAccepted(DebugLevel, className, functionName, message);
}

void Trace::log(const QString &className, const QString &functionName, const QString &message)
{
    if (TraceCore::accepts(TracingGroup, DebugLevel))
        writeAccepted(DebugLevel, className, functionName, message);
}

void Trace::logId(int group, int level, const QString &className, const QString &functionName,
                  const QString &extra, const QString &message)
{
    Q_UNUSED(extra)
    if (TraceCore::accepts(group, level))
        writeAccepted(level, className, functionName, message);
}

void TraceCore::write(int level, const TraceName &className, const TraceName &functionName,
                      const QString &message)
{
    Trace::lock();
    const char *const timestamp = updateTimestamp();
    const TraceFields fields = {Trace::linenumber, className,       functionName,
                                message,           threadOrdinal(), timestamp};
    QString line = takeSpareLine();
    buildTraceLine(line, fields);

    // The instance may have gone while this thread was waiting for the lock.
    Trace *const trace = load(Trace::instance);
    if (!trace || peek(trace->consolePrint))
        DebugLine() << line;
    if (trace) {
        Q_EMIT trace->LogMessage(line);
        // A slot may have destroyed the object.
        if (peek(Trace::instance) == trace && peek(trace->sysLogOpen))
            writeToSyslog(level, message);
    }
    keepSpareLine(line);
    // Starts again from below after the largest.
    Trace::linenumber = int(unsigned(Trace::linenumber) + 1);
    Trace::unlock();
}
