// SPDX-License-Identifier: LGPL-2.1-or-later

// The flush timer says a line on standard output each second. What that does where nobody reads it,
// where its reader has gone, and where there is no standard output at all. What is promised: as long
// as the process lives, each line whose log call has returned gets into the file, whole and in order.

#include "logfolder.h"
#include "loghandler.h"
#include "messagelog.h"
#include "program.h"
#include "trace.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtTest/QTest>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <thread>
#include <unistd.h>

static const QString app = QLatin1String("app");

namespace
{

/** A pipe in the place of standard output while the object lives. */
class OutputPipe
{
public:
    OutputPipe()
    {
        std::fflush(stdout);
        saved = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
        if (saved < 0 || pipe2(ends, O_CLOEXEC) != 0)
            qFatal("no pipe");
        dup2(ends[1], STDOUT_FILENO);
        close(ends[1]);
    }

    ~OutputPipe()
    {
        // What is left in the stream must not come out later, behind what QtTest says.
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        std::fflush(stdout);
        dup2(saved, STDOUT_FILENO);
        close(saved);
        closeReader();
    }

    void fill()
    {
        char bytes[4096];
        std::memset(bytes, '.', sizeof bytes);
        const int flags = fcntl(STDOUT_FILENO, F_GETFL);
        fcntl(STDOUT_FILENO, F_SETFL, flags | O_NONBLOCK);
        while (write(STDOUT_FILENO, bytes, sizeof bytes) > 0) {
        }
        fcntl(STDOUT_FILENO, F_SETFL, flags);
    }

    /** Whether nothing more fits in. */
    bool isFull() const
    {
        pollfd out = {STDOUT_FILENO, POLLOUT, 0};
        return poll(&out, 1, 0) == 0;
    }

    /** Reads what there is. */
    void drain()
    {
        char bytes[4096];
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
        while (read(ends[0], bytes, sizeof bytes) > 0) {
        }
    }

    void closeReader()
    {
        if (ends[0] >= 0)
            close(ends[0]);
        ends[0] = -1;
    }

private:
    Q_DISABLE_COPY(OutputPipe)

    int saved;
    int ends[2];
};

/** What the handler's timer does each second; so often that standard output is really written. */
void timeOut(LogHandler &handler)
{
    for (int i = 0; i < 1000; ++i)
        handler.onFlushTimeout();
}

QByteArray linesTo(int count)
{
    QByteArray lines;
    for (int i = 0; i < count; ++i)
        lines += QByteArray::number(i) + '\n';
    return lines;
}

/** Passes so many lines to a handler, by its slot. */
void writeLines(LogHandler &handler, int from, int to)
{
    for (int i = from; i < to; ++i)
        QMetaObject::invokeMethod(&handler, "logMessage", Q_ARG(QString, QString::number(i)));
}

} // namespace

class TestStandardOutput : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void letsLinesThroughWhenNobodyReads();
    void keepsLinesOfAThreadThatStandsStill();
    void outlivesItsReader();
    void endsWithItsReaderUnlessTheSignalIsIgnored();
    void mayBeClosed_data();
    void mayBeClosed();
};

/** With direct connections, the thread of the timer stands still, and no other. */
void TestStandardOutput::letsLinesThroughWhenNobodyReads()
{
    const MessageLog quiet;
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    bool stoodStill = false;
    bool wentOn = false;
    { // no verdicts in here: QtTest would tell the pipe
        OutputPipe output;
        output.fill();
        std::atomic<bool> done(false);
        std::thread timer([&] {
            timeOut(handler);
            done = true;
        });
        for (int i = 0; i < 1000; ++i)
            handler.logMessage(QString::number(i));
        stoodStill = !done && output.isFull();
        wentOn = waitFor([&] {
            output.drain();
            return bool(done);
        });
        timer.join();
    }
    QVERIFY(stoodStill);
    QVERIFY(wentOn);
    QCOMPARE(folder.read(0), linesTo(1000));
}

/** With queued connections the timer's thread is the writer's: lines wait, and none is lost. */
void TestStandardOutput::keepsLinesOfAThreadThatStandsStill()
{
    const MessageLog quiet;
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    handler.moveToThread(&handler);
    handler.start();
    bool stoodStill = false;
    bool wentOn = false;
    {
        OutputPipe output;
        output.fill();
        writeLines(handler, 0, 10);
        for (int i = 0; i < 1000; ++i)
            QMetaObject::invokeMethod(&handler, "onFlushTimeout");
        writeLines(handler, 10, 1000);
        stoodStill = waitFor([&] { return folder.read(0) == linesTo(10); }) && output.isFull();
        wentOn = waitFor([&] {
            output.drain();
            return folder.read(0) == linesTo(1000);
        });
        handler.quit();
        handler.wait();
    }
    QVERIFY(stoodStill);
    QVERIFY(wentOn);
    QCOMPARE(folder.read(0), linesTo(1000));
}

void TestStandardOutput::outlivesItsReader()
{
    const MessageLog quiet;
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    {
        OutputPipe output;
        output.closeReader();
        writeLines(handler, 0, 10);
        timeOut(handler);
        writeLines(handler, 10, 20);
    }
    std::signal(SIGPIPE, previous);
    QCOMPARE(folder.read(0), linesTo(20));
}

/** Part of it belongs to other programs. */
void TestStandardOutput::endsWithItsReaderUnlessTheSignalIsIgnored()
{
    const LogFolder folder;
    Program child("/proc/self/exe", QStringList()
                                        << QLatin1String("--reader-gone") << folder.directory());
    QCOMPARE(child.wait(), -SIGPIPE);
    QCOMPARE(folder.read(0), linesTo(10)); // with the system when the process died
}

void TestStandardOutput::mayBeClosed_data()
{
    QTest::addColumn<QString>("instead");
    QTest::newRow("nothing") << QString::fromLatin1("nothing");
    QTest::newRow("/dev/null") << QString::fromLatin1("/dev/null");
}

/**
 * Where nothing stands in their place the log file becomes one of the standard descriptors and gets
 * what is said there, too.
 */
void TestStandardOutput::mayBeClosed()
{
    QFETCH(QString, instead);
    const LogFolder folder;
    Program child("/proc/self/exe",
                  QStringList() << QLatin1String("--closed") << folder.directory() << instead);
    QCOMPARE(child.wait(), 0);
    QList<QByteArray> lines = folder.read(0).split('\n');
    const int before = int(lines.size());
    lines.removeAll("onTimeout");
    lines.removeAll("not a line of the log");
    QCOMPARE(lines, linesTo(20).split('\n'));
    if (instead == QLatin1String("/dev/null"))
        QCOMPARE(int(lines.size()), before);
}

static int runWithoutReader(const QString &directory)
{
    std::signal(SIGPIPE, SIG_DFL);
    OutputPipe output;
    output.closeReader();
    LogHandler handler(nullptr, false);
    if (!handler.open(directory, app))
        return 1;
    writeLines(handler, 0, 10);
    timeOut(handler);
    return 2;
}

static int runWithClosedDescriptors(const QString &directory, const QByteArray &instead)
{
    for (int descriptor = 0; descriptor <= 2; ++descriptor)
        close(descriptor);
    if (instead == "/dev/null") {
        for (int descriptor = 0; descriptor <= 2; ++descriptor) {
            if (open("/dev/null", O_RDWR) != descriptor)
                return 1;
        }
    }
    LogHandler handler(nullptr, false);
    if (!handler.open(directory, app))
        return 2;
    writeLines(handler, 0, 10);
    timeOut(handler);
    std::fflush(stdout);
    std::fputs("not a line of the log\n", stderr);
    writeLines(handler, 10, 20);
    handler.flush();
    return 0;
}

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (argc == 3 && std::strcmp(argv[1], "--reader-gone") == 0)
        return runWithoutReader(arguments.at(2));
    if (argc == 4 && std::strcmp(argv[1], "--closed") == 0)
        return runWithClosedDescriptors(arguments.at(2), argv[3]);
    TestStandardOutput test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_standardoutput.moc"
