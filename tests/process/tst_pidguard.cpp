// SPDX-License-Identifier: LGPL-2.1-or-later

// Runs the example pidguard: what it shows is what a daemon's main() is to do.

#include "program.h"
#include "skip.h"
#include "temporaryfolder.h"

#include <QtCore/QFile>
#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

#include <csignal>
#include <unistd.h>

class TestPidGuard : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void endsByASignal_data();
    void endsByASignal();
    void leavesTheFirstAloneIfItIsTheSecond();
    void takesOverFromADeadOne();
    void endsIfTheFileCannotBeWritten();
    void endsIfTheFileStaysEmpty();
    void explainsItselfWhenUsedWrongly();

private:
    QByteArray content() const;
    QStringList arguments() const { return QStringList(path); }

    QScopedPointer<TemporaryFolder> folder;
    QString path;
};

void TestPidGuard::initTestCase()
{
    if (!qstrlen(PIDGUARD_PROGRAM))
        SKIP_TEST("the examples are not built: cmake -DQVCOMMON_BUILD_EXAMPLES=ON .");
}

void TestPidGuard::init()
{
    folder.reset(new TemporaryFolder);
    path = folder->filePath(QLatin1String("pid"));
}

QByteArray TestPidGuard::content() const
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

static QByteArray number(pid_t pid)
{
    return QByteArray::number(qint64(pid));
}

void TestPidGuard::endsByASignal_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void TestPidGuard::endsByASignal()
{
    QFETCH(int, signal);
    Program daemon(PIDGUARD_PROGRAM, arguments());
    QCOMPARE(daemon.readLine(), "running as process " + number(daemon.pid()));
    QCOMPARE(content(), number(daemon.pid()) + '\n');
    daemon.signal(signal);
    QCOMPARE(daemon.wait(), 0);
    QCOMPARE(content(), QByteArray("(no file)"));
}

void TestPidGuard::leavesTheFirstAloneIfItIsTheSecond()
{
    Program first(PIDGUARD_PROGRAM, arguments());
    QCOMPARE(first.readLine(), "running as process " + number(first.pid()));
    Program second(PIDGUARD_PROGRAM, arguments());
    QCOMPARE(second.readLine(), "already running as process " + number(first.pid()));
    QCOMPARE(second.wait(), 1);
    QCOMPARE(content(), number(first.pid()) + '\n');
    first.signal(SIGTERM);
    QCOMPARE(first.wait(), 0);
    QCOMPARE(content(), QByteArray("(no file)"));
}

void TestPidGuard::takesOverFromADeadOne()
{
    Program first(PIDGUARD_PROGRAM, arguments());
    const QByteArray firstPid = number(first.pid());
    QCOMPARE(first.readLine(), "running as process " + firstPid);
    first.signal(SIGKILL);
    QCOMPARE(first.wait(), -SIGKILL);
    QCOMPARE(content(), firstPid + '\n');
    Program second(PIDGUARD_PROGRAM, arguments());
    QCOMPARE(second.readLine(), "running as process " + number(second.pid()));
    QVERIFY(content().startsWith(number(second.pid()) + '\n'));
}

void TestPidGuard::endsIfTheFileCannotBeWritten()
{
    path = folder->filePath(QLatin1String("missing/pid"));
    Program daemon(PIDGUARD_PROGRAM, arguments());
    QByteArray line = daemon.readLine();
    while (!line.isEmpty() && !line.contains("Can not open or create [" + path.toLatin1() + "]"))
        line = daemon.readLine();
    QVERIFY(!line.isEmpty());
    QCOMPARE(daemon.wait(), 1);
}

void TestPidGuard::endsIfTheFileStaysEmpty()
{
    if (access("/dev/full", W_OK) != 0)
        SKIP_TEST("there is no /dev/full here: mknod -m 666 /dev/full c 1 7");
    QVERIFY(QFile::link(QLatin1String("/dev/full"), path));
    Program daemon(PIDGUARD_PROGRAM, arguments());
    QCOMPARE(daemon.readLine(), QByteArray("the PID file was not kept"));
    QCOMPARE(daemon.wait(), 1);
}

void TestPidGuard::explainsItselfWhenUsedWrongly()
{
    Program daemon(PIDGUARD_PROGRAM, QStringList());
    QCOMPARE(daemon.readLine(), QByteArray("usage: pidguard FILE"));
    QCOMPARE(daemon.wait(), 2);
}

QTEST_APPLESS_MAIN(TestPidGuard)

#include "tst_pidguard.moc"
