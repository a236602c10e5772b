// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_TRACE_H
#define QVCOMMON_TRACE_H

/** @file
 *  @brief The class Trace, updateTimestamp() and flushAfterEachLogMsg. */

#include "qvcommonexport.h"

#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QObject>
#include <QtCore/QString>

namespace qvcommon
{
class TraceCore;
}

/**
 * @brief The process-wide log: turns each call into one numbered, time-stamped line.
 *
 * The application constructs exactly one Trace, early. From then on every thread may log through
 * the static calls; before that, and after its destruction, log calls are dropped silently.
 *
 * @code
 * Trace trace(nullptr);
 * trace.toggleConsolePrint();                              // lines also on Qt's debug output
 * Trace::log(8, 2, "Pump", "start", "Pump is running");    // group 8, level 2
 * @endcode
 *
 * A line holds the line number (5 columns), the class (30), the function (30), the message (80),
 * the ordinal of the logging thread and the local time with milliseconds:
 *
 * @verbatim
     1 Pump                           start                          Pump is running                                                                 , tid=1, 2024-03-01 13:04:05.042
 @endverbatim
 *
 * Messages of 80 to 359 characters stand on lines of their own below a "[Long message(n)]" header
 * line, from 180 characters on split in two; messages of 360 characters and more give an empty
 * line, which is numbered and delivered like any other.
 *
 * **Levels**: 1 debug (never sent to syslog), 2 information, 3 warning, 4 error, 5 critical. A
 * line is accepted when its level is at least the threshold, 1 at first.
 *
 * **Groups**: a bit mask. A line is accepted when its group and the mask, 65535 at first, have a
 * bit in common. The library itself logs as group 1 (tracing) and group 8 (devices and daemons).
 *
 * **Threads**: log(), logs(), logId(), lock() and unlock() may be called from any thread, and the
 * filters may be changed while others log. Construct, open, close and destroy the object in one
 * thread. Threads that log should have stopped when it is destroyed; a line that one of them is
 * delivering is waited for, for a second at most.
 *
 * **The end of the process**: threads may go on logging through exit(). When it comes to static objects
 * that were constructed before the first Trace, or before the first LogHandler::open(), log calls are
 * dropped: the destructors of such objects log nothing.
 *
 * **A slot that throws** leaves its line unfinished; the next line gets the next number.
 */
class QVCOMMON_EXPORT Trace : public QObject
{
    Q_OBJECT
public:
    /**
     * Becomes Trace::instance.
     * A second Trace while one exists is a programming error: the process ends with status 255.
     * @param parent owner of the object, or null
     */
    explicit Trace(QObject *parent);

    /** Closes syslog if it is open; log calls are dropped from here on. */
    virtual ~Trace();

    /**
     * Logs one message.
     * @param group bit mask of the groups the message belongs to
     * @param level 1 to 5; other levels are written too, but never reach syslog
     * @param className the class that reports, as written in the source
     * @param functionName the function that reports, without arguments
     * @param message any text; runs of white space show as one blank, except in syslog
     */
    static void log(int group, int level, const QString &className, const QString &functionName,
                    const QString &message);

    /** Logs a debug message of the tracing group: group 1, level 1. */
    static void logs(const QString &className, const QString &functionName, const QString &message);

    /** The same as logs(). */
    static void log(const QString &className, const QString &functionName, const QString &message);

    /**
     * Opens syslog, or opens it again under another name; facility local0, with the process id.
     * The line that announces it goes to syslog before the name is set.
     * @param ident the name under which the process appears in syslog
     */
    void openSysLog(QString ident);

    /**
     * Changes what is accepted from now on. Each change is itself logged under the old filter.
     * @param level new threshold; negative leaves it as it is, above 5 silences everything
     * @param groupMask new mask; negative leaves it as it is, 0 silences everything
     */
    void applyLogFilters(int level, int groupMask);

    /** Closes syslog if it is open. */
    void closeLoggers();

    /** The system's text for the current value of errno. */
    static QString getError();

public Q_SLOTS:
    /** Switches the copy of every accepted line on Qt's debug output on or off; off at first. */
    void toggleConsolePrint();

Q_SIGNALS:
    /**
     * An accepted line, without a newline at its end.
     * Emitted from the logging thread with the lock held, in the order of the line numbers: a slot
     * connected directly must not log.
     */
    void LogMessage(const QString &line);

public:
    /** @name For special use
     *  @{ */

    /**
     * Does the work of the calls above.
     * @param extra accepted and ignored
     */
    static void logId(int group, int level, const QString &className, const QString &functionName,
                      const QString &extra, const QString &message);

    /**
     * Locks the mutex under which lines are built and delivered. It is not recursive: a thread
     * that holds it must not log.
     */
    static void lock();

    /** Unlocks what lock() locked. */
    static void unlock();

    /** The one Trace, or null. */
    static Trace *instance;
    /** Every thread that has logged, in order of its first line; a thread's tid is its index + 1. */
    static QList<int> threadIds;
    /** The number of the next line. */
    static int linenumber;
    /** Held while a line is built and delivered. */
    static QMutex traceMutex;
    /** Not read by the library; at the application's disposal. */
    static bool syncLogging;
    /** Not read by the library; at the application's disposal. */
    static bool blockOnFullQueue;
    /** @} */

private:
    Q_DISABLE_COPY(Trace)
    friend class qvcommon::TraceCore;

    QString appName;
    bool consolePrint;
    int groupMask;
    int logLevel;
    bool sysLogOpen;
};

/**
 * @relatesalso Trace
 * Writes the current local time into the buffer that trace lines take it from.
 * Call it with Trace::lock() held. A changed TZ is seen at once, a changed system time zone with the
 * next second.
 * @return the buffer, for example "2024-03-01 13:04:05.042"; it lives as long as the process
 */
QVCOMMON_EXPORT char *updateTimestamp();

/**
 * @relatesalso LogHandler
 * Whether the log file is flushed after every line; true at first.
 */
extern QVCOMMON_EXPORT bool flushAfterEachLogMsg;

#endif
