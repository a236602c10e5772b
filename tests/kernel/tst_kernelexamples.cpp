// SPDX-License-Identifier: LGPL-2.1-or-later

// The example programs of the board, as they are, on lines and channels of a real kernel.

#include "kernelboard.h"
#include "program.h"

#include <QtCore/QFile>
#include <QtTest/QTest>

#include <csignal>
#include <memory>
#include <sys/wait.h>

namespace
{

/** The next level that an example prints, without the lines of its trace; empty at its end. */
QByteArray readLevel(Program &example)
{
    QByteArray line;
    do
        line = example.readLine();
    while (line.size() > 1);
    return line;
}

/** Lets a program begin once more the wait that it is in. */
void interrupt(Program &example)
{
    example.signal(SIGSTOP);
    if (waitpid(example.pid(), nullptr, WUNTRACED) != example.pid())
        qFatal("the example is not there");
    example.signal(SIGCONT);
}

} // namespace

class TestKernelExamples : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();

    void waitForEdges_data();
    void waitForEdges();
    void adcpoll_data();
    void adcpoll();
};

void TestKernelExamples::initTestCase()
{
    QVERIFY2(QFile::exists(QString::fromLatin1("/run/sysfs/kernel/debug/gpio-mockup")),
             "this program is for tests/kernel/run");
}

void TestKernelExamples::waitForEdges_data()
{
    QTest::addColumn<QByteArray>("program");
    QTest::newRow("waitedge") << QByteArray(WAITEDGE_PROGRAM);
    QTest::newRow("edgenotifier") << QByteArray(EDGENOTIFIER_PROGRAM);
}

/** They print each level, and end when the line goes. */
void TestKernelExamples::waitForEdges()
{
    QFETCH(QByteArray, program);
    std::unique_ptr<ExportedLine> line(new ExportedLine(40));
    Program example(program.constData(), QStringList(QString::fromLatin1("40")));
    QCOMPARE(readLevel(example), QByteArray("0"));
    line->pull(1);
    QCOMPARE(readLevel(example), QByteArray("1"));
    line->pull(0);
    QCOMPARE(readLevel(example), QByteArray("0"));
    line.reset();
    interrupt(example); // the kernel ends no wait because a line goes
    QCOMPARE(readLevel(example), QByteArray());
    QCOMPARE(example.wait(), 1);
}

void TestKernelExamples::adcpoll_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("opened");
    QTest::addColumn<QByteArray>("reading");
    QTest::newRow("chip") << QString::fromLatin1("0 3 11")
                          << QByteArray("Adc Open 0 3 /sys/devices/80000000.apb/80040000.apbx/"
                                        "80058000.i2c/i2c-0/ 0-0048 ")
                          << QByteArray("raw 610, scaled 6710");
    QTest::newRow("LRADC") << QString::fromLatin1("128 10 2")
                           << QByteArray("Adc Open 128 10 in_voltage10_raw 3 ")
                           << QByteArray("raw 1234, scaled 2468");
}

void TestKernelExamples::adcpoll()
{
    QFETCH(QString, arguments);
    QFETCH(QByteArray, opened);
    QFETCH(QByteArray, reading);
    I2cChip(0x48).setWord(0xdc, 1000);
    I2cChip(0x22).setWord(0xa0, 1234);
    Program example(ADCPOLL_PROGRAM, arguments.split(QLatin1Char(' ')));
    QCOMPARE(example.readLine(), QByteArray("Adc Adc Creating Object "));
    QCOMPARE(example.readLine(), opened);
    QCOMPARE(example.readLine(), reading);
    QCOMPARE(example.readLine(), QByteArray());
    QCOMPARE(example.wait(), 0);
}

QTEST_MAIN(TestKernelExamples)
#include "tst_kernelexamples.moc"
