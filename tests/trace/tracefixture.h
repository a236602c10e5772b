// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_TRACEFIXTURE_H
#define TESTS_TRACEFIXTURE_H

#include "kivlogs.h"
#include "libccalls.h"
#include "messagelog.h"
#include "texts.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QObject>
#include <QtCore/QScopedPointer>
#include <QtCore/QStringList>
#include <QtTest/QTest>

#include <stdlib.h>

/**
 * Lets each test function begin with line 1 and no known threads, at a time that stands still, and
 * checks that Qt has warned of nothing.
 */
class TraceFixture : public QObject
{
    Q_OBJECT

protected:
    /** Begins to note what this Trace delivers, line by line, and what it does with syslog. */
    void keepJournal(Trace &trace);

    QScopedPointer<MessageLog> messages;
    QScopedPointer<LibcCalls> calls;

protected Q_SLOTS:
    void init();
    void cleanup();

private Q_SLOTS:
    void noteLine(const QString &line) { calls->note(line); }
};

/** What main() does, in a locale and a time zone that are the same everywhere. */
template <typename Test>
int runTraceTest(int argc, char *argv[])
{
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("TZ", "UTC0", 1);
    QCoreApplication application(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

const int defaultMask = 65535;

/** What the clock stands at, as lines show it. */
extern const char stamp[];

QString blanks(int count);
QString pad(const QString &text, int columns);
/** A text without white space that looks different at every place near another. */
QString letters(int length);

/** All in front of the message, where a class and a function fill their columns. */
QString names(int number, const char *className = "Pump", const char *function = "start");
/** All behind the message. */
QString tail(int thread = 1);

/** Line 1 of the one-line form with a message that is simple already. */
QString line(const QString &message);
QString line(const char *message);
QString numbered(int number, const char *message);
/** What follows the length of a long message. */
extern const char gap[];
/** The first line of a long message with @a length characters. */
QString header(const char *length);
/** A line of the trace machinery's own. */
QString own(int number, const char *function, const char *message);
/** As the debug output shows a line. */
QString shown(const QString &line);

/** Logs for Pump, start: in group 8 with level 2, or "on". */
void log(const QString &message);
void log(const char *message);
void log(int group, int level);

/** Logs the "message" of the test's row and compares the line with what is "expected". */
void compareLine();

/** As Trace::threadIds has it. */
int thisThread();

#endif
