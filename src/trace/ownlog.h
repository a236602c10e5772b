// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_OWNLOG_H
#define QVCOMMON_OWNLOG_H

#include "tracelevels.h"
#include "traceline.h"

namespace qvcommon
{

/**
 * What the library itself logs with: the same as Trace::log(), but the names are not made into
 * texts of their own for each call, and of a line that the filter drops nothing is made at all.
 */
void logOwn(TraceGroup group, TraceLevel level, const TraceName &className, const char *function,
            const QString &message);
void logOwn(TraceGroup group, TraceLevel level, const TraceName &className, const char *function,
            const char *message);

} // namespace qvcommon

#endif
