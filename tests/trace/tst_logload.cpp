// SPDX-License-Identifier: LGPL-2.1-or-later

// Four threads log while the disk is full and while the folder is gone. What is promised: log calls
// return, lines that are in the files are whole and in order, none is there twice, and logging goes on
// by itself when there is room, or a folder, again. What is written meanwhile may be lost.

#include "kivlogs.h"
#include "logtest.h"
#include "privatemounts.h"
#include "skip.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QMap>
#include <QtTest/QTest>

#include <atomic>
#include <cstdio>
#include <fcntl.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

std::atomic<int> linesOnTheWay(0);

} // namespace

/** Counts the lines that the writer is done with. It lives in the same thread, and is told later. */
class LineCounter : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    void count() { --linesOnTheWay; }
};

namespace
{

/** Sends standard output nowhere while the object lives: the writer complains for each line. */
class SilentOutput
{
public:
    SilentOutput()
        : saved(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3))
    {
        std::fflush(stdout);
        const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(null, STDOUT_FILENO);
        close(null);
    }
    ~SilentOutput()
    {
        std::fflush(stdout);
        dup2(saved, STDOUT_FILENO);
        close(saved);
    }

private:
    Q_DISABLE_COPY(SilentOutput)

    int saved;
};

/** A Trace whose lines go to files in a folder. */
struct Logging {
    Logging(const QString &directory, bool direct)
        : trace(nullptr)
        , handler(nullptr, false)
    {
        linesOnTheWay = 0;
        if (!handler.open(directory, app))
            qFatal("cannot open the log");
        const Qt::ConnectionType type = direct ? Qt::DirectConnection : Qt::QueuedConnection;
        QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                         type);
        QObject::connect(&trace, SIGNAL(LogMessage(QString)), &counter, SLOT(count()), type);
        if (!direct) {
            handler.moveToThread(&handler);
            counter.moveToThread(&handler);
        }
        handler.start();
    }

    /** Waits until all lines so far have been dealt with. */
    void catchUp()
    {
        const bool own = handler.thread() == &handler;
        QMetaObject::invokeMethod(&handler, "onFlushTimeout",
                                  own ? Qt::BlockingQueuedConnection : Qt::DirectConnection);
    }

    /** Logs one more line, the last one, and writes all there is. */
    void finish()
    {
        Trace::log(8, 4, QLatin1String("Load"), QLatin1String("last"), QLatin1String("0"));
        handler.quit();
        handler.wait();
    }

    Trace trace;
    LogHandler handler;
    LineCounter counter;
};

/** Four threads that log while the object lives, a little ahead of the writer. */
class Loggers
{
public:
    Loggers()
        : stopped(false)
    {
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([this, i] { log(QString::fromLatin1("logger%1").arg(i)); });
    }
    ~Loggers()
    {
        stopped = true;
        for (std::thread &thread : threads)
            thread.join();
    }

private:
    Q_DISABLE_COPY(Loggers)

    void log(const QString &function)
    {
        for (int message = 0; !stopped; ++message) {
            while (linesOnTheWay > 100)
                usleep(100);
            ++linesOnTheWay;
            Trace::log(8, 4, QLatin1String("Load"), function, QString::number(message));
        }
    }

    std::atomic<bool> stopped;
    std::vector<std::thread> threads;
};

/** What is wrong with the lines of some files, in order, or nothing. */
QString problemIn(const QList<QByteArray> &files)
{
    int lastNumber = 0;
    QMap<QString, int> messages;
    QString last;
    for (const QByteArray &bytes : files) {
        QList<QByteArray> lines = bytes.split('\n');
        lines.removeLast(); // empty, or what the end of the room has left of a line
        for (const QByteArray &line : lines) {
            if (!line.contains(" Load "))
                continue;
            const QStringList entry = traceEntry(QString::fromLatin1(line)).split(QLatin1Char('|'));
            const int number = line.left(line.indexOf(" Load ")).trimmed().toInt();
            const bool isWhole = entry.size() == 3 && line.size() >= 180;
            if (!isWhole || number <= lastNumber ||
                entry.at(2).toInt() < messages.value(entry.at(1)))
                return QString::fromLatin1("behind %1: %2")
                    .arg(lastNumber)
                    .arg(QString::fromLatin1(line));
            lastNumber = number;
            last = entry.at(1);
            messages[last] = entry.at(2).toInt() + 1;
        }
    }
    return last == QLatin1String("last") ? QString() : QLatin1String("the last line is missing");
}

QString problemIn(const QString &directory)
{
    QList<QByteArray> files;
    for (int number = 9; number >= 0; --number) {
        QFile file(directory + QString::fromLatin1("app%1.log").arg(number));
        if (file.open(QIODevice::ReadOnly))
            files << file.readAll();
    }
    return problemIn(files);
}

/** Waits until the writer has paused, as it does at each change of files, so many more times. */
bool waitForPauses(int count)
{
    takePauses();
    int pauses = 0;
    return waitFor([&] {
        pauses += int(takePauses().size());
        return pauses >= count;
    });
}

} // namespace

class TestLogLoad : public LogTest
{
    Q_OBJECT
private Q_SLOTS:
    void goesOnWhenTheFolderIsBack_data();
    void goesOnWhenTheFolderIsBack();
    void goesOnWhenThereIsRoomAgain_data() { goesOnWhenTheFolderIsBack_data(); }
    void goesOnWhenThereIsRoomAgain();
    void writesSoManyLinesForEachPause();
};

void TestLogLoad::goesOnWhenTheFolderIsBack_data()
{
    QTest::addColumn<bool>("direct");
    QTest::newRow("direct") << true;
    QTest::newRow("queued") << false;
}

/** Moves the folder "logs" away. The open file goes along and is written to its end. */
static bool takeAwayForAWhile(const LogFolder &folder, int round)
{
    const QString logs = folder.filePath(QLatin1String("logs"));
    const QString gone = folder.filePath(QString::fromLatin1("gone%1").arg(round));
    return QDir().rename(logs, gone) && waitForPauses(10) && !QFile::exists(logs) &&
           QDir().mkdir(logs) &&
           waitFor([&] { return QFile::exists(logs + QLatin1String("/app0.log")); });
}

void TestLogLoad::goesOnWhenTheFolderIsBack()
{
    QFETCH(bool, direct);
    calls.reset(); // it concerns one thread alone
    const LogFolder folder;
    const QString directory = folder.filePath(QLatin1String("logs/"));
    bool cameBack = true;
    { // no verdicts in here, because nobody would hear of them
        const SilentOutput silence;
        Logging logging(directory, direct);
        {
            const Loggers loggers;
            for (int round = 0; round < 3; ++round)
                cameBack = cameBack && takeAwayForAWhile(folder, round);
        }
        logging.finish();
    }
    QVERIFY(cameBack);
    QCOMPARE(problemIn(directory), QString());
}

static void removeOldFiles(const LogFolder &folder)
{
    for (int number = 1; number < 10; ++number)
        QFile::remove(folder.file(number));
}

void TestLogLoad::goesOnWhenThereIsRoomAgain()
{
    QFETCH(bool, direct);
    const QString problem = privateMountsProblem();
    if (!problem.isEmpty())
        SKIP_TEST(qPrintable(problem));
    calls.reset();
    const LogFolder folder;
    const MemoryFolder disk(folder.path(), 300 * 1024); // less than three files
    QVERIFY(disk.isMounted());
    bool changedFiles = true;
    {
        const SilentOutput silence;
        Logging logging(folder.directory(), direct);
        {
            const Loggers loggers;
            for (int round = 0; round < 3; ++round) {
                changedFiles = changedFiles && waitForPauses(5); // as if there were room
                removeOldFiles(folder);
            }
            changedFiles = changedFiles && waitForPauses(1);
        }
        logging.catchUp();
        removeOldFiles(folder);
        logging.finish();
    }
    QVERIFY(changedFiles);
    QCOMPARE(problemIn(folder.directory()), QString());
}

/** What the pauses let through: a file of usual lines for every half second. */
void TestLogLoad::writesSoManyLinesForEachPause()
{
    const LogFolder folder;
    Logging logging(folder.directory(), true);
    const int usualLength = 180;
    const int linesInAFile = limit / usualLength;
    takePauses();
    for (int i = 0; i < 3 * linesInAFile + 1; ++i)
        Trace::log(8, 4, QLatin1String("Load"), app, QLatin1String("message"));
    QCOMPARE(takePauses(), QList<int>() << 500 << 500 << 500);
    const QByteArray oneFile = folder.read(2);
    QCOMPARE(int(oneFile.count(" Load ")), linesInAFile);
    QCOMPARE(linesInAFile * 1000 / 500, 1136); // the figure in the documents
    QCOMPARE(int(oneFile.split('\n').at(5).size()), usualLength);
    logging.finish();
}

int main(int argc, char *argv[])
{
    enterPrivateMounts();
    QCoreApplication application(argc, argv);
    TestLogLoad test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_logload.moc"
