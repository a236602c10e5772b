// SPDX-License-Identifier: LGPL-2.1-or-later
#include "threadtimes.h"

#include <QtCore/QThread>

#include <dlfcn.h>
#include <mutex>

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#    include <climits>
#    define WAIT_SYMBOL "_ZN7QThread4waitEm"
typedef unsigned long WaitTime;
static bool isForEver(WaitTime time)
{
    return time == ULONG_MAX;
}
static qint64 millisecondsOf(WaitTime time)
{
    return qint64(time);
}
#else
#    include <QtCore/QDeadlineTimer>
#    define WAIT_SYMBOL "_ZN7QThread4waitE14QDeadlineTimer"
typedef QDeadlineTimer WaitTime;
static bool isForEver(WaitTime time)
{
    return time.isForever();
}
// What was asked for has begun to pass; as a whole second it is told reliably.
static qint64 millisecondsOf(WaitTime time)
{
    return (time.remainingTime() + 999) / 1000 * 1000;
}
#endif

namespace
{

// No constructors: calls come in before and after those of this file would run.
class Times
{
public:
    void add(qint64 time)
    {
        std::lock_guard<std::mutex> guard(mutex);
        if (count < int(sizeof times / sizeof *times))
            times[count++] = int(time);
    }

    QList<int> take()
    {
        std::lock_guard<std::mutex> guard(mutex);
        QList<int> taken;
        for (int i = 0; i < count; ++i)
            taken << times[i];
        count = 0;
        return taken;
    }

private:
    std::mutex mutex;
    int times[4096];
    int count = 0;
};

Times pauses;
Times waits;
int waitingTime = -1;

} // namespace

QList<int> takePauses()
{
    return pauses.take();
}

QList<int> takeWaits()
{
    return waits.take();
}

void setWaitingTime(int milliseconds)
{
    waitingTime = milliseconds;
}

// By Qt 4's headers they are visible only where Qt itself defines them.
#define EXPORTED __attribute__((visibility("default")))

EXPORTED void QThread::msleep(unsigned long milliseconds)
{
    typedef void (*Call)(unsigned long);
    static const Call call = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "_ZN7QThread6msleepEm"));
    if (milliseconds < 400)
        call(milliseconds);
    else
        pauses.add(qint64(milliseconds));
}

EXPORTED bool QThread::wait(WaitTime time)
{
    typedef bool (*Call)(QThread *, WaitTime);
    static const Call call = reinterpret_cast<Call>(dlsym(RTLD_NEXT, WAIT_SYMBOL));
    if (isForEver(time))
        return call(this, time);
    waits.add(millisecondsOf(time));
    return call(this, waitingTime < 0 ? time : WaitTime(waitingTime));
}
