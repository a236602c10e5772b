// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivlogs.h"
#include "messagelog.h"
#include "texts.h"
#include "trace.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QMap>
#include <QtCore/QScopedPointer>
#include <QtCore/QStringList>
#include <QtTest/QTest>

#include <algorithm>
#include <atomic>
#include <pthread.h>
#include <stdint.h>
#include <sys/syscall.h>
#include <thread>
#include <type_traits>
#include <unistd.h>
#include <vector>

namespace
{

const int classColumn = 6;

void log(const char *message)
{
    Trace::log(8, 2, text("Pump"), text("start"), text(message));
}

/** The thread's number in a one-line entry. */
int ordinalIn(const QString &line)
{
    return line.section(text(", tid="), 1).section(QLatin1Char(','), 0, 0).toInt();
}

/** The number of a line. */
int numberIn(const QString &line)
{
    return line.left(classColumn).trimmed().toInt();
}

QString messageIn(const QString &line)
{
    return traceEntry(line).section(QLatin1Char('|'), 2);
}

void await(const std::atomic<int> &variable, int value)
{
    while (variable.load() != value)
        std::this_thread::yield();
}

/** Whether a thread of this process sleeps in the kernel, as one does that waits for a lock. */
bool sleeps(int kernelThread)
{
    QFile file(QString::fromLatin1("/proc/self/task/%1/stat").arg(kernelThread));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray status = file.readAll(); // "17 (name of the thread) S ..."
    return status.mid(int(status.lastIndexOf(')')) + 2, 1) == "S";
}

/** A Trace whose memory stays readable behind its end, as for a static object. */
class EndingTrace
{
public:
    EndingTrace()
        : trace(new (&memory) Trace(nullptr))
    {
    }
    ~EndingTrace() { end(); }

    void end()
    {
        if (trace)
            trace->~Trace();
        trace = nullptr;
    }

    Trace *get() const { return trace; }

private:
    Q_DISABLE_COPY(EndingTrace)

    std::aligned_storage<sizeof(Trace), alignof(Trace)>::type memory;
    Trace *trace;
};

} // namespace

class TestTraceThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void numbersThreadsInOrderOfTheirFirstLines();
    void keepsEveryLineOfManyThreads();
    void keepsTheOrderOverAQueue();
    void mayBeFilteredWhileOthersLog();
    void mayBeConstructedWhileOthersLog();
    void waitsForTheLock();
    void printsTheLineOfAThreadThatOutlivesTheInstance();

private:
    QScopedPointer<MessageLog> messages;
};

void TestTraceThreads::init()
{
    Trace::linenumber = 1;
    Trace::threadIds.clear();
    messages.reset(new MessageLog);
}

void TestTraceThreads::cleanup()
{
    messages.reset();
}

void TestTraceThreads::numbersThreadsInOrderOfTheirFirstLines()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    std::atomic<int> step(0);
    int secondId = 0;
    int thirdId = 0;

    log("first");
    std::thread second([&] {
        secondId = int(uintptr_t(pthread_self()));
        log("second");
        step.store(1);
        await(step, 2);
        log("second again");
    });
    await(step, 1);
    std::thread third([&] {
        Trace::log(8, 0, text("Pump"), text("start"), text("rejected"));
        thirdId = int(uintptr_t(pthread_self()));
        log("third");
    });
    third.join();
    log("first again");
    step.store(2);
    second.join();

    QStringList seen;
    for (const QString &line : lines.lines)
        seen << QString::fromLatin1("%1 tid=%2 %3")
                    .arg(numberIn(line))
                    .arg(ordinalIn(line))
                    .arg(messageIn(line));
    QCOMPARE(seen, QStringList() << text("1 tid=1 first") << text("2 tid=2 second")
                                 << text("3 tid=3 third") << text("4 tid=1 first again")
                                 << text("5 tid=2 second again"));
    QCOMPARE(Trace::threadIds, QList<int>()
                                   << int(uintptr_t(pthread_self())) << secondId << thirdId);
}

/** Lets threads log lines "THREAD:1", "THREAD:2" ... all at once. */
static void logFromThreads(int threads, int linesEach)
{
    std::atomic<int> ready(0);
    std::vector<std::thread> running;
    for (int thread = 0; thread < threads; ++thread)
        running.emplace_back([&ready, thread, threads, linesEach] {
            ++ready;
            await(ready, threads);
            for (int i = 1; i <= linesEach; ++i)
                Trace::log(8, 5, text("Pump"), text("start"),
                           QString::fromLatin1("%1:%2").arg(thread).arg(i));
        });
    for (std::thread &thread : running)
        thread.join();
}

/** Checks that all lines of logFromThreads() are there, numbered in order from @a number. */
static void checkThreadLines(const QStringList &lines, int threads, int linesEach)
{
    QMap<int, int> lastOf;
    QMap<int, int> ordinalOf;
    QCOMPARE(int(lines.size()), threads * linesEach);
    for (int i = 0; i < int(lines.size()); ++i) {
        const QString &line = lines.at(i);
        const QStringList message = messageIn(line).split(QLatin1Char(':'));
        const int thread = message.value(0).toInt();
        if (numberIn(line) != i + 1 || message.value(1).toInt() != ++lastOf[thread])
            QFAIL(qPrintable(QString::fromLatin1("entry %1 is %2").arg(i).arg(line)));
        const int ordinal = ordinalIn(line);
        if (ordinalOf.value(thread, ordinal) != ordinal)
            QFAIL(qPrintable(text("the thread's number changes in ") + line));
        ordinalOf[thread] = ordinal;
    }
    QList<int> ordinals = ordinalOf.values();
    std::sort(ordinals.begin(), ordinals.end());
    for (int thread = 0; thread < threads; ++thread) {
        QCOMPARE(lastOf.value(thread), linesEach);
        QCOMPARE(ordinals.at(thread), thread + 1);
    }
    QCOMPARE(Trace::linenumber, threads * linesEach + 1);
    QCOMPARE(int(Trace::threadIds.size()), threads);
}

void TestTraceThreads::keepsEveryLineOfManyThreads()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    logFromThreads(8, 1000);
    checkThreadLines(lines.lines, 8, 1000);
}

void TestTraceThreads::keepsTheOrderOverAQueue()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    QObject::disconnect(&trace, nullptr, &lines, nullptr);
    QVERIFY(QObject::connect(&trace, SIGNAL(LogMessage(QString)), &lines, SLOT(line(QString)),
                             Qt::QueuedConnection));
    logFromThreads(4, 250);
    QCOMPARE(int(lines.lines.size()), 0);
    QVERIFY(waitFor([&] { return lines.lines.size() >= 1000; }));
    checkThreadLines(lines.lines, 4, 250);
}

void TestTraceThreads::mayBeFilteredWhileOthersLog()
{
    const int rounds = 2000;
    Trace trace(nullptr);
    TraceLog lines(&trace);
    std::atomic<int> ready(0);
    std::thread low([&] {
        ++ready;
        await(ready, 3);
        for (int i = 1; i <= rounds; ++i)
            Trace::log(8, 1, text("Pump"), text("low"), QString::number(i));
    });
    std::thread high([&] {
        ++ready;
        await(ready, 3);
        for (int i = 1; i <= rounds; ++i)
            Trace::log(8, 5, text("Pump"), text("high"), QString::number(i));
    });
    ++ready;
    await(ready, 3);
    for (int i = 0; i < rounds; ++i)
        trace.applyLogFilters(i % 2 ? 1 : 2, i % 3 ? -1 : 0xff);
    low.join();
    high.join();

    QMap<QString, int> last;
    QMap<QString, int> count;
    for (int i = 0; i < int(lines.lines.size()); ++i) {
        const QString &line = lines.lines.at(i);
        QCOMPARE(numberIn(line), i + 1);
        ++count[messageIn(line)];
        const QString function = traceEntry(line).section(QLatin1Char('|'), 1, 1);
        if (function == text("applyLogFilters"))
            continue;
        // Lines of low level may be missing, but none comes twice or late.
        const int number = messageIn(line).toInt();
        QVERIFY2(number > last[function] && number <= rounds, qPrintable(line));
        QVERIFY2(function == text("low") || number == last[function] + 1, qPrintable(line));
        last[function] = number;
    }
    QCOMPARE(last.value(text("high")), rounds);
    QCOMPARE(count.value(text("Setting LogLevel to: 1")), rounds / 2);
    QCOMPARE(count.value(text("Setting LogLevel to: 2")), rounds / 2);
    QCOMPARE(count.value(text("Setting GroupFilter Mask to: 11111111")), (rounds + 2) / 3);
}

/** A thread that logs one line, then another when it is told to. */
class WaitingLogger
{
public:
    WaitingLogger()
        : kernelThread(0)
        , go(0)
        , thread([this] {
            log("before");
            kernelThread.store(int(syscall(SYS_gettid)));
            await(go, 1);
            log("behind");
        })
    {
        while (!kernelThread.load())
            std::this_thread::yield();
    }
    ~WaitingLogger() { finish(); }

    /** Starts the second line, and waits until the thread waits for the lock. */
    bool startAndWait()
    {
        go.store(1);
        return waitFor([this] { return sleeps(kernelThread.load()); });
    }

    void finish()
    {
        go.store(1);
        if (thread.joinable())
            thread.join();
    }

private:
    Q_DISABLE_COPY(WaitingLogger)

    std::atomic<int> kernelThread;
    std::atomic<int> go;
    std::thread thread;
};

static int nextLine()
{
    Trace::lock();
    const int number = Trace::linenumber;
    Trace::unlock();
    return number;
}

void TestTraceThreads::mayBeConstructedWhileOthersLog()
{
    std::atomic<int> dropped(0);
    std::atomic<bool> ended(false);
    std::thread other([&] {
        while (!ended.load()) {
            log("on");
            ++dropped;
        }
    });
    while (dropped.load() < 100)
        std::this_thread::yield();
    QCOMPARE(nextLine(), 1);

    Trace trace(nullptr);
    while (nextLine() < 100)
        std::this_thread::yield();
    ended.store(true);
    other.join();
    QCOMPARE(int(Trace::threadIds.size()), 1);
}

void TestTraceThreads::waitsForTheLock()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    WaitingLogger logger;
    Trace::lock();
    const bool waits = logger.startAndWait();
    const int heldBack = int(lines.lines.size());
    Trace::linenumber = 70;
    Trace::unlock();
    logger.finish();
    QVERIFY(waits);
    QCOMPARE(heldBack, 1);
    QCOMPARE(lines.lines.size(), 2);
    QCOMPARE(numberIn(lines.lines.at(1)), 70);
    QCOMPARE(messageIn(lines.lines.at(1)), text("behind"));
    QCOMPARE(Trace::linenumber, 71);
}

void TestTraceThreads::printsTheLineOfAThreadThatOutlivesTheInstance()
{
    EndingTrace trace;
    TraceLog lines(trace.get());
    WaitingLogger logger;
    Trace::lock();
    const bool waits = logger.startAndWait();
    trace.end();
    const QStringList atTheEnd = messages->lines();
    Trace::unlock();
    logger.finish();
    QVERIFY(waits);
    QCOMPARE(atTheEnd, QStringList(text("debug: Delting Trace object ")));

    // The time is that of the lock; the rest of the line is known.
    QCOMPARE(messages->lines().size(), 2);
    const QString printed = messages->lines().last();
    const QString expected =
        text("debug: \"    2 Pump                           start                          "
             "behind                                                                          , "
             "tid=1, ");
    QCOMPARE(printed.left(expected.length()), expected);
    QCOMPARE(int(printed.length()),
             int(expected.length() + text("2024-03-01 13:04:05.042\" ").length()));
    QVERIFY(printed.endsWith(text("\" ")));
    QCOMPARE(lines.lines.size(), 1);
    QCOMPARE(messageIn(lines.lines.at(0)), text("before"));
    QCOMPARE(Trace::linenumber, 3);
    QCOMPARE(int(Trace::threadIds.size()), 1);
}

QTEST_MAIN(TestTraceThreads)
#include "tst_tracethreads.moc"
