// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_LOGCONNECTION_H
#define TESTS_LOGCONNECTION_H

#include "loghandler.h"
#include "trace.h"

/** How an application connects a log handler; before Qt 5 only by name. */
enum LogConnection { ByName, ByPointer, ByFunction };

inline bool isPossible(LogConnection form)
{
    return form == ByName || QT_VERSION >= QT_VERSION_CHECK(5, 0, 0);
}

inline void connectTo(LogHandler *handler, LogConnection form, Qt::ConnectionType type)
{
    Trace *const trace = Trace::instance;
#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
    if (form == ByPointer)
        QObject::connect(trace, &Trace::LogMessage, handler, &LogHandler::logMessage, type);
    if (form == ByFunction)
        QObject::connect(
            trace, &Trace::LogMessage, handler,
            [handler](const QString &line) { handler->logMessage(line); }, type);
#endif
    if (form == ByName)
        QObject::connect(trace, SIGNAL(LogMessage(QString)), handler, SLOT(logMessage(QString)),
                         type);
}

#endif
