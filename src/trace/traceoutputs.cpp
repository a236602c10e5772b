// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace.h"

#include "common/atomics.h"
#include "common/debugline.h"
#include "trace/logsource.h"
#include "trace/syslogsink.h"
#include "trace/tracecore.h"

#include <cerrno>
#include <cstring>

using namespace qvcommon;

static const LogSource source = {TracingGroup, "Trace"};

Trace::~Trace()
{
    DebugLine() << "Delting Trace object";
    store(instance, nullptr);
    // At exit(), threads may still log to a static object.
    TraceCore::awaitDeliveryBriefly();
    closeLoggers();
}

void Trace::openSysLog(QString ident)
{
    if (!load(instance)) {
        DebugLine() << "No Trace Instance";
        return;
    }
    appName = ident;
    store(sysLogOpen, true);
    // Announced first: this line still appears under the name that syslog uses by default.
    source.log(InfoLevel, "openSysLog",
               QString::fromLatin1("Opening syslog with ident: %1").arg(appName));
    openSyslog(appName);
}

void Trace::applyLogFilters(int level, int newGroupMask)
{
    const QChar blank = QLatin1Char(' ');
    if (level >= 0) {
        source.log(InfoLevel, "applyLogFilters",
                   QString::fromLatin1("Setting LogLevel to: %1").arg(level, 0, 10, blank));
        store(logLevel, level);
    }
    if (newGroupMask >= 0) {
        source.log(
            InfoLevel, "applyLogFilters",
            QString::fromLatin1("Setting GroupFilter Mask to: %1").arg(newGroupMask, 16, 2, blank));
        store(groupMask, newGroupMask);
    }
}

void Trace::closeLoggers()
{
    if (!load(sysLogOpen))
        return;
    DebugLine() << "Closing Syslog object";
    closeSyslog();
    store(sysLogOpen, false);
}

QString Trace::getError()
{
    const int error = errno;
    QString text = QString::fromLocal8Bit(std::strerror(error));
    if (error < 0)
        text += QString::fromLatin1("<unknown error> = %1").arg(error);
    return text;
}
