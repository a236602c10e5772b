// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_KIVLOG_H
#define QVCOMMON_KIVLOG_H

#include "trace/logsource.h"

namespace qvcommon
{

/** What the daemon client logs as. */
const LogSource kivSource = {DeviceGroup, "KivInterface"};

/** Logs one token of a body. */
inline void logXmlNode(const char *format, const QString &text)
{
    kivSource.log(DebugLevel, "debugXmlNode", QString::fromLatin1(format).arg(text));
}

/** Logs that a body has ended where more of it was expected. */
inline void logEndOfDocument(const QString &name = QString())
{
    logXmlNode("xmlEndDoc: %1", name);
}

} // namespace qvcommon

#endif
