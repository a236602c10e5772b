// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_TRACECORE_H
#define QVCOMMON_TRACECORE_H

#include "atomics.h"
#include "trace.h"
#include "traceline.h"

namespace qvcommon
{

/** What all log calls are made of: a filter that costs next to nothing, and the work behind it. */
class TraceCore
{
public:
    __attribute__((always_inline)) static bool accepts(int group, int level)
    {
        // Laid out for lines that are dropped for their level: the others have more to do anyway.
        const Trace *const filter = peek(Trace::instance);
        return Q_LIKELY(filter) && Q_UNLIKELY(level >= peek(filter->logLevel)) &&
               (group & peek(filter->groupMask));
    }

    /** Numbers and delivers a line that the filter has accepted. */
    static void write(int level, const TraceName &className, const TraceName &functionName,
                      const QString &message);
};

} // namespace qvcommon

#endif
