// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_SYSTEMCALLS_H
#define TESTS_SYSTEMCALLS_H

#include <QtCore/QList>
#include <QtCore/QString>

#include <functional>
#include <string>
#include <time.h>

/**
 * Stands in for calls of the C library: this program's own definitions come before the C
 * library's, for the library under test and for Qt too.
 */

/** Stops the clock of gettimeofday(). */
void setTimeOfDay(time_t seconds, long microseconds);

/** Lets gettimeofday() fail until the clock is set again. */
void failTimeOfDay();

/** How often gettimeofday() has been called. */
int timeOfDayCalls();

/** How often the calling thread has allocated memory; -1 where a sanitizer owns the allocator. */
long allocations();

/** Records calls of openlog(), syslog() and closelog() while the object lives. */
class SyslogRecord
{
public:
    struct Call {
        enum Kind { Open, Message, Close } kind;
        int priority;       ///< or the options of openlog()
        int facility;       ///< of openlog()
        std::string text;   ///< the format as given, or the ident
        std::string result; ///< the text with its conversions done
    };

    SyslogRecord();
    ~SyslogRecord();

    QList<Call> calls;
    /** Called at the beginning of every call. */
    std::function<void(Call::Kind)> before;

private:
    Q_DISABLE_COPY(SyslogRecord)
};

#endif
