// SPDX-License-Identifier: LGPL-2.1-or-later

// A process that is killed while it logs: with direct connections and a flush after each line,
// every line whose call has returned is in the files.

#include "logfolder.h"
#include "loghandler.h"
#include "messagelog.h"
#include "program.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtTest/QTest>

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

static const QString app = QLatin1String("app");
// The child logs until it is killed, the first one at its start and the last one about here, some
// changes of files later.
static const int latestLine = 2400;

/** The number of the last line whose call has returned, in memory shared by two processes. */
class SharedNumber
{
public:
    explicit SharedNumber(const QString &fileName)
    {
        const int file =
            ::open(QFile::encodeName(fileName).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        void *memory = MAP_FAILED;
        if (file >= 0 && ftruncate(file, sizeof(int)) == 0)
            memory = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        if (memory == MAP_FAILED)
            qFatal("cannot share memory");
        ::close(file);
        number = static_cast<int *>(memory);
    }
    ~SharedNumber() { munmap(number, sizeof(int)); }

    int get() const { return __atomic_load_n(number, __ATOMIC_ACQUIRE); }
    void set(int value) { __atomic_store_n(number, value, __ATOMIC_RELEASE); }

private:
    Q_DISABLE_COPY(SharedNumber)

    int *number;
};

class TestLogCrash : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void losesNoLine();
};

static void sleepFor(long nanoseconds)
{
    const timespec time = {0, nanoseconds};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &time, nullptr);
}

/** The numbers of the lines in the files, in order; a line in the making counts as the next one. */
static QList<int> numbersIn(const QByteArray &bytes)
{
    QList<int> numbers;
    for (const QByteArray &line : bytes.split('\n')) {
        if (line.contains(" Crash "))
            numbers << line.left(5).trimmed().toInt();
    }
    return numbers;
}

void TestLogCrash::losesNoLine()
{
    const int rounds = 120;
    int rotated = 0;
    for (int round = 0; round < rounds; ++round) {
        const LogFolder folder;
        SharedNumber returned(folder.filePath(QLatin1String("number")));
        Program child("/proc/self/exe", QStringList() << QLatin1String("--log") << folder.path());
        QElapsedTimer clock;
        clock.start();
        // From one moment in the life of the child to the next, round by round.
        const int target = 1 + round * latestLine / rounds;
        while (returned.get() < target && clock.elapsed() < 60000)
            sleepFor(20000);
        sleepFor(round * 7919 % 50000);
        child.signal(SIGKILL);
        QCOMPARE(child.wait(), -SIGKILL);

        const int last = returned.get();
        QVERIFY(last >= target);
        const QList<int> numbers = numbersIn(folder.readAll());
        QVERIFY(!numbers.isEmpty());
        QVERIFY2(numbers.last() == last || numbers.last() == last + 1,
                 qPrintable(QString::fromLatin1("%1 of %2 lines").arg(numbers.last()).arg(last)));
        // While there are fewer than ten files none can have gone; file 8 is the ninth.
        if (!QFile::exists(folder.file(8)) && !QFile::exists(folder.file(9)))
            QCOMPARE(numbers.first(), 1);
        for (int i = 0; i < int(numbers.size()); ++i)
            QCOMPARE(numbers.at(i), numbers.first() + i);
        rotated += QFile::exists(folder.file(1)) ? 1 : 0;
    }
    // The test is about changing files, too.
    QVERIFY(rotated > rounds / 4);
}

static int logUntilKilled(const char *directory)
{
    int argc = 0;
    QCoreApplication application(argc, nullptr);
    const MessageLog quiet;
    const QString folder = QFile::decodeName(directory);
    SharedNumber returned(folder + QLatin1String("/number"));
    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    if (!handler.open(folder + QLatin1Char('/'), app))
        return 1;
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
                     Qt::DirectConnection);
    const QString className = QLatin1String("Crash");
    const QString message(200, QLatin1Char('m'));
    for (int number = 1;; ++number) {
        Trace::log(8, 4, className, app, message);
        returned.set(number);
    }
}

int main(int argc, char *argv[])
{
    if (argc == 3 && std::strcmp(argv[1], "--log") == 0)
        return logUntilKilled(argv[2]);
    QCoreApplication application(argc, argv);
    TestLogCrash test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_logcrash.moc"
