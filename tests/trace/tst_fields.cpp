// SPDX-License-Identifier: LGPL-2.1-or-later

// The fields of the classes, which no call shows: their names, types, order and first values.

#include "loghandler.h"
#include "trace.h"

#include <QtCore/QMutex>
#include <QtTest/QTest>

#include <algorithm>
#include <vector>

namespace
{

/** Gives away a pointer to a private field, which only an explicit instantiation may name. */
template <typename Field, typename Field::Pointer pointer>
struct Opened {
    friend typename Field::Pointer pointerTo(Field) { return pointer; }
};

} // namespace

#define FIELD(Class, Type, name)                                                                   \
    namespace                                                                                      \
    {                                                                                              \
    struct Class##_##name {                                                                        \
        typedef Type Class::*Pointer;                                                              \
        friend Pointer pointerTo(Class##_##name);                                                  \
    };                                                                                             \
    template struct Opened<Class##_##name, &Class::name>;                                          \
    }

/** A field of an object. */
#define OF(object, Class, name) ((object).*pointerTo(Class##_##name()))

FIELD(Trace, QString, appName)
FIELD(Trace, bool, consolePrint)
FIELD(Trace, int, groupMask)
FIELD(Trace, int, logLevel)
FIELD(Trace, bool, sysLogOpen)

FIELD(LogHandler, QMutex *, logMutex)
FIELD(LogHandler, QString, logFileName)
FIELD(LogHandler, QString, baseName)
FIELD(LogHandler, QDir *, logDir)
FIELD(LogHandler, QFile *, logFile)
FIELD(LogHandler, bool, printToConsole)
FIELD(LogHandler, bool, reservedFlag)
FIELD(LogHandler, bool, stopFlag)
FIELD(LogHandler, int, bytesWritten)
FIELD(LogHandler, int, maxFileSize)
FIELD(LogHandler, QTimer *, flushTimer)

class TestFields : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void traceHasFiveInOrder();
    void traceSetsThem();
    void handlerHasElevenInOrder();
    void handlerSetsThem();
};

static bool isInOrder(const std::vector<const void *> &fields)
{
    return std::is_sorted(fields.begin(), fields.end());
}

void TestFields::traceHasFiveInOrder()
{
    const Trace trace(nullptr);
    const std::vector<const void *> fields = {static_cast<const QObject *>(&trace) + 1,
                                              &OF(trace, Trace, appName),
                                              &OF(trace, Trace, consolePrint),
                                              &OF(trace, Trace, groupMask),
                                              &OF(trace, Trace, logLevel),
                                              &OF(trace, Trace, sysLogOpen),
                                              &trace + 1};
    QVERIFY(isInOrder(fields));
    QCOMPARE(fields.at(0), fields.at(1));
}

void TestFields::traceSetsThem()
{
    Trace trace(nullptr);
    QCOMPARE(OF(trace, Trace, appName), QString::fromLatin1("setAppName_before_using"));
    QCOMPARE(OF(trace, Trace, consolePrint), false);
    QCOMPARE(OF(trace, Trace, groupMask), 65535);
    QCOMPARE(OF(trace, Trace, logLevel), 1);
    QCOMPARE(OF(trace, Trace, sysLogOpen), false);

    // Nothing is known of syslog without an instance.
    Trace::instance = nullptr;
    trace.openSysLog(QLatin1String("pumpd"));
    Trace::instance = &trace;
    QCOMPARE(OF(trace, Trace, appName), QString::fromLatin1("setAppName_before_using"));
    QCOMPARE(OF(trace, Trace, sysLogOpen), false);

    trace.toggleConsolePrint();
    trace.applyLogFilters(3, 9);
    trace.openSysLog(QLatin1String("pumpd"));
    QCOMPARE(OF(trace, Trace, appName), QString::fromLatin1("pumpd"));
    QCOMPARE(OF(trace, Trace, consolePrint), true);
    QCOMPARE(OF(trace, Trace, groupMask), 9);
    QCOMPARE(OF(trace, Trace, logLevel), 3);
    QCOMPARE(OF(trace, Trace, sysLogOpen), true);
    trace.closeLoggers();
    QCOMPARE(OF(trace, Trace, appName), QString::fromLatin1("pumpd"));
    QCOMPARE(OF(trace, Trace, sysLogOpen), false);
}

void TestFields::handlerHasElevenInOrder()
{
    const LogHandler handler(nullptr, false);
    const std::vector<const void *> fields = {static_cast<const QThread *>(&handler) + 1,
                                              &OF(handler, LogHandler, logMutex),
                                              &OF(handler, LogHandler, logFileName),
                                              &OF(handler, LogHandler, baseName),
                                              &OF(handler, LogHandler, logDir),
                                              &OF(handler, LogHandler, logFile),
                                              &OF(handler, LogHandler, printToConsole),
                                              &OF(handler, LogHandler, reservedFlag),
                                              &OF(handler, LogHandler, stopFlag),
                                              &OF(handler, LogHandler, bytesWritten),
                                              &OF(handler, LogHandler, maxFileSize),
                                              &OF(handler, LogHandler, flushTimer),
                                              &handler + 1};
    QVERIFY(isInOrder(fields));
    QCOMPARE(fields.at(0), fields.at(1));
}

void TestFields::handlerSetsThem()
{
    for (const bool print : {false, true}) {
        LogHandler handler(nullptr, print);
        QMutex *const mutex = OF(handler, LogHandler, logMutex);
        QVERIFY(mutex && mutex->tryLock());
        QVERIFY(!mutex->tryLock()); // not recursive
        mutex->unlock();
        QCOMPARE(OF(handler, LogHandler, logFileName), QString());
        QCOMPARE(OF(handler, LogHandler, baseName), QString());
        QVERIFY(!OF(handler, LogHandler, logDir));
        QVERIFY(!OF(handler, LogHandler, logFile));
        QCOMPARE(OF(handler, LogHandler, printToConsole), print);
        QCOMPARE(OF(handler, LogHandler, reservedFlag), false);
        QCOMPARE(OF(handler, LogHandler, bytesWritten), 0);
        QCOMPARE(OF(handler, LogHandler, maxFileSize), 102400);
        QVERIFY(!OF(handler, LogHandler, flushTimer));

        // A base name is all that makes files.
        QVERIFY(handler.open(QLatin1String("/nonexistent/"), QString()));
        QVERIFY(!OF(handler, LogHandler, logDir));
        QVERIFY(!OF(handler, LogHandler, logFile));
        handler.logMessage(QLatin1String("line"));
        QCOMPARE(OF(handler, LogHandler, bytesWritten), 0);
    }
}

QTEST_MAIN(TestFields)
#include "tst_fields.moc"
