// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace.h"

#include "common/debugline.h"
#include "trace/syslogsink.h"
#include "trace/tracecore.h"
#include "trace/tracelevels.h"

#include <QtCore/QElapsedTimer>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

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

/** The threads that have begun to write a line and are not done; most of them wait for the lock. */
std::atomic<int> writers(0);

/** The thread that holds the lock and delivers a line, or none. A thread is never 0 on Linux. */
const pthread_t noThread = 0;
std::atomic<pthread_t> deliverer(noThread);

/** Whether lines are dropped because static objects are being destroyed. */
std::atomic<bool> ended(false);

/** The thread that has begun that, or none. */
std::atomic<pthread_t> ender(noThread);

/** Whether a line was still being delivered then, so that a thread may be in any receiver. */
std::atomic<bool> leftInside(false);

/** Whether another thread than this one delivers a line. */
bool isOtherThreadDelivering()
{
    // Not a mere read: the exchange in Turn comes either before this or after it. If it comes before,
    // the thread is seen here. If it comes after, the thread sees what was done before this.
    const pthread_t thread = deliverer.fetch_add(0);
    return thread != noThread && !pthread_equal(thread, pthread_self());
}

/** Waits until a condition holds, or a second has passed. */
template <typename Condition>
void waitBriefly(Condition condition)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition() && !timer.hasExpired(1000))
        usleep(1000);
}

/** A thread's turn to write a line. It ends with the object, also if a slot throws. */
class Turn
{
public:
    Turn()
    {
        // Announced first: the mutex is there until end() has seen that nobody is left.
        ++writers;
        locked = !ended;
        if (!locked)
            return;
        Trace::lock();
        deliverer.exchange(pthread_self());
    }

    ~Turn()
    {
        // Unless end() has taken the lock away.
        pthread_t self = pthread_self();
        if (locked && deliverer.compare_exchange_strong(self, noThread))
            Trace::unlock();
        --writers;
    }

    /** False if the line is to be dropped. */
    bool hasCome() const { return locked && !ended; }

private:
    Q_DISABLE_COPY(Turn)

    bool locked;
};

/** Goes on to the next number at the end of a line, also if a slot throws. */
class NumberUse
{
public:
    NumberUse() {}
    // Wraps around; signed overflow would be undefined.
    ~NumberUse() { Trace::linenumber = int(unsigned(Trace::linenumber) + 1); }

private:
    Q_DISABLE_COPY(NumberUse)
};

/** The place of the calling thread among those that have logged, from 1. */
int threadOrdinal()
{
    const int tid = int(uintptr_t(pthread_self()));
    const int index = int(Trace::threadIds.indexOf(tid));
    if (index >= 0)
        return index + 1;
    Trace::threadIds.append(tid);
    return int(Trace::threadIds.size());
}

} // namespace

Trace::Trace(QObject *parent)
    : QObject(parent)
    , appName(QLatin1String("setAppName_before_using"))
{
    if (load(instance))
        TraceCore::exitProcess();
    // Destroyed before the static members above, because it is constructed later.
    static const EndOfProcess end;
    Q_UNUSED(end)
    // Not in the list above: other threads read these without the lock as soon as there is an
    // instance.
    store(consolePrint, false);
    store(groupMask, 0xffff);
    store(logLevel, 1);
    store(sysLogOpen, false);
    store(instance, this);
}

// To sleep and to be woken costs as much as several lines to a file. So a thread first yields for a
// while. A number of times would not do instead: beside other busy processes each may take
// milliseconds.
void Trace::lock()
{
    if (traceMutex.tryLock())
        return;
    const qint64 patience = 500000; // ns
    QElapsedTimer waiting;
    waiting.start();
    do {
        sched_yield();
        if (traceMutex.tryLock())
            return;
    } while (waiting.nsecsElapsed() < patience);
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

void Trace::log(int group, int level, const QString &className, const QString &functionName,
                const QString &message)
{
    if (TraceCore::accepts(group, level))
        TraceCore::write(level, className, functionName, message);
}

void Trace::logs(const QString &className, const QString &functionName, const QString &message)
{
    log(TracingGroup, DebugLevel, className, functionName, message);
}

void Trace::log(const QString &className, const QString &functionName, const QString &message)
{
    log(TracingGroup, DebugLevel, className, functionName, message);
}

void Trace::logId(int group, int level, const QString &className, const QString &functionName,
                  const QString &extra, const QString &message)
{
    Q_UNUSED(extra)
    log(group, level, className, functionName, message);
}

bool TraceCore::awaitDelivery()
{
    if (leftInside)
        return false;
    // If another thread delivers, it holds the lock, so this one does not.
    if (isOtherThreadDelivering()) {
        Trace::lock();
        Trace::unlock();
    }
    return true;
}

void TraceCore::awaitDeliveryBriefly()
{
    waitBriefly([] { return !isOtherThreadDelivering(); });
}

void TraceCore::end()
{
    pthread_t nobody = noThread;
    if (!ender.compare_exchange_strong(nobody, pthread_self()))
        return;
    ended = true;
    // If this is called in a slot, the line of this thread goes no further.
    if (!pthread_equal(deliverer, pthread_self()))
        waitBriefly([] { return writers == 0; });
    // A line that does not end loses the lock: other threads wait for it, and Qt complains about a
    // mutex that is destroyed while it is locked. This thread unlocks what another one has locked: Qt's
    // mutex for Linux is a futex, which does not know its owner.
    if (deliverer.exchange(noThread) != noThread) {
        leftInside = true;
        Trace::unlock();
        // One may be the line that does not end, or this thread's own.
        waitBriefly([] { return writers <= 1; });
    }
}

void TraceCore::exitProcess()
{
    end();
    // Only one thread may call exit(). If another one is ending the process, this one waits for that.
    while (!pthread_equal(ender, pthread_self()))
        pause();
    std::exit(-1);
}

void TraceCore::write(int level, const TraceName &className, const TraceName &functionName,
                      const QString &message)
{
    if (ended) // or the threads that go on logging would always be some writers
        return;
    const Turn turn;
    if (!turn.hasCome())
        return;
    const char *const timestamp = updateTimestamp();
    const QString line = buildTraceLine(
        {Trace::linenumber, className, functionName, message, threadOrdinal(), timestamp});
    const NumberUse use;

    // The instance may have gone while this thread was waiting for the lock.
    Trace *const trace = load(Trace::instance);
    if (!trace || peek(trace->consolePrint))
        DebugLine() << line;
    if (!trace)
        return;
    Q_EMIT trace->LogMessage(line);
    // A slot may have destroyed the object.
    if (peek(Trace::instance) == trace && peek(trace->sysLogOpen))
        writeToSyslog(level, message);
}
