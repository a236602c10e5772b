// SPDX-License-Identifier: LGPL-2.1-or-later

// A handler whose file takes no more bytes, because it is a pipe that nobody reads.

#include "logfolder.h"
#include "loghandler.h"
#include "messagelog.h"
#include "waiting.h"

#include <QtTest/QTest>

#include <atomic>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

class TestLogBlocked : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void doesNotStopAnotherHandler();
};

/** A pipe in the place of the one log file that is open. */
class FullPipe
{
public:
    explicit FullPipe(const LogFolder &folder)
    {
        const QList<int> files = folder.descriptors();
        if (files.size() != 1 || pipe(ends) != 0 || dup2(ends[1], files.first()) < 0)
            qFatal("cannot put a pipe in the place of the file");
        capacity = fcntl(ends[0], F_GETPIPE_SZ);
    }
    ~FullPipe()
    {
        ::close(ends[0]);
        ::close(ends[1]);
    }

    int size() const { return capacity; }

    bool isFull() const
    {
        int bytes = 0;
        return ioctl(ends[0], FIONREAD, &bytes) == 0 && bytes == capacity;
    }

    /** Reads so many bytes. */
    void read(int bytes)
    {
        char buffer[4096];
        while (bytes > 0) {
            const ssize_t size = ::read(ends[0], buffer, sizeof buffer);
            if (size <= 0)
                qFatal("cannot read the pipe");
            bytes -= int(size);
        }
    }

private:
    Q_DISABLE_COPY(FullPipe)

    int ends[2];
    int capacity;
};

void TestLogBlocked::doesNotStopAnotherHandler()
{
    const MessageLog quiet;
    const LogFolder folder;
    LogHandler blocked(nullptr, false);
    QVERIFY(blocked.open(folder.directory(), QLatin1String("blocked")));
    FullPipe pipe(folder);
    const int length = pipe.size() + 1000; // fits in a file
    std::thread blockedWriter([&] { blocked.logMessage(QString(length, QLatin1Char('x'))); });
    QVERIFY(waitFor([&] { return pipe.isFull(); }));

    std::atomic<bool> done(false);
    std::thread writer([&] {
        LogHandler other(nullptr, false);
        other.open(folder.directory(), QLatin1String("app"));
        other.logMessage(QLatin1String("line"));
        other.flush();
        done = true;
    });
    const bool wentOn = waitFor([&] { return bool(done); });
    pipe.read(length + 1);
    blockedWriter.join();
    writer.join();
    QVERIFY(wentOn);
    QCOMPARE(folder.read(0), QByteArray("line\n"));
}

QTEST_MAIN(TestLogBlocked)
#include "tst_logblocked.moc"
