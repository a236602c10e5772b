// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ownlog.h"

#include "tracecore.h"

namespace qvcommon
{

void logOwn(TraceGroup group, TraceLevel level, const TraceName &className, const char *function,
            const QString &message)
{
    if (TraceCore::accepts(group, level))
        TraceCore::write(level, className, function, message);
}

void logOwn(TraceGroup group, TraceLevel level, const TraceName &className, const char *function,
            const char *message)
{
    if (TraceCore::accepts(group, level))
        TraceCore::write(level, className, function, QString::fromLatin1(message));
}

} // namespace qvcommon
