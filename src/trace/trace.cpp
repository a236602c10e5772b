// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace.h"

#include "atomics.h"
#include "debugline.h"
#include "syslogsink.h"
#include "tracelevels.h"
#include "traceline.h"

#include <cstdlib>
#include <pthread.h>
#include <stdint.h>

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

/** The place of the calling thread among those that have logged, from 1. */
int threadOrdinal()
{
    const int tid = int(uintptr_t(pthread_self()));
    int index = int(Trace::threadIds.indexOf(tid));
    if (index < 0) {
        Trace::threadIds.append(tid);
        index = int(Trace::threadIds.indexOf(tid));
    }
    return index + 1;
}

} // namespace

Trace::Trace(QObject *parent)
    : QObject(parent)
    , appName(QLatin1String("setAppName_before_using"))
    , consolePrint(false)
    , groupMask(0xffff)
    , logLevel(1)
    , sysLogOpen(false)
{
    if (load(instance))
        std::exit(-1);
    store(instance, this);
}

void Trace::lock()
{
    traceMutex.lock();
}

void Trace::unlock()
{
    traceMutex.unlock();
}

void Trace::toggleConsolePrint()
{
    store(consolePrint, !load(consolePrint));
}

void Trace::log(int group, int level, const QString &className, const QString &functionName,
                const QString &message)
{
    logId(group, level, className, functionName, QString(), message);
}

void Trace::logs(const QString &className, const QString &functionName, const QString &message)
{
    logId(TracingGroup, DebugLevel, className, functionName, QString(), message);
}

void Trace::log(const QString &className, const QString &functionName, const QString &message)
{
    logs(className, functionName, message);
}

void Trace::logId(int group, int level, const QString &className, const QString &functionName,
                  const QString &extra, const QString &message)
{
    Q_UNUSED(extra)
    const Trace *const filter = load(instance);
    if (!filter || level < load(filter->logLevel) || !(group & load(filter->groupMask)))
        return;

    lock();
    const char *const timestamp = updateTimestamp();
    const TraceFields fields = {linenumber, className,       functionName,
                                message,    threadOrdinal(), timestamp};
    const QString line = traceLine(fields);

    // The instance may have gone while this thread was waiting for the lock.
    Trace *const trace = load(instance);
    if (!trace || load(trace->consolePrint))
        DebugLine() << line;
    if (trace) {
        Q_EMIT trace->LogMessage(line);
        // A slot may have destroyed the object.
        if (load(instance) == trace && load(trace->sysLogOpen))
            writeToSyslog(level, message);
    }
    linenumber = int(unsigned(linenumber) + 1); // starts again from below after the largest
    unlock();
}
