// SPDX-License-Identifier: LGPL-2.1-or-later

// The end of a process whose threads go on logging, by exit() or by a second Trace.

#include "logfolder.h"
#include "loghandler.h"
#include "messagelog.h"
#include "program.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtTest/QTest>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <unistd.h>

static const QString app = QLatin1String("app");

class TestTraceEnd : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void endsWithItsOwnStatus_data();
    void endsWithItsOwnStatus();
};

void TestTraceEnd::endsWithItsOwnStatus_data()
{
    QTest::addColumn<QString>("role");
    QTest::addColumn<int>("rounds");
    QTest::addColumn<int>("status");
    const int often = 10;
    QTest::newRow("exit, threads log") << QString::fromLatin1("--exit") << often << 3;
    QTest::newRow("exit, threads log to static objects")
        << QString::fromLatin1("--exit-static") << often << 3;
    QTest::newRow("a line behind the static members") << QString::fromLatin1("--late") << 1 << 0;
    QTest::newRow("second trace, threads log") << QString::fromLatin1("--second") << often << 255;
    QTest::newRow("second trace, threads log to static objects")
        << QString::fromLatin1("--second-static") << often << 255;
    QTest::newRow("second trace in a slot") << QString::fromLatin1("--slot") << 1 << 255;
    QTest::newRow("second trace in a slot, threads log")
        << QString::fromLatin1("--slot-busy") << often << 255;
    QTest::newRow("second trace, a line does not end")
        << QString::fromLatin1("--stuck") << 2 << 255;
    QTest::newRow("second trace, a line to a static handler does not end")
        << QString::fromLatin1("--stuck-static") << 2 << 255;
}

void TestTraceEnd::endsWithItsOwnStatus()
{
    QFETCH(QString, role);
    QFETCH(int, rounds);
    QFETCH(int, status);
    const LogFolder folder;
    for (int round = 0; round < rounds; ++round) {
        Program process("/proc/self/exe", QStringList() << role << folder.directory());
        QCOMPARE(process.wait(), status);
    }
}

namespace
{

std::atomic<int> delivered(0);

/** What else happens while a line is delivered. */
class Guest : public QObject
{
    Q_OBJECT
public:
    bool constructsATrace = false;
    bool staysForEver = false;
    std::atomic<bool> isHere{false};

public Q_SLOTS:
    void come()
    {
        ++delivered;
        if (constructsATrace)
            new Trace(nullptr);
        isHere = true;
        while (staysForEver)
            pause();
    }
};

/** When all of the program's objects and the library's static members are gone. */
void logLate()
{
    const int before = delivered;
    Trace::log(8, 4, app, app, QLatin1String("late"));
    _exit(delivered == before ? 0 : 1);
}

void startThreads(int count)
{
    for (int i = 0; i < count; ++i) {
        std::thread([] {
            for (;;)
                Trace::log(8, 4, QLatin1String("app"), QLatin1String("thread"),
                           QLatin1String("message"));
        }).detach();
    }
}

void waitForLines(int count)
{
    while (delivered < count)
        std::this_thread::yield();
}

void open(LogHandler &handler, const char *directory)
{
    if (!handler.open(QString::fromLocal8Bit(directory), app))
        _exit(2);
    QObject::connect(Trace::instance, SIGNAL(LogMessage(QString)), &handler,
                     SLOT(logMessage(QString)), Qt::DirectConnection);
}

/** Ends this process by exit() or by a second Trace. */
void runChild(const QByteArray &role, const char *directory)
{
    int argc = 0;
    new QCoreApplication(argc, nullptr);
    new MessageLog; // for quiet
    if (role.endsWith("-static")) {
        static Trace trace(nullptr);
        static LogHandler handler(nullptr, false);
        open(handler, directory);
    } else {
        new Trace(nullptr);
        open(*new LogHandler(nullptr, false), directory);
    }
    Guest *const guest = new Guest;
    QObject::connect(Trace::instance, SIGNAL(LogMessage(QString)), guest, SLOT(come()),
                     Qt::DirectConnection);
    if (role == "--late") {
        Trace::log(8, 4, app, app, QLatin1String("early"));
        std::exit(1); // logLate() says how it really ends
    }
    if (role.startsWith("--slot")) {
        startThreads(role == "--slot-busy" ? 3 : 0);
        waitForLines(role == "--slot-busy" ? 50 : 0);
        Trace::lock();
        guest->constructsATrace = true;
        Trace::unlock();
        Trace::log(8, 4, app, app, QLatin1String("message"));
    } else if (role.startsWith("--stuck")) {
        guest->staysForEver = true;
        startThreads(2);
        waitForLines(1);
    } else {
        startThreads(4);
        waitForLines(50);
    }
    if (role.startsWith("--exit"))
        std::exit(3);
    new Trace(nullptr);
}

// Before the static members of the library are constructed, so that it runs when they are gone.
void beforeAnything(int argc, char **argv, char **)
{
    if (argc == 3 && std::strcmp(argv[1], "--late") == 0)
        std::atexit(logLate);
}

__attribute__((section(".preinit_array"), used)) void (*const preinit)(int, char **,
                                                                       char **) = beforeAnything;

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 3 && std::strncmp(argv[1], "--", 2) == 0) {
        runChild(argv[1], argv[2]);
        return 1;
    }
    QCoreApplication application(argc, argv);
    TestTraceEnd test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_traceend.moc"
