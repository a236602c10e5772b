// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_TRACELINE_H
#define QVCOMMON_TRACELINE_H

#include <QtCore/QString>

namespace qvcommon
{

/** What a trace line is made of. */
struct TraceFields {
    int number;
    const QString &className;
    const QString &functionName;
    const QString &message;
    int threadOrdinal;
    const char *timestamp;
};

/** Builds the line for @a fields in one pass. */
QString traceLine(const TraceFields &fields);

/**
 * The same line, filled in by one replacement after the other as QString::arg() does it: what is
 * filled in takes part in the next replacement, so texts with placeholders in them need this one.
 */
QString traceLineByArg(const TraceFields &fields);

/**
 * QString::simplified() with the white space that Qt 4 knows; later versions also take U+0085 for
 * white space, but no longer U+180E.
 */
QString simplified(const QString &text);

} // namespace qvcommon

#endif
