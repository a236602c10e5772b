// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_LOGTEST_H
#define TESTS_LOGTEST_H

#include "libccalls.h"
#include "logfolder.h"
#include "loghandler.h"
#include "messagelog.h"
#include "threadtimes.h"
#include "trace.h"

#include <QtCore/QObject>
#include <QtCore/QScopedPointer>

static const QString app = QLatin1String("app");
static const int limit = 102400; // characters

/** Gives each test function records of messages, of writes, and of pauses that are empty. */
class LogTest : public QObject
{
    Q_OBJECT

protected:
    QScopedPointer<MessageLog> messages;
    QScopedPointer<LibcCalls> calls;

protected Q_SLOTS:
    void init();
    void cleanup();
};

#endif
