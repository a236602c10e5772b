// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_LOGSOURCE_H
#define QVCOMMON_LOGSOURCE_H

#include "trace/tracelevels.h"

#include <QtCore/QString>

namespace qvcommon
{

/**
 * A class of the library that logs. log() is Trace::log() without texts for the names, and of a line
 * that the filter drops nothing is made at all.
 */
struct LogSource {
    TraceGroup group;
    const char *className;

    void log(TraceLevel level, const char *function, const QString &message) const;
    void log(TraceLevel level, const char *function, const char *message) const;
};

} // namespace qvcommon

#endif
