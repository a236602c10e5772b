// SPDX-License-Identifier: LGPL-2.1-or-later

// One Trace after the other: beginning, the one lock, and end.

#include "childprocess.h"
#include "tracefixture.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QTest>

#include <atomic>
#include <climits>
#include <cstdio>
#include <thread>
#include <unistd.h>

namespace
{

/** Destroys a Trace when it delivers a line. */
class Destroyer : public QObject
{
    Q_OBJECT
public:
    explicit Destroyer(Trace *trace)
        : trace(trace)
    {
        connect(trace, SIGNAL(LogMessage(QString)), SLOT(destroy()), Qt::DirectConnection);
    }

private Q_SLOTS:
    void destroy() { delete trace; }

private:
    Trace *trace;
};

/** Goes on with its line for a while after the Trace has begun to go. */
class Latecomer : public QObject
{
    Q_OBJECT
public:
    explicit Latecomer(Trace *trace)
    {
        connect(trace, SIGNAL(LogMessage(QString)), SLOT(linger()), Qt::DirectConnection);
    }

    std::atomic<bool> reached{false};
    std::atomic<bool> done{false};

private Q_SLOTS:
    void linger()
    {
        reached = true;
        while (__atomic_load_n(&Trace::instance, __ATOMIC_ACQUIRE))
            std::this_thread::yield();
        usleep(20000);
        done = true;
    }
};

/** Looks at the lock while a line is delivered. */
class LockProbe : public QObject
{
    Q_OBJECT
public:
    explicit LockProbe(Trace *trace)
        : lines(0)
        , locked(0)
    {
        connect(trace, SIGNAL(LogMessage(QString)), SLOT(look()), Qt::DirectConnection);
    }

    int lines;
    int locked;
    QList<int> numbers;

private Q_SLOTS:
    void look()
    {
        ++lines;
        numbers << Trace::linenumber;
        if (Trace::traceMutex.tryLock())
            Trace::traceMutex.unlock();
        else
            ++locked;
    }
};

// Whether this is the process of a test that is meant to end with exit().
bool isChild = false;

} // namespace

// Asked by the leak checker, which must not put its own exit status in the place of ours: in a
// forked process it misses the threads that still know of the memory.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off()
{
    return isChild;
}

class TestTraceLifecycle : public TraceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void isTheInstanceWhileItLives();
    void belongsToItsParent();
    void endsTheProcessIfItIsTheSecond();
    void startsAnewWithoutForgettingNumbersAndThreads();
    void dropsLinesWithoutInstance();
    void holdsTheLockWhileALineIsDelivered();
    void locksOnceOnly();
    void endsInOrder();
    void mayEndWhileALineIsDelivered();
    void waitsForALineInAnotherThread();
};

void TestTraceLifecycle::isTheInstanceWhileItLives()
{
    {
        Trace trace(nullptr);
        QCOMPARE(Trace::instance, &trace);
        QVERIFY(!trace.parent());
    }
    QVERIFY(!Trace::instance);
}

void TestTraceLifecycle::belongsToItsParent()
{
    {
        QObject parent;
        Trace *const trace = new Trace(&parent);
        QCOMPARE(trace->parent(), &parent);
        QCOMPARE(Trace::instance, trace);
    }
    QVERIFY(!Trace::instance);
}

void TestTraceLifecycle::endsTheProcessIfItIsTheSecond()
{
    Trace trace(nullptr);
    std::fflush(nullptr);
    ChildProcess child([](ChildProcess &) {
        isChild = true;
        Trace second(nullptr);
        return 0;
    });
    QCOMPARE(child.wait(), 255);
}

void TestTraceLifecycle::startsAnewWithoutForgettingNumbersAndThreads()
{
    {
        Trace trace(nullptr);
        trace.applyLogFilters(6, 0);
        trace.toggleConsolePrint();
    }
    Trace::linenumber = 1234;
    Trace::threadIds = QList<int>() << 1 << 2;
    messages->clear();
    {
        Trace trace(nullptr);
        TraceLog lines(&trace);
        log(1, 1);
        log(32768, 1);
        QCOMPARE(lines.lines, QStringList() << names(1234) + pad(text("on"), 80) + tail(3)
                                            << names(1235) + pad(text("on"), 80) + tail(3));
    }
    QCOMPARE(messages->lines(), QStringList(text("debug: Delting Trace object ")));
    QCOMPARE(Trace::linenumber, 1236);
    QCOMPARE(Trace::threadIds, QList<int>() << 1 << 2 << thisThread());
}

void TestTraceLifecycle::dropsLinesWithoutInstance()
{
    QVERIFY(!Trace::instance);
    calls->record("gettimeofday syslog");
    log(8, 5);
    log(-1, INT_MAX);
    Trace::logs(text("Pump"), text("start"), text("on"));
    Trace::log(text("Pump"), text("start"), text("on"));
    Trace::logId(1, 5, text("Pump"), text("start"), QString(), text("on"));
    QCOMPARE(messages->lines(), QStringList());
    QCOMPARE(calls->take(), QStringList());
    QCOMPARE(Trace::linenumber, 1);
    QVERIFY(Trace::threadIds.isEmpty());
}

void TestTraceLifecycle::holdsTheLockWhileALineIsDelivered()
{
    Trace trace(nullptr);
    LockProbe probe(&trace);
    log("on");
    log(letters(400));
    QCOMPARE(probe.lines, 2);
    QCOMPARE(probe.locked, 2);
    QCOMPARE(probe.numbers, QList<int>() << 1 << 2); // the line's own
    QVERIFY(Trace::traceMutex.tryLock());
    Trace::traceMutex.unlock();
}

void TestTraceLifecycle::locksOnceOnly()
{
    Trace::lock();
    QVERIFY(!Trace::traceMutex.tryLock());
    Trace::unlock();
    QVERIFY(Trace::traceMutex.tryLock());
    Trace::unlock();
    Trace::traceMutex.lock();
    Trace::unlock();
    Trace::lock();
    Trace::traceMutex.unlock();
}

void TestTraceLifecycle::endsInOrder()
{
    QStringList seen;
    Trace *const trace = new Trace(nullptr);
    trace->openSysLog(text("pumpd"));
    calls->record("openlog syslog closelog");
    calls->before = [&](const QString &) {
        seen = messages->lines();
        QVERIFY(!Trace::instance);
    };
    messages->forward([&](const QString &said) {
        calls->note(said + text(Trace::instance ? "with an instance" : "without"));
    });
    delete trace;
    messages->forward(nullptr);
    log(8, 4);
    QCOMPARE(calls->take(), QStringList()
                                << text("Delting Trace object with an instance")
                                << text("Closing Syslog object without") << text("closelog"));
    const QStringList lines = QStringList() << text("debug: Delting Trace object ")
                                            << text("debug: Closing Syslog object ");
    QCOMPARE(seen, lines);
    QCOMPARE(messages->lines(), lines);
    QCOMPARE(Trace::linenumber, 2);
    QCOMPARE(Trace::threadIds, QList<int>() << thisThread());
    QVERIFY(Trace::traceMutex.tryLock());
    Trace::traceMutex.unlock();
}

void TestTraceLifecycle::mayEndWhileALineIsDelivered()
{
    Trace *const trace = new Trace(nullptr);
    keepJournal(*trace);
    trace->openSysLog(text("pumpd"));
    calls->take();
    Trace::linenumber = 1;
    Destroyer destroyer(trace);
    log("on");
    log("dropped");
    QVERIFY(!Trace::instance);
    QCOMPARE(calls->take(), QStringList() << line("on") << text("closelog"));
    QCOMPARE(Trace::linenumber, 2);
    QVERIFY(Trace::traceMutex.tryLock());
    Trace::traceMutex.unlock();
}

/** It waits for a second at most, so a round in which the machine takes as long counts for nothing. */
void TestTraceLifecycle::waitsForALineInAnotherThread()
{
    bool tooEarly;
    QElapsedTimer timer;
    do {
        Trace *const trace = new Trace(nullptr);
        Latecomer latecomer(trace);
        std::thread logger([] { log("on"); });
        while (!latecomer.reached)
            std::this_thread::yield();
        timer.start();
        delete trace;
        tooEarly = !latecomer.done;
        logger.join();
    } while (tooEarly && timer.hasExpired(1000));
    QVERIFY(!tooEarly);
}

int main(int argc, char *argv[])
{
    return runTraceTest<TestTraceLifecycle>(argc, argv);
}

#include "tst_tracelifecycle.moc"
