// SPDX-License-Identifier: LGPL-2.1-or-later

// The handler's thread, and what is left of the lines when things are destroyed in one order or
// the other.

#include "kivlogs.h"
#include "logtest.h"
#include "program.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QTimer>
#include <QtTest/QTest>

#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>

/** Blocks the thread it lives in. */
class Blocker : public QObject
{
    Q_OBJECT
public:
    std::atomic<bool> blocking{false};
    std::atomic<bool> released{false};
public Q_SLOTS:
    void block()
    {
        blocking = true;
        while (!released)
            std::this_thread::yield();
    }
    /** Ends that when a line comes with this in it. */
    void look(const QString &line) { released = released || line.contains(waitingFor); }

public:
    QString waitingFor;
};

/** Runs something in a thread of its own, with an event loop behind it. */
class OtherThread : public QThread
{
public:
    explicit OtherThread(const std::function<void()> &work)
        : work(work)
    {
    }

protected:
    void run()
    {
        work();
        exec();
    }

private:
    std::function<void()> work;
};

class TestLogShutdown : public LogTest
{
    Q_OBJECT
private Q_SLOTS:
    void replacesTheInstance();
    void startsAfterAnotherHandler();
    void runsSlotsInItsThread();
    void runsATimerThatMovedAlong();
    void takesATimerOfAnotherThread();
    void writesAllThatWasQueued_data();
    void writesAllThatWasQueued();
    void isRestartable();
    void saysWhatItDoesWhenDestroyed_data();
    void saysWhatItDoesWhenDestroyed();
    void waitsForAThreadThatIsBusy_data();
    void waitsForAThreadThatIsBusy();
    void leavesTheFileWithoutATrailer();
    void survivesTraceGoingFirst();
    void survivesTheEndOfTheProcess_data();
    void survivesTheEndOfTheProcess();
};

static void connectTo(LogHandler &handler, Qt::ConnectionType type)
{
    QObject::connect(Trace::instance, SIGNAL(LogMessage(QString)), &handler,
                     SLOT(logMessage(QString)), type);
}

static void start(LogHandler &handler)
{
    handler.moveToThread(&handler);
    handler.start();
}

void TestLogShutdown::replacesTheInstance()
{
    QCOMPARE(LogHandler::CLASSNAME, QString::fromLatin1("LogHandler"));
    QVERIFY(!LogHandler::instance);
    std::unique_ptr<LogHandler> first(new LogHandler(nullptr, false));
    QCOMPARE(LogHandler::instance, first.get());
    std::unique_ptr<LogHandler> second(new LogHandler(nullptr, false));
    QCOMPARE(LogHandler::instance, second.get());
    first.reset();
    QCOMPARE(LogHandler::instance, second.get());
    second.reset();
    QVERIFY(!LogHandler::instance);
}

void TestLogShutdown::startsAfterAnotherHandler()
{
    const LogFolder folder;
    LogHandler first(nullptr, false);
    LogHandler second(nullptr, false);
    QVERIFY(second.open(folder.directory(), app));
    start(second);
    QMetaObject::invokeMethod(&second, "logMessage", Qt::QueuedConnection,
                              Q_ARG(QString, QLatin1String("line")));
    QVERIFY(waitFor([&] { return folder.read(0) == "line\n"; }));
    QVERIFY(second.isRunning());
    second.quit();
    QVERIFY(second.wait());
}

void TestLogShutdown::runsSlotsInItsThread()
{
    const LogFolder folder;
    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    start(handler);
    handler.startFlushTimer();
    connectTo(handler, Qt::QueuedConnection);
    TraceLog lines(&trace);
    for (int i = 0; i < 100; ++i)
        Trace::logs(app, app, QString::number(i));
    handler.quit();
    QVERIFY(handler.wait());
    QCOMPARE(folder.read(0), lines.lines.join(QLatin1String("\n")).toLatin1() + '\n');
    QVERIFY(messages->lines().contains(
        QLatin1String("debug: LogHandler::run, Entering log queue event loop ")));
}

void TestLogShutdown::runsATimerThatMovedAlong()
{
    const LogFolder folder;
    QByteArray said;
    {
        StandardOutput output;
        LogHandler handler(nullptr, false);
        QVERIFY(handler.open(folder.directory(), app));
        handler.startFlushTimer();
        flushAfterEachLogMsg = false;
        handler.logMessage(QLatin1String("line"));
        start(handler);
        QVERIFY(waitFor([&] { return folder.read(0) == "line\n"; }));
        handler.quit();
        QVERIFY(handler.wait());
        said = output.take();
    }
    QVERIFY(said.startsWith("onTimeout\n"));
    for (const QString &line : messages->lines())
        QVERIFY2(!line.startsWith(QLatin1String("warning")), qPrintable(line));
}

void TestLogShutdown::takesATimerOfAnotherThread()
{
    const LogFolder folder;
    for (bool inTime : {true, false}) {
        StandardOutput output;
        std::unique_ptr<LogHandler> handler(new LogHandler(nullptr, false));
        QVERIFY(handler->open(folder.directory(), app));
        std::atomic<bool> started(false);
        OtherThread other([&] {
            handler->startFlushTimer();
            started = true;
        });
        other.start();
        QVERIFY(waitFor([&] { return bool(started); }));
        flushAfterEachLogMsg = false;
        handler->logMessage(QLatin1String("line"));
        QVERIFY(waitFor([&] { return folder.read(0) == "line\n"; }));
        if (inTime)
            handler.reset();
        other.quit();
        QVERIFY(other.wait());
        handler.reset();
    }
    for (const QString &line : messages->lines())
        QVERIFY2(!line.contains(QLatin1String("children")), qPrintable(line));
}

void TestLogShutdown::writesAllThatWasQueued_data()
{
    QTest::addColumn<bool>("startedBefore");
    QTest::newRow("thread busy from the start") << true;
    QTest::newRow("quit before the loop begins") << false;
}

void TestLogShutdown::writesAllThatWasQueued()
{
    QFETCH(bool, startedBefore);
    const LogFolder folder;
    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.moveToThread(&handler);
    connectTo(handler, Qt::QueuedConnection);
    TraceLog lines(&trace);
    Blocker blocker;
    blocker.moveToThread(&handler);
    if (startedBefore) {
        handler.start();
        QMetaObject::invokeMethod(&blocker, "block", Qt::QueuedConnection);
        QVERIFY(waitFor([&] { return bool(blocker.blocking); }));
    }
    for (int i = 0; i < 2000; ++i)
        Trace::logs(app, app, QString::number(i));
    if (!startedBefore)
        handler.start();
    handler.quit();
    blocker.released = true;
    QVERIFY(handler.wait());
    QByteArray expected = lines.lines.join(QLatin1String("\n")).toLatin1() + '\n';
    QByteArray written = folder.readAll();
    written.replace(overflowTrailer() + continuation, "");
    QCOMPARE(written, expected);
}

void TestLogShutdown::isRestartable()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.moveToThread(&handler);
    for (int i = 0; i < 2; ++i) {
        handler.start();
        QMetaObject::invokeMethod(&handler, "logMessage", Qt::QueuedConnection,
                                  Q_ARG(QString, QLatin1String("line")));
        handler.quit();
        QVERIFY(handler.wait());
    }
    QCOMPARE(folder.read(0), QByteArray("line\nline\n"));
}

void TestLogShutdown::saysWhatItDoesWhenDestroyed_data()
{
    QTest::addColumn<bool>("moved");
    QTest::addColumn<bool>("running");
    QTest::addColumn<bool>("quitFirst");
    QTest::newRow("never started") << false << false << false;
    QTest::newRow("finished") << false << true << true;
    QTest::newRow("finished, own thread") << true << true << true;
    QTest::newRow("running") << false << true << false;
    QTest::newRow("running, own thread") << true << true << false;
}

void TestLogShutdown::saysWhatItDoesWhenDestroyed()
{
    QFETCH(bool, moved);
    QFETCH(bool, running);
    QFETCH(bool, quitFirst);
    const LogFolder folder;
    Trace trace(nullptr);
    std::unique_ptr<LogHandler> handler(new LogHandler(nullptr, false));
    QVERIFY(handler->open(folder.directory(), app));
    handler->startFlushTimer();
    if (moved)
        handler->moveToThread(handler.get());
    if (running) {
        handler->start();
        QVERIFY(waitFor([&] { return messages->lines().size() == 2; }));
    }
    if (quitFirst) {
        handler->quit();
        QVERIFY(handler->wait());
    }
    messages->clear();
    TraceLog lines(&trace);
    int loggedBefore = -1;
    messages->forward([&](const QString &) { loggedBefore = int(lines.lines.size()); });
    setWaitingTime(0);
    {
        const StandardOutput silence;
        handler.reset();
    }
    messages->forward(nullptr);

    QStringList logged(QLatin1String("LogHandler|dtor|Stopping flushTimer"));
    QStringList said;
    QList<int> waits;
    if (running && !quitFirst) {
        logged << QLatin1String("LogHandler|dtor|Stopping logger thread")
               << QLatin1String("LogHandler|start|Giving up waiting for logger thread to stop.");
        said << QLatin1String("debug: Giving up waiting for logger thread to stop. ");
        waits << 1000;
    }
    QCOMPARE(loggedBefore, said.isEmpty() ? -1 : 2);
    QCOMPARE(takeWaits(), waits);
    QCOMPARE(lines.entries(), logged);
    QCOMPARE(messages->lines(), said);
}

void TestLogShutdown::waitsForAThreadThatIsBusy_data()
{
    QTest::addColumn<QString>("until");
    QTest::addColumn<int>("waitingTime");
    QTest::addColumn<QStringList>("said");
    QTest::newRow("less than a second")
        << QString::fromLatin1("Stopping logger thread") << patience << QStringList();
    QTest::newRow("longer than a second")
        << QString::fromLatin1("Giving up") << 0
        << QStringList(QLatin1String("debug: Giving up waiting for logger thread to stop. "));
}

void TestLogShutdown::waitsForAThreadThatIsBusy()
{
    QFETCH(QString, until);
    QFETCH(int, waitingTime);
    QFETCH(QStringList, said);
    Trace trace(nullptr);
    TraceLog lines(&trace);
    std::unique_ptr<LogHandler> handler(new LogHandler(nullptr, false));
    Blocker blocker;
    blocker.waitingFor = until;
    connect(&trace, SIGNAL(LogMessage(QString)), &blocker, SLOT(look(QString)),
            Qt::DirectConnection);
    blocker.moveToThread(handler.get());
    start(*handler);
    QMetaObject::invokeMethod(&blocker, "block", Qt::QueuedConnection);
    QVERIFY(waitFor([&] { return bool(blocker.blocking); }));
    handler->quit();
    messages->clear();
    setWaitingTime(waitingTime);
    handler.reset();
    QCOMPARE(takeWaits(), QList<int>() << 1000);
    QCOMPARE(messages->lines(), said);
    QCOMPARE(lines.entries(),
             QStringList() << QLatin1String("LogHandler|dtor|Stopping flushTimer")
                           << QLatin1String("LogHandler|dtor|Stopping logger thread")
                           << QLatin1String("LogHandler|start|Giving up waiting for logger thread "
                                            "to stop."));
}

void TestLogShutdown::leavesTheFileWithoutATrailer()
{
    const LogFolder folder;
    flushAfterEachLogMsg = false;
    {
        LogHandler handler(nullptr, false);
        QVERIFY(handler.open(folder.directory(), app));
        handler.logMessage(QLatin1String("line"));
    }
    QCOMPARE(folder.read(0), QByteArray("line\n"));
    QCOMPARE(takePauses(), QList<int>());
    QCOMPARE(folder.descriptors(), QList<int>());
}

void TestLogShutdown::survivesTraceGoingFirst()
{
    const LogFolder folder;
    for (Qt::ConnectionType type : {Qt::DirectConnection, Qt::QueuedConnection}) {
        std::unique_ptr<Trace> trace(new Trace(nullptr));
        LogHandler handler(nullptr, false);
        QVERIFY(handler.open(folder.directory(), app));
        start(handler);
        connectTo(handler, type);
        Trace::logs(app, app, app);
        trace.reset();
        Trace::logs(app, app, app);
        handler.quit();
        QVERIFY(handler.wait());
        QCOMPARE(folder.read(0).count('\n'), 1);
    }
}

void TestLogShutdown::survivesTheEndOfTheProcess_data()
{
    QTest::addColumn<QString>("order");
    QTest::newRow("statics") << QString::fromLatin1("statics");
    QTest::newRow("statics, handler first") << QString::fromLatin1("handler-first");
    QTest::newRow("never destroyed") << QString::fromLatin1("leaked");
}

void TestLogShutdown::survivesTheEndOfTheProcess()
{
    QFETCH(QString, order);
    const LogFolder folder;
    Program process("/proc/self/exe",
                    QStringList() << QLatin1String("--exit-") + order << folder.directory());
    QCOMPARE(process.wait(), 0);
    const QByteArray written = folder.read(0);
    QVERIFY2(written.contains(" last line "), written.constData());
}

static void useAndLeave(Trace &, LogHandler &handler, const char *directory)
{
    if (!handler.open(QString::fromLocal8Bit(directory), app))
        std::exit(2);
    connectTo(handler, Qt::DirectConnection);
    handler.startFlushTimer();
    Trace::log(8, 4, app, app, QLatin1String("last line"));
    std::exit(0);
}

static int runChild(const char *order, const char *directory)
{
    int argc = 0;
    QCoreApplication application(argc, nullptr);
    const MessageLog quiet;
    if (std::strcmp(order, "--exit-statics") == 0) {
        static Trace trace(nullptr);
        static LogHandler handler(nullptr, false);
        useAndLeave(trace, handler, directory);
    } else if (std::strcmp(order, "--exit-handler-first") == 0) {
        static LogHandler handler(nullptr, false);
        static Trace trace(nullptr);
        useAndLeave(trace, handler, directory);
    }
    useAndLeave(*new Trace(nullptr), *new LogHandler(nullptr, false), directory);
    return 1;
}

int main(int argc, char *argv[])
{
    if (argc == 3 && std::strncmp(argv[1], "--exit-", 7) == 0)
        return runChild(argv[1], argv[2]);
    QCoreApplication application(argc, argv);
    TestLogShutdown test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_logshutdown.moc"
