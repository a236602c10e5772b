// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tracefixture.h"

#include <cstdio>
#include <pthread.h>
#include <stdint.h>

const char stamp[] = "2024-03-01 13:04:05.042";
const char gap[] = "                                                             ";

void TraceFixture::init()
{
    Trace::linenumber = 1;
    Trace::threadIds.clear();
    messages.reset(new MessageLog);
    calls.reset(new LibcCalls);
    calls->setTimeOfDay(1709298245, 42999);
}

void TraceFixture::cleanup()
{
    const QStringList lines = messages->lines();
    calls.reset();
    messages.reset();
    QVERIFY2(lines.filter(text("warning: ")).isEmpty(), qPrintable(lines.join(text("\n"))));
}

void TraceFixture::keepJournal(Trace &trace)
{
    connect(&trace, SIGNAL(LogMessage(QString)), SLOT(noteLine(QString)), Qt::DirectConnection);
    calls->record("openlog syslog closelog");
}

QString blanks(int count)
{
    return QString(qMax(0, count), QLatin1Char(' '));
}

QString pad(const QString &text, int columns)
{
    return text + blanks(columns - int(text.length()));
}

QString letters(int length)
{
    QString result;
    for (int i = 0; i < length; ++i)
        result += QLatin1Char(char('a' + (i + i / 26) % 26));
    return result;
}

QString names(int number, const char *className, const char *function)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "%5d", number);
    return text(digits) + text(" ") + pad(text(className), 30) + text(" ") +
           pad(text(function), 30) + text(" ");
}

QString tail(int thread)
{
    return text(", tid=") + QString::number(thread) + text(", ") + text(stamp);
}

QString line(const QString &message)
{
    return names(1) + pad(message, 80) + tail();
}

QString line(const char *message)
{
    return line(text(message));
}

QString numbered(int number, const char *message)
{
    return names(number) + pad(text(message), 80) + tail();
}

QString header(const char *length)
{
    return names(1) + text("[Long message(") + text(length) + text(")]") + text(gap) + tail() +
           text("\n");
}

QString own(int number, const char *function, const char *message)
{
    return names(number, "Trace", function) + pad(text(message), 80) + tail();
}

QString shown(const QString &line)
{
    return text("\"") + line + text("\" ");
}

void log(const QString &message)
{
    Trace::log(8, 2, text("Pump"), text("start"), message);
}

void log(const char *message)
{
    log(text(message));
}

void log(int group, int level)
{
    Trace::log(group, level, text("Pump"), text("start"), text("on"));
}

void compareLine()
{
    QFETCH(QString, message);
    QFETCH(QString, expected);
    Trace trace(nullptr);
    TraceLog lines(&trace);
    log(message);
    QCOMPARE(lines.lines, QStringList(expected));
}

int thisThread()
{
    return int(uintptr_t(pthread_self()));
}
