// SPDX-License-Identifier: LGPL-2.1-or-later

// What becomes of the lines when the next file cannot be opened, the disk is full, or the
// directory goes away.

#include "logtest.h"
#include "privatemounts.h"
#include "skip.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtTest/QTest>

#include <cerrno>

class TestLogFailures : public LogTest
{
    Q_OBJECT
private Q_SLOTS:
    void losesALineWhenNoFileOpens();
    void triesAgainWithEachLineThatDoesNotFit();
    void writesOverAFileThatCannotBeMoved();
    void survivesADirectoryInPlaceOfTheFile();
    void survivesADeletedDirectory();
    void survivesAFullDisk_data();
    void survivesAFullDisk();
    void survivesAFullDiskForReal();
    void opensOnAFullDisk();
    void goesOnInTheOldFileIfTheNewFolderCannotBeMade();
    void mayReportFromInsideTheTraceLock();
};

static QByteArray line(int length, char character = 'x')
{
    return QByteArray(length, character) + '\n';
}

/** Passes a line to the handler. @return what it says on standard output */
static QByteArray log(LogHandler &handler, const QString &line)
{
    StandardOutput output;
    handler.logMessage(line);
    return output.take();
}

static const QByteArray spawnError = "error spawning new log file\n";

void TestLogFailures::losesALineWhenNoFileOpens()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    messages->clear();
    QCOMPARE(log(handler, repeated(limit)), QByteArray());
    calls->fail("open *0.log", ENFILE, -1, 1);
    QCOMPARE(log(handler, repeated(10, 'l')), spawnError);
    QCOMPARE(folder.entries(), QStringList(QLatin1String("app1.log=") +
                                           QString::fromLatin1(line(limit) + overflowTrailer())));

    // The count is as it was, so the next line changes files again, and shifts them.
    QCOMPARE(log(handler, repeated(10, 'n')), QByteArray());
    QCOMPARE(folder.read(0), continuation + line(10, 'n'));
    QCOMPARE(folder.read(1), QByteArray("(none)"));
    QCOMPARE(folder.read(2), line(limit) + overflowTrailer());
    QCOMPARE(messages->lines(), QStringList());
    QCOMPARE(takePauses(), QList<int>() << 500 << 500);
}

void TestLogFailures::triesAgainWithEachLineThatDoesNotFit()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    log(handler, repeated(limit - 5));
    calls->fail("open *0.log", EMFILE);
    for (int i = 1; i <= 8; ++i) {
        QCOMPARE(log(handler, repeated(10)), spawnError);
        QCOMPARE(folder.read(i), line(limit - 5) + overflowTrailer());
        QCOMPARE(int(folder.entries().size()), 1);
    }
    // A line for which there would be room is just lost.
    QCOMPARE(log(handler, repeated(5)), QByteArray());
    QCOMPARE(int(takePauses().size()), 8);
    QCOMPARE(folder.descriptors(), QList<int>());

    calls->stopFailing();
    QCOMPARE(log(handler, repeated(1)), QByteArray());
    QCOMPARE(folder.read(0), continuation + line(1));
    QCOMPARE(folder.read(9), line(limit - 5) + overflowTrailer());
    QCOMPARE(log(handler, repeated(1)), QByteArray());
    QCOMPARE(folder.read(0), continuation + line(1) + line(1));
}

void TestLogFailures::writesOverAFileThatCannotBeMoved()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    messages->clear();
    log(handler, repeated(limit));
    calls->fail("rename *0.log", EIO);
    QCOMPARE(log(handler, repeated(10, 'n')), QByteArray());
    const QByteArray newBytes = continuation + line(10, 'n');
    const QByteArray oldBytes = line(limit) + overflowTrailer();
    QCOMPARE(folder.entries().size(), 1);
    QCOMPARE(folder.read(0), newBytes + oldBytes.mid(newBytes.size()));
    QCOMPARE(messages->lines(),
             QStringList(QString::fromLatin1("debug: \"Failed renaming %1 to %2\" ")
                             .arg(folder.file(0), folder.file(1))));
}

void TestLogFailures::survivesADirectoryInPlaceOfTheFile()
{
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    log(handler, repeated(limit));
    QVERIFY(QFile::remove(folder.file(0)));
    QVERIFY(QDir().mkdir(folder.file(0)));
    // The directory moves out of the way as a file would.
    QCOMPARE(log(handler, repeated(10)), QByteArray());
    QCOMPARE(folder.read(0), continuation + line(10));
    QVERIFY(folder.entries().contains(QLatin1String("app1.log/")));
}

void TestLogFailures::survivesADeletedDirectory()
{
    const LogFolder folder;
    const QString directory = folder.filePath(QLatin1String("logs/"));
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(directory, app));
    QVERIFY(QFile::remove(directory + QLatin1String("app0.log")));
    QVERIFY(QDir().rmdir(directory));
    messages->clear();
    QCOMPARE(log(handler, repeated(limit)), QByteArray());
    for (int i = 0; i < 3; ++i)
        QCOMPARE(log(handler, repeated(10)), spawnError);
    QCOMPARE(messages->lines(), QStringList());
    QCOMPARE(folder.entries(), QStringList());

    QVERIFY(QDir().mkdir(directory));
    QCOMPARE(log(handler, repeated(10)), QByteArray());
    QCOMPARE(folder.read(QLatin1String("logs/app0.log")), continuation + line(10));
}

void TestLogFailures::survivesAFullDisk_data()
{
    QTest::addColumn<int>("error");
    QTest::newRow("full") << ENOSPC;
    QTest::newRow("quota") << EDQUOT;
    QTest::newRow("broken") << EIO;
}

void TestLogFailures::survivesAFullDisk()
{
    QFETCH(int, error);
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    log(handler, repeated(10, 'a'));
    calls->fail("write *.log", error);
    QCOMPARE(log(handler, repeated(10, 'b')), QByteArray());
    QCOMPARE(folder.read(0), line(10, 'a'));
    // What Qt has buffered comes as soon as it can, before anything later, and whole.
    calls->stopFailing();
    log(handler, repeated(10, 'c'));
    QCOMPARE(folder.read(0), line(10, 'a') + line(10, 'b') + line(10, 'c'));

    // The count goes on, so files change as if all had been written.
    calls->fail("write *.log", error);
    log(handler, repeated(limit - 30, 'd'));
    QCOMPARE(log(handler, repeated(1, 'e')), QByteArray());
    calls->stopFailing();
    log(handler, repeated(10, 'f'));
    QCOMPARE(folder.read(1), line(10, 'a') + line(10, 'b') + line(10, 'c'));
    QCOMPARE(folder.read(0), continuation + line(1, 'e') + line(10, 'f'));
}

void TestLogFailures::survivesAFullDiskForReal()
{
    const QString problem = privateMountsProblem();
    if (!problem.isEmpty())
        SKIP_TEST(qPrintable(problem));
    const LogFolder folder;
    const MemoryFolder disk(folder.path(), 16 * 1024);
    QVERIFY(disk.isMounted());
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    const int length = limit / 20;
    for (int i = 0; i < 50; ++i)
        QCOMPARE(log(handler, repeated(length)), QByteArray());
    QVERIFY(folder.entries().size() >= 2);

    for (int number = 1; number < 10; ++number)
        QFile::remove(folder.file(number));
    QVERIFY(handler.open(folder.directory(), app));
    QFile::remove(folder.file(1));
    log(handler, repeated(100));
    QCOMPARE(folder.read(0), line(100));
}

void TestLogFailures::opensOnAFullDisk()
{
    const QString problem = privateMountsProblem();
    if (!problem.isEmpty())
        SKIP_TEST(qPrintable(problem));
    const LogFolder folder;
    const MemoryFolder disk(folder.path(), 64 * 1024);
    QVERIFY(disk.isMounted());
    QFile filler(folder.filePath(QLatin1String("filler")));
    QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    while (filler.write(QByteArray(4096, 'f')) > 0) {
    }
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    QCOMPARE(log(handler, repeated(100)), QByteArray());
    QVERIFY(!handler.flush());
    QVERIFY(filler.remove());
    QVERIFY(handler.flush());
    QCOMPARE(folder.read(0), line(100));
}

void TestLogFailures::goesOnInTheOldFileIfTheNewFolderCannotBeMade()
{
    const LogFolder folder;
    folder.write(QLatin1String("file"), "f");
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), app));
    log(handler, repeated(10, 'a'));
    QVERIFY(!handler.open(folder.filePath(QLatin1String("file/")), QLatin1String("other")));
    QCOMPARE(handler.getCurrentLogFile(), folder.file(0));
    QCOMPARE(log(handler, repeated(limit - 10, 'b')), QByteArray());
    QCOMPARE(log(handler, repeated(10, 'c')), QByteArray());
    QCOMPARE(folder.read(1), line(10, 'a') + line(limit - 10, 'b') + overflowTrailer());
    QCOMPARE(folder.read(0), continuation + line(10, 'c'));
    QCOMPARE(int(folder.entries().size()), 3);
}

/** Connected directly, everything above happens with the lock of Trace held. */
void TestLogFailures::mayReportFromInsideTheTraceLock()
{
    const LogFolder folder;
    Trace trace(nullptr);
    LogHandler handler(nullptr, true);
    QVERIFY(handler.open(folder.directory(), app));
    connect(&trace, SIGNAL(LogMessage(QString)), &handler, SLOT(logMessage(QString)),
            Qt::DirectConnection);
    handler.logMessage(repeated(limit));
    folder.write(QLatin1String("app9.log"), "9");
    calls->fail("unlink *app9.log", EPERM);
    calls->fail("rename *.log", EIO);
    calls->fail("open *.log", EMFILE);
    messages->clear();
    QByteArray said;
    {
        StandardOutput output;
        Trace::log(8, 4, app, app, QLatin1String("message"));
        said = output.take();
    }
    QCOMPARE(said, spawnError);
    QCOMPARE(int(messages->lines().size()), 3);
}

int main(int argc, char *argv[])
{
    enterPrivateMounts();
    QCoreApplication application(argc, argv);
    TestLogFailures test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_logfailures.moc"
