// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_TRACECORE_H
#define QVCOMMON_TRACECORE_H

#include "common/atomics.h"
#include "trace.h"
#include "trace/traceline.h"

namespace qvcommon
{

/** What all log calls have in common: the filter, and the writing of a line that passes it. */
class TraceCore
{
public:
    /**
     * The filter. Always inlined, because the compiler then lets a dropped line go straight on to its
     * return: as many instructions, but a tenth less time.
     */
    __attribute__((always_inline)) static bool accepts(int group, int level)
    {
        const Trace *const filter = peek(Trace::instance);
        return filter && level >= peek(filter->logLevel) && (group & peek(filter->groupMask));
    }

    /** Numbers and delivers a line that the filter has accepted. */
    static void write(int level, const TraceName &className, const TraceName &functionName,
                      const QString &message);

    /**
     * Waits until no other thread is delivering a line. Those that begin later see what this thread
     * has changed before: it may delete a receiver that it has disconnected.
     *
     * The lock is not taken if nobody delivers, so the calling thread may hold it.
     * @return false if the process is ending and a thread may still be in the receiver
     */
    static bool awaitDelivery();

    /** The same, but for a second at most. */
    static void awaitDeliveryBriefly();

    /**
     * Drops all log calls from now on, because the static objects are going to be destroyed. Waits
     * until the lines that are being written are done, but for a second at most.
     */
    static void end();

    /** Ends the process with status 255, or waits until another thread that is at it has done so. */
    static void exitProcess() __attribute__((noreturn));
};

/**
 * A static object of this class ends the tracing with exit(). Static objects that were made before it
 * live longer: make one when all is there that a line needs, Qt's own included.
 */
class EndOfProcess
{
public:
    EndOfProcess() {}
    ~EndOfProcess() { TraceCore::end(); }

private:
    Q_DISABLE_COPY(EndOfProcess)
};

} // namespace qvcommon

#endif
