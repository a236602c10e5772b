// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_KIVLOG_H
#define QVCOMMON_KIVLOG_H

#include "ownlog.h"
#include "tracecore.h"

namespace qvcommon
{

/** Logs a message of the daemon client. */
inline void logKiv(TraceLevel level, const char *function, const QString &message)
{
    logOwn(DeviceGroup, level, "KivInterface", function, message);
}

inline void logKiv(TraceLevel level, const char *function, const char *message)
{
    logOwn(DeviceGroup, level, "KivInterface", function, message);
}

/** Logs one token of a body. */
inline void logXmlNode(const char *format, const QString &text)
{
    if (TraceCore::accepts(DeviceGroup, DebugLevel))
        logKiv(DebugLevel, "debugXmlNode", QString::fromLatin1(format).arg(text));
}

/** Logs that a body has ended where more of it was expected. */
inline void logEndOfDocument(const QString &name = QString())
{
    logXmlNode("xmlEndDoc: %1", name);
}

} // namespace qvcommon

#endif
