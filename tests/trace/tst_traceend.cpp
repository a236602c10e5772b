// SPDX-License-Identifier: LGPL-2.1-or-later

// The end of a process whose threads go on logging, by exit() or by a second Trace.

#include "logfolder.h"
#include "loghandler.h"
#include "messagelog.h"
#include "program.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtTest/QTest>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

static const QString app = QLatin1String("app");

class TestTraceEnd : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void endsWithItsOwnStatus_data();
    void endsWithItsOwnStatus();
    void completesALineThatIsBeingWritten();
    void letsThreadsGoThatWaitForTheLock();
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
    QTest::newRow("exit, threads log without a handler")
        << QString::fromLatin1("--exit-plain") << often << 3;
    QTest::newRow("exit, the lock is held") << QString::fromLatin1("--exit-locked") << 1 << 3;
    QTest::newRow("exit, a line does not end") << QString::fromLatin1("--exit-stuck") << 1 << 3;
    QTest::newRow("exit, a line to a static handler does not end")
        << QString::fromLatin1("--exit-stuck-static") << 1 << 3;
    QTest::newRow("exit, a line to a static handler without a name does not end")
        << QString::fromLatin1("--exit-stuck-static-nameless") << 1 << 3;
    QTest::newRow("exit, a line to a static handler without a folder does not end")
        << QString::fromLatin1("--exit-stuck-static-folderless") << 1 << 3;
    QTest::newRow("a line behind the static members") << QString::fromLatin1("--late") << 1 << 0;
    QTest::newRow("a line behind the static members, without a handler")
        << QString::fromLatin1("--late-plain") << 1 << 0;
    QTest::newRow("the file of a line that does not end stays open")
        << QString::fromLatin1("--late-stuck-static") << 1 << 0;
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

/** It is waited for a second at most, so a round in which the machine takes as long counts for nothing. */
void TestTraceEnd::completesALineThatIsBeingWritten()
{
    QByteArray written;
    QElapsedTimer timer;
    do {
        const LogFolder folder;
        timer.start();
        Program process("/proc/self/exe",
                        QStringList() << QLatin1String("--exit-slow") << folder.directory());
        QCOMPARE(process.wait(), 3);
        written = folder.read(0);
    } while (written.isEmpty() && timer.hasExpired(1000));
    QVERIFY2(written.contains(" slow line "), written.constData());
    QVERIFY(written.endsWith('\n'));
}

/**
 * A thread that has left the lock may take its time to say so. One process in which all have said so
 * is enough: if nobody waits for them, they never have.
 */
void TestTraceEnd::letsThreadsGoThatWaitForTheLock()
{
    int status = 1;
    for (int round = 0; round < 10 && status == 1; ++round) {
        const LogFolder folder;
        Program process("/proc/self/exe", QStringList() << QLatin1String("--late-stuck-waiting")
                                                        << folder.directory());
        status = process.wait();
    }
    QCOMPARE(status, 0);
}

namespace
{

std::atomic<int> delivered(0);

/** The threads that log one line each behind one that does not end, and those whose call is over. */
const int waitingThreads = 200;
std::atomic<int> begun(0);
std::atomic<int> returned(0);

/** What must be open behind the static objects. */
const int none = -2;
int keptDescriptor = none;

/** What else happens while a line is delivered. */
class Guest : public QObject
{
    Q_OBJECT
public:
    bool constructsATrace = false;
    bool staysForEver = false;
    bool isSlow = false;
    std::atomic<bool> isHere{false};

public Q_SLOTS:
    void come()
    {
        ++delivered;
        if (constructsATrace)
            new Trace(nullptr);
        isHere = true;
        if (isSlow)
            usleep(100000);
        while (staysForEver)
            pause();
    }
};

/** When all of the program's objects and the library's static members are gone. */
void logLate()
{
    const int before = delivered;
    Trace::log(8, 4, QLatin1String("app"), QLatin1String("app"), QLatin1String("late"));
    const bool kept = keptDescriptor == none || fcntl(keptDescriptor, F_GETFD) >= 0;
    _exit(delivered == before && returned == begun && kept ? 0 : 1);
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

void startThreadsThatWait()
{
    for (int i = 0; i < waitingThreads; ++i) {
        std::thread([] {
            ++begun;
            Trace::log(8, 4, QLatin1String("app"), QLatin1String("thread"),
                       QLatin1String("message"));
            ++returned;
        }).detach();
    }
    while (begun < waitingThreads)
        std::this_thread::yield();
}

void waitForLines(int count)
{
    while (delivered < count)
        std::this_thread::yield();
}

void open(LogHandler &handler, const QByteArray &role, const char *directory)
{
    const bool folderless = role.endsWith("-folderless");
    const QString folder =
        folderless ? QString::fromLatin1("/proc/self/exe/") : QString::fromLocal8Bit(directory);
    if (handler.open(folder, role.endsWith("-nameless") ? QString() : app) == folderless)
        _exit(2);
    QObject::connect(Trace::instance, SIGNAL(LogMessage(QString)), &handler,
                     SLOT(logMessage(QString)), Qt::DirectConnection);
}

int descriptorOf(const QString &file)
{
    struct stat wanted;
    if (stat(QFile::encodeName(file).constData(), &wanted) != 0)
        return -1;
    for (int descriptor = 0; descriptor < 256; ++descriptor) {
        struct stat found;
        if (fstat(descriptor, &found) == 0 && found.st_dev == wanted.st_dev &&
            found.st_ino == wanted.st_ino)
            return descriptor;
    }
    return -1;
}

/** Constructs what logs, and connects it behind the guest. */
void construct(const QByteArray &role, const char *directory, Guest *guest)
{
    const bool isStatic = role.contains("-static");
    if (isStatic)
        static Trace trace(nullptr);
    else
        new Trace(nullptr);
    QObject::connect(Trace::instance, SIGNAL(LogMessage(QString)), guest, SLOT(come()),
                     Qt::DirectConnection);
    if (role.endsWith("-plain"))
        return;
    if (isStatic) {
        static LogHandler handler(nullptr, false);
        open(handler, role, directory);
        if (role == "--late-stuck-static")
            keptDescriptor = descriptorOf(handler.getCurrentLogFile());
    } else {
        open(*new LogHandler(nullptr, false), role, directory);
    }
}

/** Ends this process by exit() or by a second Trace. */
void runChild(const QByteArray &role, const char *directory)
{
    int argc = 0;
    new QCoreApplication(argc, nullptr);
    // As long as the process; but Qt warns of a locked mutex when the log's static objects are gone.
    static MessageLog *const quiet = role == "--exit-locked" ? nullptr : new MessageLog;
    Q_UNUSED(quiet)
    Guest *const guest = new Guest;
    construct(role, directory, guest);
    if (role.startsWith("--slot")) {
        startThreads(role == "--slot-busy" ? 3 : 0);
        waitForLines(role == "--slot-busy" ? 50 : 0);
        Trace::lock();
        guest->constructsATrace = true;
        Trace::unlock();
        Trace::log(8, 4, app, app, QLatin1String("message"));
    } else if (role == "--exit-slow") {
        guest->isSlow = true;
        std::thread([] {
            Trace::log(8, 4, QLatin1String("app"), QLatin1String("thread"),
                       QLatin1String("slow line"));
        }).detach();
        waitForLines(1);
    } else if (role == "--late-stuck-waiting") {
        guest->staysForEver = true;
        startThreads(1);
        waitForLines(1);
        startThreadsThatWait();
    } else if (role.contains("-stuck")) {
        guest->staysForEver = true;
        startThreads(2);
        waitForLines(1);
    } else if (role.startsWith("--late")) {
        Trace::log(8, 4, app, app, QLatin1String("early"));
    } else {
        startThreads(4);
        waitForLines(50);
    }
    if (role == "--exit-locked")
        Trace::lock();
    if (role.startsWith("--exit"))
        std::exit(3);
    if (role.startsWith("--late"))
        std::exit(1); // logLate() says how it really ends
    new Trace(nullptr);
}

// Before the static members of the library are constructed, so that it runs when they are gone.
void beforeAnything(int argc, char **argv, char **)
{
    if (argc == 3 && std::strncmp(argv[1], "--late", 6) == 0)
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
