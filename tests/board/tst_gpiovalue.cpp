// SPDX-License-Identifier: LGPL-2.1-or-later

// Reading and driving an open line.

#include "board.h"
#include "filecalls.h"
#include "gpio.h"
#include "kivlogs.h"
#include "trace.h"

#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

#include <climits>
#include <unistd.h>

namespace
{

const char folder[] = "imx/gpio.1/gpio/gpio40";
const char valueFile[] = "imx/gpio.1/gpio/gpio40/value";

QString text(const char *format)
{
    return QString::fromLatin1(format);
}

const char seek[] = "lseek imx/gpio.1/gpio/gpio40/value 0 SEEK_SET";
const char readOne[] = "read imx/gpio.1/gpio/gpio40/value 1";

} // namespace

class tst_GpioValue : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void reads_data();
    void reads();
    void readsAgain();
    void failedReads_data();
    void failedReads();
    void cachedReadsOnce();
    void cachedReadsAgainWhileUnknown();
    void everyReadSetsTheCache();
    void readingAnOutput();
    void drives_data();
    void drives();
    void drivesWithoutSeeking();
    void drivesNothingElse_data();
    void drivesNothingElse();
    void drivingAnInput();
    void failedWrites_data();
    void failedWrites();
    void drivingLeavesTheCache();

private:
    Gpio *open(Gpio::GpioDirections direction);

    QScopedPointer<Board> board;
    QScopedPointer<Trace> trace;
    QScopedPointer<TraceLog> log;
    QScopedPointer<FileCalls> calls;
    QScopedPointer<Gpio> line;
};

void tst_GpioValue::init()
{
    board.reset(new Board);
    board->addLine(folder);
    trace.reset(new Trace(nullptr));
    log.reset(new TraceLog(trace.data()));
    calls.reset(new FileCalls);
}

void tst_GpioValue::cleanup()
{
    line.reset();
    calls.reset();
    log.reset();
    trace.reset();
    board.reset();
}

/** Opens line 40 and forgets how. */
Gpio *tst_GpioValue::open(Gpio::GpioDirections direction)
{
    line.reset(new Gpio(nullptr, Gpios(40), direction, Gpio::EdgeNone));
    log->take();
    calls->take();
    return line.data();
}

void tst_GpioValue::reads_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("message");
    const QString invalid = text("Gpio|getGpioValue|Invalid GPIO value: 255");
    const QString failed = text("Gpio|getGpioValue|Failed to read()");
    QTest::newRow("0") << QByteArray("0") << 0 << QString();
    QTest::newRow("1") << QByteArray("1") << 1 << QString();
    QTest::newRow("0, newline") << QByteArray("0\n") << 0 << QString();
    QTest::newRow("1, newline") << QByteArray("1\n") << 1 << QString();
    QTest::newRow("10") << QByteArray("10") << 1 << QString();
    QTest::newRow("01") << QByteArray("01") << 0 << QString();
    QTest::newRow("2") << QByteArray("2\n") << 255 << invalid;
    QTest::newRow("blank") << QByteArray(" 1") << 255 << invalid;
    QTest::newRow("newline") << QByteArray("\n") << 255 << invalid;
    QTest::newRow("NUL") << QByteArray("\0", 1) << 255 << invalid;
    QTest::newRow("byte 1") << QByteArray("\1") << 255 << invalid;
    QTest::newRow("byte 255") << QByteArray("\xff") << 255 << invalid;
    QTest::newRow("nothing") << QByteArray() << 255 << failed;
}

void tst_GpioValue::reads()
{
    QFETCH(QByteArray, content);
    QFETCH(int, value);
    QFETCH(QString, message);
    board->add(valueFile, content);
    Gpio *const input = open(Gpio::DirectionInput);
    QCOMPARE(input->getGpioValue(), value);
    QCOMPARE(log->take(), message.isEmpty() ? QStringList() : QStringList(message));
    QCOMPARE(calls->take(), QStringList() << text(seek) << text(readOne));
}

void tst_GpioValue::readsAgain()
{
    Gpio *const input = open(Gpio::DirectionInput);
    const int values[] = {1, 0, 0, 1, 1};
    for (const int value : values) {
        board->add(valueFile, QByteArray::number(value) + "\n");
        QCOMPARE(input->getGpioValue(), value);
        QCOMPARE(input->getGpioValue(), value);
    }
}

void tst_GpioValue::failedReads_data()
{
    QTest::addColumn<int>("answer");
    QTest::newRow("error") << -1;
    QTest::newRow("end of file") << 0;
    QTest::newRow("more than asked for") << 2;
}

void tst_GpioValue::failedReads()
{
    QFETCH(int, answer);
    board->add(valueFile, "1\n");
    Gpio *const input = open(Gpio::DirectionInput);
    QCOMPARE(input->getGpioValueCached(), 1);
    calls->answer(valueFile, answer);
    QCOMPARE(input->getGpioValue(), 255);
    QCOMPARE(input->getGpioValueCached(), 255);
    QCOMPARE(log->take(), QStringList() << text("Gpio|getGpioValue|Failed to read()")
                                        << text("Gpio|getGpioValue|Failed to read()"));
}

void tst_GpioValue::cachedReadsOnce()
{
    board->add(valueFile, "0\n");
    Gpio *const input = open(Gpio::DirectionInput);
    QCOMPARE(input->getGpioValueCached(), 0);
    board->add(valueFile, "1\n");
    calls->take();
    QCOMPARE(input->getGpioValueCached(), 0);
    QCOMPARE(calls->take(), QStringList());
}

void tst_GpioValue::cachedReadsAgainWhileUnknown()
{
    Gpio *const input = open(Gpio::DirectionInput);
    QCOMPARE(input->getGpioValueCached(), 255);
    QCOMPARE(input->getGpioValueCached(), 255);
    QCOMPARE(calls->take(), QStringList()
                                << text(seek) << text(readOne) << text(seek) << text(readOne));
    board->add(valueFile, "1\n");
    QCOMPARE(input->getGpioValueCached(), 1);
}

void tst_GpioValue::everyReadSetsTheCache()
{
    board->add(valueFile, "1\n");
    Gpio *const input = open(Gpio::DirectionInput);
    QCOMPARE(input->getGpioValue(), 1);
    QCOMPARE(input->getGpioValueCached(), 1);
    board->add(valueFile, "0\n");
    QCOMPARE(input->getGpioValue(), 0);
    QCOMPARE(input->getGpioValueCached(), 0);
    board->add(valueFile, "x\n");
    QCOMPARE(input->getGpioValue(), 255);
    board->add(valueFile, "1\n");
    QCOMPARE(input->getGpioValueCached(), 1);
}

void tst_GpioValue::readingAnOutput()
{
    board->add(valueFile, "1\n");
    Gpio *const output = open(Gpio::DirectionOutput);
    QCOMPARE(output->getGpioValue(), 255);
    QCOMPARE(output->getGpioValueCached(), 255);
    QCOMPARE(log->take(), QStringList() << text("Gpio|getGpioValue|Invalid GPIO Direction")
                                        << text("Gpio|getGpioValue|Invalid GPIO Direction"));
    QCOMPARE(calls->take(), QStringList());

    // What was cached as an input is gone once it was read as an output.
    Gpio *const both = open(Gpio::DirectionInput);
    QCOMPARE(both->getGpioValue(), 1);
    both->setGpioDirection(Gpio::DirectionOutput);
    QCOMPARE(both->getGpioValueCached(), 1);
    QCOMPARE(both->getGpioValue(), 255);
    QCOMPARE(both->getGpioValueCached(), 255);
}

void tst_GpioValue::drives_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<QByteArray>("written");
    QTest::newRow("low") << 0 << QByteArray("0");
    QTest::newRow("high") << 1 << QByteArray("1");
}

void tst_GpioValue::drives()
{
    QFETCH(int, value);
    QFETCH(QByteArray, written);
    open(Gpio::DirectionOutput)->setGpioValue(GpioValue(value));
    QCOMPARE(calls->take(),
             QStringList(text("write %1 %2").arg(text(valueFile), text(written.constData()))));
    QCOMPARE(board->content(valueFile), written);
    QCOMPARE(log->take(), QStringList());
}

void tst_GpioValue::drivesWithoutSeeking()
{
    Gpio *const output = open(Gpio::DirectionOutput);
    output->setGpioValue(Gpio::ValueHigh);
    output->setGpioValue(Gpio::ValueLow);
    output->setGpioValue(Gpio::ValueHigh);
    QCOMPARE(board->content(valueFile), QByteArray("101"));
}

void tst_GpioValue::drivesNothingElse_data()
{
    QTest::addColumn<int>("value");
    QTest::newRow("2") << 2;
    QTest::newRow("-1") << -1;
    QTest::newRow("255") << 255;
    QTest::newRow("largest") << INT_MAX;
    QTest::newRow("smallest") << INT_MIN;
}

void tst_GpioValue::drivesNothingElse()
{
    QFETCH(int, value);
    open(Gpio::DirectionOutput)->setGpioValue(GpioValue(value));
    QCOMPARE(calls->take(), QStringList());
    QCOMPARE(log->take(), QStringList(text("Gpio|setGpioValue|Invalid GPIO value")));
}

void tst_GpioValue::drivingAnInput()
{
    Gpio *const input = open(Gpio::DirectionInput);
    input->setGpioValue(Gpio::ValueHigh);
    input->setGpioValue(GpioValue(2));
    QCOMPARE(calls->take(), QStringList());
    QCOMPARE(log->take(), QStringList() << text("Gpio|setGpioValue|Invalid GPIO Direction")
                                        << text("Gpio|setGpioValue|Invalid GPIO Direction"));
}

void tst_GpioValue::failedWrites_data()
{
    failedReads_data();
}

void tst_GpioValue::failedWrites()
{
    QFETCH(int, answer);
    Gpio *const output = open(Gpio::DirectionOutput);
    calls->answer(valueFile, answer);
    output->setGpioValue(Gpio::ValueHigh);
    QCOMPARE(log->take(), QStringList(text("Gpio|setGpioValue|Failed to write()")));
}

void tst_GpioValue::drivingLeavesTheCache()
{
    board->add(valueFile, "0");
    Gpio *const both = open(Gpio::DirectionInput);
    QCOMPARE(both->getGpioValue(), 0);
    both->setGpioDirection(Gpio::DirectionOutput);
    both->setGpioValue(Gpio::ValueHigh);
    QCOMPARE(both->getGpioValueCached(), 0);
}

QTEST_MAIN(tst_GpioValue)
#include "tst_gpiovalue.moc"
