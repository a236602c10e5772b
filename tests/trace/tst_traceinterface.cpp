// SPDX-License-Identifier: LGPL-2.1-or-later

// What applications are compiled against, and the calls that are next to the main one.

#include "tracefixture.h"

#include <QtCore/QMetaMethod>
#include <QtTest/QTest>

#include <cerrno>
#include <cstring>
#include <type_traits>

class TestTraceInterface : public TraceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void hasOneSignalAndOneSlot();
    void hasTheTypesThatApplicationsRelyOn();
    void ignoresTheSpareSwitches_data();
    void ignoresTheSpareSwitches();
    void neverShowsTheExtraText();
    void tellsErrors_data();
    void tellsErrors();
};

void TestTraceInterface::initTestCase()
{
    QVERIFY(!Trace::instance);
    QVERIFY(Trace::threadIds.isEmpty());
    QCOMPARE(Trace::linenumber, 1);
    QVERIFY(Trace::traceMutex.tryLock());
    Trace::traceMutex.unlock();
    QCOMPARE(Trace::syncLogging, false);
    QCOMPARE(Trace::blockOnFullQueue, false);
    QCOMPARE(flushAfterEachLogMsg, true);
}

void TestTraceInterface::hasOneSignalAndOneSlot()
{
    const QMetaObject &meta = Trace::staticMetaObject;
    QCOMPARE(meta.className(), "Trace");
    QCOMPARE(meta.superClass()->className(), "QObject");
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 0);
    QVERIFY(meta.indexOfSignal("LogMessage(QString)") >= meta.methodOffset());
    const int slot = meta.indexOfSlot("toggleConsolePrint()");
    QVERIFY(slot >= meta.methodOffset());
    QCOMPARE(meta.method(slot).access(), QMetaMethod::Public);
}

void TestTraceInterface::hasTheTypesThatApplicationsRelyOn()
{
    void (*const log5)(int, int, const QString &, const QString &, const QString &) = &Trace::log;
    void (*const log3)(const QString &, const QString &, const QString &) = &Trace::log;
    void (*const logs)(const QString &, const QString &, const QString &) = &Trace::logs;
    void (*const logId)(int, int, const QString &, const QString &, const QString &,
                        const QString &) = &Trace::logId;
    void (*const lock)() = &Trace::lock;
    void (*const unlock)() = &Trace::unlock;
    char *(*const timestamp)() = &updateTimestamp;
    void (Trace::*const toggle)() = &Trace::toggleConsolePrint;
    QVERIFY(log5 && log3 && logs && logId && lock && unlock && timestamp && toggle);

    static_assert(std::is_base_of<QObject, Trace>::value, "a Trace is a QObject");
    static_assert(std::is_same<decltype(Trace::instance), Trace *>::value, "instance");
    static_assert(std::is_same<decltype(Trace::threadIds), QList<int>>::value, "threadIds");
    static_assert(std::is_same<decltype(Trace::linenumber), int>::value, "linenumber");
    static_assert(std::is_same<decltype(Trace::traceMutex), QMutex>::value, "traceMutex");
    static_assert(std::is_same<decltype(Trace::syncLogging), bool>::value, "syncLogging");
    static_assert(std::is_same<decltype(Trace::blockOnFullQueue), bool>::value, "blocking");
    static_assert(std::is_same<decltype(flushAfterEachLogMsg), bool>::value, "flushing");
}

void TestTraceInterface::ignoresTheSpareSwitches_data()
{
    QTest::addColumn<bool>("sync");
    QTest::addColumn<bool>("block");
    QTest::addColumn<bool>("flush");
    for (int bits = 0; bits < 8; ++bits)
        QTest::newRow(QByteArray::number(bits, 2).constData())
            << bool(bits & 1) << bool(bits & 2) << bool(bits & 4);
}

void TestTraceInterface::ignoresTheSpareSwitches()
{
    QFETCH(bool, sync);
    QFETCH(bool, block);
    QFETCH(bool, flush);
    Trace trace(nullptr);
    keepJournal(trace);
    Trace::syncLogging = sync;
    Trace::blockOnFullQueue = block;
    flushAfterEachLogMsg = flush;
    log("on");
    trace.toggleConsolePrint();
    log(letters(360));
    log(8, 0);
    const bool untouched = Trace::syncLogging == sync && Trace::blockOnFullQueue == block &&
                           flushAfterEachLogMsg == flush;
    Trace::syncLogging = false;
    Trace::blockOnFullQueue = false;
    flushAfterEachLogMsg = true;
    QVERIFY(untouched);
    QCOMPARE(calls->take(), QStringList() << line("on") << QString());
    QCOMPARE(messages->lines(), QStringList(text("debug: \"\" ")));
}

void TestTraceInterface::neverShowsTheExtraText()
{
    Trace trace(nullptr);
    keepJournal(trace);
    trace.openSysLog(text("pumpd"));
    trace.toggleConsolePrint();
    calls->take();
    Trace::linenumber = 1;
    Trace::logId(8, 2, text("Pump"), text("start"), text("EXTRA %1 %2 %7"), text("on"));
    QCOMPARE(calls->take(), QStringList() << line("on") << text("syslog 6 on"));
    QCOMPARE(messages->debugLines(), QStringList(shown(line("on"))));
    for (const int length : {80, 180, 360}) {
        Trace::logId(8, 2, text("Pump"), text("start"), text("EXTRA"), letters(length));
        const QStringList entries = calls->take();
        QCOMPARE(entries.last(), text("syslog 6 ") + letters(length));
        QVERIFY(!entries.join(QString()).contains(text("EXTRA")));
    }
}

void TestTraceInterface::tellsErrors_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("suffix");
    QTest::newRow("none") << 0 << QString();
    QTest::newRow("ENOENT") << ENOENT << QString();
    QTest::newRow("unknown") << 4242 << QString();
    QTest::newRow("negative") << -5 << QString::fromLatin1("<unknown error> = -5");
}

void TestTraceInterface::tellsErrors()
{
    QFETCH(int, error);
    QFETCH(QString, suffix);
    const QString expected = QString::fromLocal8Bit(strerror(error)) + suffix;
    errno = error;
    const QString told = Trace::getError();
    QCOMPARE(told, expected);
}

int main(int argc, char *argv[])
{
    return runTraceTest<TestTraceInterface>(argc, argv);
}

#include "tst_traceinterface.moc"
