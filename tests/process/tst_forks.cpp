// SPDX-License-Identifier: LGPL-2.1-or-later

// A process that forks while its threads log. What is promised: the parent loses no line, none comes
// twice, and a child that leaves by _exit() or by exec adds nothing and keeps nothing open.

#include "childprocess.h"
#include "logfolder.h"
#include "loghandler.h"
#include "messagelog.h"
#include "program.h"
#include "random.h"
#include "threadtimes.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtTest/QtTest>

#include <atomic>
#include <cstring>
#include <dirent.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

class TestForks : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void loseNoLine_data();
    void loseNoLine();
    void inheritNoFile();
};

static const int loggers = 4;
static const int linesEach = 500;

/** Logs from four threads, and calls something meanwhile. */
template <typename Work>
static void logFromThreads(Work meanwhile)
{
    std::atomic<int> running(loggers);
    std::vector<std::thread> threads;
    for (int i = 0; i < loggers; ++i) {
        threads.emplace_back([&running] {
            for (int line = 0; line < linesEach; ++line) {
                Trace::log(8, 4, QLatin1String("Forks"), QLatin1String("log"),
                           QString::number(line));
                usleep(100);
            }
            --running;
        });
    }
    do
        meanwhile();
    while (running);
    for (std::thread &thread : threads)
        thread.join();
}

void TestForks::loseNoLine_data()
{
    QTest::addColumn<bool>("flushed");
    QTest::newRow("flushed") << true;
    QTest::newRow("buffered") << false;
}

void TestForks::loseNoLine()
{
    QFETCH(bool, flushed);
    const MessageLog quiet;
    const LogFolder folder;
    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), QLatin1String("app")));
    connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
            Qt::DirectConnection);
    flushAfterEachLogMsg = flushed;
    const int first = Trace::linenumber;
    bool wellEnded = true;
    int forks = 0;
    logFromThreads([&] {
        ChildProcess child([](ChildProcess &) { return 3; });
        wellEnded = child.wait() == 3 && wellEnded;
        ++forks;
    });
    flushAfterEachLogMsg = true;
    handler.flush();
    QVERIFY(wellEnded);
    QVERIFY(forks > 0);
    int number = first;
    for (int written : folder.numbersOf("Forks"))
        QCOMPARE(written, number++);
    QCOMPARE(number - first, loggers * linesEach);
}

/** A program that is started while files change again and again finds none of them open. */
void TestForks::inheritNoFile()
{
    const MessageLog quiet;
    const LogFolder folder;
    Trace trace(nullptr);
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), QLatin1String("app")));
    connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
            Qt::DirectConnection);
    int opened = 0;
    logFromThreads([&] {
        Program child("/proc/self/exe", QStringList() << QLatin1String("--count") << folder.path());
        opened += child.wait();
    });
    QVERIFY(folder.entries().size() > 2);
    QCOMPARE(opened, 0);
}

/** How many files in a folder this process has open. */
static int countOpenFiles(const char *folder)
{
    int count = 0;
    DIR *const descriptors = opendir("/proc/self/fd");
    while (const dirent *const entry = readdir(descriptors)) {
        char target[4096];
        const std::string link = std::string("/proc/self/fd/") + entry->d_name;
        const ssize_t size = readlink(link.c_str(), target, sizeof target);
        const size_t length = std::strlen(folder);
        count += size > ssize_t(length) && std::strncmp(target, folder, length) == 0 ? 1 : 0;
    }
    closedir(descriptors);
    return count;
}

int main(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], "--count") == 0)
        return countOpenFiles(argv[2]);
    QCoreApplication application(argc, argv);
    TestForks test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_forks.moc"
