// SPDX-License-Identifier: LGPL-2.1-or-later

// A process that gets signals all the time, whose handler lets system calls be interrupted instead of
// going on. What is promised: nothing is lost by that, neither lines nor requests nor answers.

#include "connectionsupport.h"
#include "kivfixture.h"
#include "logfolder.h"
#include "loghandler.h"
#include "mortaldaemon.h"
#include "pidfilehandler.h"
#include "threadtimes.h"

#include <QtCore/QFile>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

#include <atomic>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace
{

std::atomic<int> interruptions(0);

void interrupt(int)
{
    ++interruptions;
}

/** Sends signals to the thread that made it, every millisecond while the object lives. */
class Interrupter
{
public:
    Interrupter()
        : victim(pthread_self())
        , stopped(false)
    {
        struct sigaction action;
        std::memset(&action, 0, sizeof action);
        action.sa_handler = interrupt; // without SA_RESTART
        sigaction(SIGUSR1, &action, nullptr);
        thread = std::thread([this] {
            while (!stopped) {
                pthread_kill(victim, SIGUSR1);
                usleep(1000);
            }
        });
    }
    ~Interrupter()
    {
        stopped = true;
        thread.join();
    }

private:
    Q_DISABLE_COPY(Interrupter)

    pthread_t victim;
    std::atomic<bool> stopped;
    std::thread thread;
};

/** A pipe in the place of a log file, with a reader that is slower than the writer. */
class SlowFile
{
public:
    explicit SlowFile(int file)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0 || dup2(ends[1], file) < 0)
            qFatal("no pipe");
        close(ends[1]);
        fcntl(ends[0], F_SETPIPE_SZ, 4096);
        reader = std::thread([this, ends] {
            char bytes[1000];
            for (ssize_t size; (size = read(ends[0], bytes, sizeof bytes)) > 0;) {
                content.append(bytes, int(size));
                usleep(1000);
            }
            close(ends[0]);
        });
    }

    /** All that was written, once the writer has closed the file. */
    QByteArray take()
    {
        reader.join();
        return content;
    }

private:
    Q_DISABLE_COPY(SlowFile)

    QByteArray content;
    std::thread reader;
};

} // namespace

class TestInterruptions : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { interruptions = 0; }
    void loseNoLine();
    void loseNoLineWhileFilesChange();
    void loseNoAnswer();
    void loseNoPid();
};

/** Each write waits for the reader, so that many of them are interrupted, half-way too. */
void TestInterruptions::loseNoLine()
{
    const MessageLog quiet;
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), QLatin1String("app")));
    SlowFile file(folder.descriptors().first());
    QByteArray expected;
    {
        const Interrupter interrupter;
        for (int i = 0; i < 100; ++i) {
            const QString line = repeated(i * 10, char('a' + i % 26));
            handler.logMessage(line);
            expected += line.toLatin1() + '\n';
        }
        handler.close(QLatin1String("end"));
    }
    QCOMPARE(file.take(), expected + trailer("end"));
    QVERIFY(interruptions > 0);
}

void TestInterruptions::loseNoLineWhileFilesChange()
{
    const MessageLog quiet;
    const LogFolder folder;
    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), QLatin1String("app")));
    connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
            Qt::DirectConnection);
    const int first = Trace::linenumber;
    const int count = 4000;
    {
        const Interrupter interrupter;
        for (int i = 0; i < count; ++i)
            Trace::log(8, 4, QLatin1String("Signals"), QLatin1String("log"), QString::number(i));
        QVERIFY(spinUntil([] { return interruptions > 0; }));
    }
    int number = first;
    for (int written : folder.numbersOf("Signals"))
        QCOMPARE(written, number++);
    QCOMPARE(number - first, count);
}

void TestInterruptions::loseNoAnswer()
{
    MortalDaemon daemon;
    daemon.start();
    KivFixture fixture;
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    fixture.take();
    QStringList said;
    const int count = 20;
    bool sent = true;
    bool answered = false;
    {
        const Interrupter interrupter;
        tick(fixture);
        sent = spinUntil([&]() {
            said << fixture.take();
            return said.contains(latin1("signal: local connected")) &&
                   said.contains(latin1("signal: domain connected"));
        });
        said.clear();
        for (int i = 0; i < count; ++i) {
            const QString padding(50000, QLatin1Char('x')); // so that writing has to wait, too
            const QString path = latin1("/large/100000");
            sent = sent && KivInterface::requestData(padding, KivInterface::KIVTARGET_LOCAL) &&
                   KivInterface::requestData(padding, KivInterface::KIVTARGET_DOMAIN) &&
                   KivInterface::requestDataGet(latin1("g"), path) &&
                   KivInterface::requestDataGet(latin1("g"), path, KivInterface::KIVTARGET_DOMAIN);
        }
        answered = spinUntil([&]() {
            said << fixture.take();
            return said.size() >= 2 * count;
        });
    }
    QVERIFY(sent);
    QVERIFY(answered);
    const QString answer =
        latin1("signal: get(g, ") + MortalDaemon::answerTo(1, latin1("g"), 100000) + latin1(")");
    QCOMPARE(said.count(answer), 2 * count);
    QCOMPARE(int(said.size()), 2 * count);
    QVERIFY(interruptions > 0);
}

void TestInterruptions::loseNoPid()
{
    const TemporaryFolder folder;
    const QByteArray path = QFile::encodeName(folder.filePath(QLatin1String("pid")));
    const Interrupter interrupter;
    do {
        PidFileHandler handler(path.constData());
        QCOMPARE(handler.writePid(), int(getpid()));
        QCOMPARE(handler.readPid(), int(getpid()));
    } while (interruptions < 20);
}

QTEST_MAIN(TestInterruptions)
#include "tst_interruptions.moc"
