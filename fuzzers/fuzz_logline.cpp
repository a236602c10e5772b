// SPDX-License-Identifier: LGPL-2.1-or-later

// A call of Trace::log() behind any filter, with any texts: the line, its copy on Qt's debug output
// and what reaches syslog. The input has a line of numbers, see Call, one for the class, one for the
// function, and the message behind it. The line is compared with the chain of QString::arg() calls
// that lays it down.
//
// Covers: src/trace/traceline.cpp src/trace/trace.cpp src/trace/syslogsink.cpp
// Covers: src/trace/timestamp.cpp src/trace/traceoutputs.cpp

#include "formatproblem.h"
#include "fuzzing.h"
#include "kivlogs.h"
#include "libccalls.h"
#include "messagelog.h"
#include "plainline.h"
#include "plainreceiver.h"
#include "trace.h"

#include <QtCore/QStringList>

#include <cstdio>
#include <cstring>
#include <ctime>

using qvcommon::TraceFields;

namespace
{

enum Option { Console = 1, Syslog = 2, Unnamed = 4, WithExtra = 8 };

/** What the input asks for. */
struct Call {
    int level;
    int group;
    int threshold;
    int mask;
    int number;
    int ordinal;
    long long seconds;
    int microseconds;
    int options;
    QString className;
    QString function;
    QString message;
};

Call callOf(const QByteArray &bytes)
{
    QString rest = textOf(bytes);
    const QList<QByteArray> numbers = takeLine(rest).toLatin1().split(' ');
    int fields[9] = {};
    for (int i = 0; i < 9 && i < int(numbers.size()); ++i)
        fields[i] = numbers[i].toInt();
    const long long seconds = numbers.size() > 6 ? numbers[6].toLongLong() : 0;
    Call call = {fields[0], fields[1],      fields[2],      fields[3],
                 fields[4], fields[5],      seconds,        int(unsigned(fields[7]) % 1000000),
                 fields[8], takeLine(rest), takeLine(rest), QString()};
    call.message = rest;
    return call;
}

/** The time as lines show it, from the C library. */
QByteArray plainTime(const Call &call)
{
    const time_t seconds = time_t(call.seconds);
    char text[100] = "";
    struct tm parts;
    if (localtime_r(&seconds, &parts))
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    char milliseconds[8];
    std::snprintf(milliseconds, sizeof milliseconds, ".%03d", call.microseconds / 1000);
    return QByteArray(text).append(milliseconds);
}

/** What should come of calls, written down step by step. */
class PlainTrace
{
public:
    explicit PlainTrace(const Call &call)
        : time(plainTime(call))
        , number(call.number)
        , level(1)
        , mask(65535)
        , console(call.options & Console)
        , syslog(false)
    {
    }

    void log(int group, int lineLevel, const QString &className, const QString &function,
             const QString &message)
    {
        if (lineLevel < level || (group & mask) == 0)
            return;
        const QString line = plainLine({number, className, function, message, 1, time.constData()});
        number = int(unsigned(number) + 1);
        lines << line;
        if (console)
            shownLines << MessageLog::asHandled(QLatin1Char('"') + line + QLatin1String("\" "));
        const int priorities[] = {6, 4, 3, 2}; // of the levels 2 to 5
        if (syslog && lineLevel >= 2 && lineLevel <= 5) {
            syslogPriorities << QString::number(priorities[lineLevel - 2]);
            syslogMessages << message.toLocal8Bit().constData(); // up to a NUL
        }
    }

    void own(const char *function, const QString &message)
    {
        log(1, 2, QLatin1String("Trace"), QLatin1String(function), message);
    }

    void open(const QString &ident)
    {
        syslog = true;
        own("openSysLog", QString::fromLatin1("Opening syslog with ident: %1").arg(ident));
    }

    void filter(int newLevel, int newMask)
    {
        const QChar blank = QLatin1Char(' ');
        if (newLevel >= 0) {
            own("applyLogFilters",
                QString::fromLatin1("Setting LogLevel to: %1").arg(newLevel, 0, 10, blank));
            level = newLevel;
        }
        if (newMask >= 0) {
            own("applyLogFilters",
                QString::fromLatin1("Setting GroupFilter Mask to: %1").arg(newMask, 16, 2, blank));
            mask = newMask;
        }
    }

    QStringList lines;
    QStringList shownLines;
    QStringList syslogPriorities;
    QList<QByteArray> syslogMessages;

private:
    const QByteArray time;
    int number;
    int level;
    int mask;
    const bool console;
    bool syslog;
};

/** What one message to syslog was made of. */
struct Sent {
    QString priority;
    QByteArray format;
    QByteArray text;
};

/** Whether a text has a few of the simplest conversions at most, so that it can be the format. */
bool isSimpleFormat(const QByteArray &message)
{
    int conversions = 0;
    for (int i = int(message.indexOf('%')); i >= 0; i = int(message.indexOf('%', i + 2))) {
        const char conversion = message.mid(i + 1, 1).append('\0').at(0);
        if (conversion != '%')
            ++conversions;
        if (conversion == '\0' || !std::strchr("%dsxu", conversion) || conversions > 8)
            return false;
    }
    return true;
}

/** What is wrong with what was sent of a message: nothing, if all is well. */
QByteArray syslogProblem(const Sent &sent, const QByteArray &message)
{
    if (sent.text == "(lost)")
        return "lost: " + message;
    if (sent.format != message && (sent.format != "%s" || isSimpleFormat(message)))
        return "another format: " + sent.format + " for " + message;
    if (sent.format != message)
        return sent.text == message ? "" : "not as it is: " + message;
    if (!message.contains('%') && sent.text != message)
        return "not the same: " + message;
    const QByteArray problem = formatProblem(message);
    return problem.isEmpty() ? problem : problem + ": " + message;
}

QByteArray compare(const char *what, const QStringList &actual, const QStringList &expected)
{
    if (actual == expected)
        return QByteArray();
    const QString newline = QLatin1String("\n");
    return QByteArray(what) + ":\n    " + shown(actual.join(newline)) + "\n    instead of\n    " +
           shown(expected.join(newline)) + "\n";
}

QByteArray compareSyslog(const QList<Sent> &sent, const PlainTrace &plain)
{
    QStringList priorities;
    QByteArray problems;
    for (int i = 0; i < int(sent.size()); ++i) {
        priorities << sent[i].priority;
        if (i < int(plain.syslogMessages.size()))
            problems += syslogProblem(sent[i], plain.syslogMessages[i]);
    }
    return compare("syslog", priorities, plain.syslogPriorities) + problems;
}

/** Does on a Trace, or on the plain formulation, what the input asks for. */
void logAsAsked(const Call &call, Trace &trace)
{
    if (call.options & Console)
        trace.toggleConsolePrint();
    if (call.options & Syslog)
        trace.openSysLog(call.className);
    trace.applyLogFilters(call.threshold, call.mask);
    if (call.options & Unnamed)
        Trace::logs(call.className, call.function, call.message);
    else if (call.options & WithExtra)
        Trace::logId(call.group, call.level, call.className, call.function, call.message,
                     call.message);
    else
        Trace::log(call.group, call.level, call.className, call.function, call.message);
    Trace::log(call.className, call.function, call.message);
}

void logAsAsked(const Call &call, PlainTrace &plain)
{
    if (call.options & Syslog)
        plain.open(call.className);
    plain.filter(call.threshold, call.mask);
    const bool unnamed = call.options & Unnamed;
    plain.log(unnamed ? 1 : call.group, unnamed ? 1 : call.level, call.className, call.function,
              call.message);
    plain.log(1, 1, call.className, call.function, call.message);
}

void compareCalls(const Call &call)
{
    LibcCalls calls("syslog");
    calls.setTimeOfDay(time_t(call.seconds), call.microseconds);
    QList<Sent> sent;
    const QString prefix = QLatin1String("syslog ");
    calls.before = [&](const QString &entry) {
        const QString rest = entry.mid(prefix.length());
        sent << Sent{rest.left(rest.indexOf(QLatin1Char(' '))), calls.syslogFormat,
                     calls.syslogText};
    };
    MessageLog messages;
    Trace::linenumber = call.number;
    Trace::threadIds.clear();
    QStringList shownLines;
    QStringList lines;
    {
        Trace trace(nullptr);
        TraceLog log(&trace);
        logAsAsked(call, trace);
        lines = log.lines;
        shownLines = messages.lines();
    }
    PlainTrace plain(call);
    logAsAsked(call, plain);
    requireNone(compare("lines", lines, plain.lines) +
                compare("console", shownLines, plain.shownLines) + compareSyslog(sent, plain));
}

/** The line alone, of any number and thread. */
void compareBuilding(const Call &call)
{
    MessageLog messages; // the plain chain has some of Qt's own
    const QByteArray time = plainTime(call);
    const TraceFields fields = {call.number,  call.className, call.function,
                                call.message, call.ordinal,   time.constData()};
    const QStringList expected(plainLine(fields));
    requireNone(compare("line", QStringList(qvcommon::buildTraceLine(fields)), expected) +
                compare("line by arg()", QStringList(qvcommon::traceLineByArg(fields)), expected));
}

} // namespace

void fuzz(const QByteArray &bytes)
{
    const Call call = callOf(bytes);
    compareBuilding(call);
    compareCalls(call);
}
