// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace/logsource.h"

#include "trace/tracecore.h"

namespace qvcommon
{

void LogSource::log(TraceLevel level, const char *function, const QString &message) const
{
    if (TraceCore::accepts(group, level))
        TraceCore::write(level, className, function, message);
}

void LogSource::log(TraceLevel level, const char *function, const char *message) const
{
    if (TraceCore::accepts(group, level))
        TraceCore::write(level, className, function, QString::fromLatin1(message));
}

} // namespace qvcommon
