// SPDX-License-Identifier: LGPL-2.1-or-later

// The destruction of a LogHandler while lines come, however it is connected.

#include "logconnection.h"
#include "logfolder.h"
#include "loghandler.h"
#include "messagelog.h"
#include "trace.h"
#include "waiting.h"

#include <QtTest/QTest>

#include <atomic>
#include <memory>
#include <thread>

static const QString app = QLatin1String("app");

/** Logs, or destroys a handler, when it is told to by a signal. */
class Actor : public QObject
{
    Q_OBJECT
public:
    std::unique_ptr<LogHandler> handler;
public Q_SLOTS:
    void logLate() { Trace::log(8, 4, app, app, QLatin1String("late")); }
    void destroyHandler() { handler.reset(); }
};

/** Stops the thread that delivers a line until it is opened. */
class Gate : public QObject
{
    Q_OBJECT
public:
    std::atomic<bool> reached{false};
    std::atomic<bool> open{false};
public Q_SLOTS:
    void pass()
    {
        reached = true;
        while (!open)
            std::this_thread::yield();
    }
};

class TestLogDestruction : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { messages.reset(new MessageLog); }
    void cleanup() { messages.reset(); }
    void endsEveryConnection_data();
    void endsEveryConnection();
    void waitsForALineInAnotherThread_data() { endsEveryConnection_data(); }
    void waitsForALineInAnotherThread();
    void survivesOtherThreadsThatLog_data() { endsEveryConnection_data(); }
    void survivesOtherThreadsThatLog();
    void worksWithTheLockHeld_data();
    void worksWithTheLockHeld();
    void worksInASlot();
    void releasesAThreadThatIsBlocked();

private:
    std::unique_ptr<MessageLog> messages;
};

void TestLogDestruction::endsEveryConnection_data()
{
    QTest::addColumn<int>("form");
    QTest::addColumn<int>("type");
    const char *const forms[] = {"by name", "by pointer", "by function"};
    for (const LogConnection form : {ByName, ByPointer, ByFunction}) {
        if (!isPossible(form))
            continue;
        const QByteArray name = forms[form];
        QTest::newRow(name + ", direct") << int(form) << int(Qt::DirectConnection);
        QTest::newRow(name + ", queued") << int(form) << int(Qt::QueuedConnection);
    }
}

/** The last that a QObject does is to say so; lines that are logged then no longer reach it. */
void TestLogDestruction::endsEveryConnection()
{
    QFETCH(int, form);
    QFETCH(int, type);
    const LogFolder folder;
    Trace trace(nullptr);
    std::unique_ptr<LogHandler> handler(new LogHandler(nullptr, true));
    QVERIFY(handler->open(folder.directory(), app));
    connectTo(handler.get(), LogConnection(form), Qt::ConnectionType(type));
    Actor actor;
    connect(handler.get(), SIGNAL(destroyed()), &actor, SLOT(logLate()), Qt::DirectConnection);
    const int before = Trace::linenumber;
    handler.reset();
    QCoreApplication::processEvents();
    QCOMPARE(Trace::linenumber, before + 2); // "Stopping flushTimer", and the late one
    for (const QString &line : messages->lines())
        QVERIFY2(!line.contains(QLatin1String("late")), qPrintable(line));
    QVERIFY(!folder.read(0).contains("late"));
}

void TestLogDestruction::waitsForALineInAnotherThread()
{
    QFETCH(int, form);
    QFETCH(int, type);
    const LogFolder folder;
    Trace trace(nullptr);
    trace.applyLogFilters(4, -1); // the handler's own lines would wait for the lock anyway
    Gate gate;
    connect(&trace, SIGNAL(LogMessage(QString)), &gate, SLOT(pass()), Qt::DirectConnection);
    LogHandler *const handler = new LogHandler(nullptr, false);
    QVERIFY(handler->open(folder.directory(), app));
    connectTo(handler, LogConnection(form), Qt::ConnectionType(type));

    std::thread logger([] { Trace::log(8, 4, app, app, QLatin1String("message")); });
    QVERIFY(waitFor([&] { return bool(gate.reached); }));
    std::atomic<bool> destroyed(false);
    std::thread destroyer([&] {
        delete handler;
        destroyed = true;
    });
    // It gets as far as it can: it is no longer the instance, and waits.
    const bool begun =
        waitFor([] { return !__atomic_load_n(&LogHandler::instance, __ATOMIC_ACQUIRE); });
    settle();
    const bool tooEarly = destroyed;
    gate.open = true;
    logger.join();
    destroyer.join();
    QVERIFY(begun);
    QVERIFY(!tooEarly);
}

static int nextLine()
{
    Trace::lock();
    const int number = Trace::linenumber;
    Trace::unlock();
    return number;
}

/**
 * Nobody writes the lines of a queued connection here, as no event loop runs: those rows are about the
 * events that others post to the handler while it is destroyed.
 */
void TestLogDestruction::survivesOtherThreadsThatLog()
{
    QFETCH(int, form);
    QFETCH(int, type);
    const LogFolder folder;
    Trace trace(nullptr);
    std::atomic<bool> stop(false);
    std::thread loggers[2];
    for (std::thread &logger : loggers) {
        logger = std::thread([&] {
            while (!stop)
                Trace::log(8, 4, app, app, QLatin1String("message"));
        });
    }
    for (int i = 0; i < 30; ++i) {
        LogHandler handler(nullptr, false);
        QVERIFY(handler.open(folder.directory(), app));
        connectTo(&handler, LogConnection(form), Qt::ConnectionType(type));
        const int before = nextLine();
        while (nextLine() - before < 20)
            std::this_thread::yield();
    }
    stop = true;
    for (std::thread &logger : loggers)
        logger.join();
    QCOMPARE(folder.descriptors(), QList<int>());
}

void TestLogDestruction::worksWithTheLockHeld_data()
{
    QTest::addColumn<bool>("plain");
    QTest::newRow("Trace::lock()") << false;
    QTest::newRow("the mutex itself") << true;
}

void TestLogDestruction::worksWithTheLockHeld()
{
    QFETCH(bool, plain);
    const LogFolder folder;
    Trace trace(nullptr);
    trace.applyLogFilters(4, -1); // the handler's own lines would wait for the lock
    LogHandler *const handler = new LogHandler(nullptr, false);
    QVERIFY(handler->open(folder.directory(), app));
    connectTo(handler, ByName, Qt::DirectConnection);
    std::atomic<bool> done(false);
    std::thread owner([&, plain, handler] {
        if (plain)
            Trace::traceMutex.lock();
        else
            Trace::lock();
        delete handler;
        Trace::unlock();
        done = true;
    });
    if (!waitFor([&] { return bool(done); }))
        qFatal("the handler waits for the lock that its owner holds");
    owner.join();
}

void TestLogDestruction::worksInASlot()
{
    const LogFolder folder;
    Trace trace(nullptr);
    trace.applyLogFilters(4, -1);
    Actor actor;
    connect(&trace, SIGNAL(LogMessage(QString)), &actor, SLOT(destroyHandler()),
            Qt::DirectConnection);
    actor.handler.reset(new LogHandler(nullptr, false));
    QVERIFY(actor.handler->open(folder.directory(), app));
    connectTo(actor.handler.get(), ByName, Qt::DirectConnection);
    std::atomic<bool> done(false);
    std::thread logger([&] {
        Trace::log(8, 4, app, app, QLatin1String("message"));
        done = true;
    });
    if (!waitFor([&] { return bool(done); }))
        qFatal("the handler waits for the line in which it is destroyed");
    logger.join();
    QVERIFY(!actor.handler);
    QCOMPARE(folder.read(0), QByteArray());
}

void TestLogDestruction::releasesAThreadThatIsBlocked()
{
    const LogFolder folder;
    Trace trace(nullptr);
    trace.applyLogFilters(4, -1); // the handler's own lines would wait for the lock
    Gate gate;
    gate.open = true;
    connect(&trace, SIGNAL(LogMessage(QString)), &gate, SLOT(pass()), Qt::DirectConnection);
    LogHandler *const handler = new LogHandler(nullptr, false);
    QVERIFY(handler->open(folder.directory(), app));
    handler->moveToThread(handler); // which does not run, so nobody takes the line
    connectTo(handler, ByName, Qt::BlockingQueuedConnection);
    std::atomic<int> done(0);
    std::thread logger([&] {
        Trace::log(8, 4, app, app, QLatin1String("message"));
        ++done;
    });
    QVERIFY(waitFor([&] { return bool(gate.reached); }));
    settle();
    const int doneBefore = done;
    std::thread destroyer([&] {
        delete handler;
        ++done;
    });
    if (!waitFor([&] { return done == 2; }))
        qFatal("the handler waits for a line that waits for the handler");
    logger.join();
    destroyer.join();
    QCOMPARE(doneBefore, 0);
    QCOMPARE(folder.read(0), QByteArray());
}

QTEST_MAIN(TestLogDestruction)
#include "tst_logdestruction.moc"
