// SPDX-License-Identifier: LGPL-2.1-or-later

// Several threads log while filters change, syslog opens and closes, and files change.

#include "kivlogs.h"
#include "logfolder.h"
#include "loghandler.h"
#include "messagelog.h"
#include "trace.h"

#include <QtCore/QMap>
#include <QtTest/QTest>

#include <atomic>
#include <thread>
#include <vector>

static const QString app = QLatin1String("app");
static const int loggers = 4;
static const int linesEach = 600;

/** A Trace whose lines go to files. */
struct LogFiles {
    explicit LogFiles(Qt::ConnectionType type)
        : trace(nullptr)
        , handler(nullptr, false)
        , firstNumber(Trace::linenumber)
    {
        if (!handler.open(folder.directory(), app))
            qFatal("cannot open the log");
        QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                         type);
    }

    const LogFolder folder;
    const MessageLog quiet;
    Trace trace;
    LogHandler handler;
    const int firstNumber;
};

class TestLogThreads : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void keepsLinesInOrder_data();
    void keepsLinesInOrder();
    void filtersWhileOthersLog();
    void flushesWhileOthersLog();
};

/** Takes the lines apart and checks that nothing is missing, doubled, or out of order. */
static void checkLines(const QByteArray &bytes, int firstNumber, int count)
{
    int number = firstNumber;
    QMap<QString, QString> tids;
    QMap<QString, int> messages;
    for (const QByteArray &bytesOfLine : bytes.split('\n')) {
        const QString line = QString::fromLatin1(bytesOfLine);
        if (!line.contains(QLatin1String(" Threads ")))
            continue;
        QCOMPARE(line.left(5).trimmed().toInt(), number++);
        const QStringList entry = traceEntry(line).split(QLatin1Char('|'));
        const QString tid = line.section(QLatin1String(", "), 1, 1);
        QVERIFY(tid.startsWith(QLatin1String("tid=")));
        if (!tids.contains(entry.at(1)))
            tids[entry.at(1)] = tid;
        QCOMPARE(tid, tids.value(entry.at(1)));
        QCOMPARE(entry.at(2).toInt(), messages[entry.at(1)]++);
    }
    QCOMPARE(number - firstNumber, count);
    QCOMPARE(int(tids.size()), loggers);
    QStringList different = tids.values();
    different.removeDuplicates();
    QCOMPARE(int(different.size()), loggers);
}

/** Starts the threads and waits for them, doing @a meanwhile over and over. */
template <typename Work>
static void logFromThreads(Work meanwhile)
{
    std::atomic<int> running(loggers);
    std::vector<std::thread> threads;
    for (int i = 0; i < loggers; ++i) {
        threads.emplace_back([i, &running] {
            const QString function = QString::fromLatin1("logger%1").arg(i);
            for (int message = 0; message < linesEach; ++message)
                Trace::log(8, 4, QLatin1String("Threads"), function, QString::number(message));
            --running;
        });
    }
    while (running)
        meanwhile();
    for (std::thread &thread : threads)
        thread.join();
}

void TestLogThreads::keepsLinesInOrder_data()
{
    QTest::addColumn<bool>("direct");
    QTest::newRow("direct") << true;
    QTest::newRow("queued") << false;
}

void TestLogThreads::keepsLinesInOrder()
{
    QFETCH(bool, direct);
    LogFiles files(direct ? Qt::DirectConnection : Qt::QueuedConnection);
    if (!direct)
        files.handler.moveToThread(&files.handler);
    files.handler.start();
    logFromThreads([] { std::this_thread::yield(); });
    files.handler.quit();
    QVERIFY(files.handler.wait());
    QVERIFY(files.folder.entries().size() > 3);
    checkLines(files.folder.readAll(), files.firstNumber, loggers * linesEach);
}

void TestLogThreads::filtersWhileOthersLog()
{
    LogFiles files(Qt::DirectConnection);
    int round = 0;
    logFromThreads([&] {
        // Not so many that the oldest file goes.
        if (++round > 300) {
            std::this_thread::yield();
            return;
        }
        files.trace.applyLogFilters(round % 6, round % 16);
        files.trace.openSysLog(app);
        files.trace.toggleConsolePrint();
        files.trace.closeLoggers();
        files.trace.applyLogFilters(1, 0xffff);
    });
    // Some lines are filtered; those that are not are numbered without a gap.
    int number = files.firstNumber;
    for (const QByteArray &line : files.folder.readAll().split('\n')) {
        if (line.size() > 100)
            QCOMPARE(line.left(5).trimmed().toInt(), number++);
    }
    QCOMPARE(number, int(Trace::linenumber));
}

void TestLogThreads::flushesWhileOthersLog()
{
    LogFiles files(Qt::DirectConnection);
    flushAfterEachLogMsg = false;
    logFromThreads([&] {
        files.handler.flush();
        if (files.handler.getCurrentLogFile() != files.folder.file(0))
            qFatal("another file");
    });
    flushAfterEachLogMsg = true;
    files.handler.flush();
    checkLines(files.folder.readAll(), files.firstNumber, loggers * linesEach);
}

QTEST_MAIN(TestLogThreads)
#include "tst_logthreads.moc"
