// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_KIVLOG_H
#define QVCOMMON_KIVLOG_H

#include "trace.h"
#include "tracelevels.h"

namespace qvcommon
{

/** Logs a message of the daemon client. */
inline void logKiv(TraceLevel level, const char *function, const QString &message)
{
    Trace::log(DeviceGroup, level, QLatin1String("KivInterface"), QLatin1String(function), message);
}

inline void logKiv(TraceLevel level, const char *function, const char *message)
{
    logKiv(level, function, QString::fromLatin1(message));
}

/** Logs one token of a body. */
inline void logXmlNode(const char *format, const QString &text)
{
    logKiv(DebugLevel, "debugXmlNode", QString::fromLatin1(format).arg(text));
}

/** Logs that a body has ended where more of it was expected. */
inline void logEndOfDocument(const QString &name = QString())
{
    logXmlNode("xmlEndDoc: %1", name);
}

} // namespace qvcommon

#endif
