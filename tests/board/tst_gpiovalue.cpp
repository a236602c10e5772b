// SPDX-License-Identifier: LGPL-2.1-or-later

// Reading and driving an open line.

#include "boardtest.h"
#include "gpio.h"
#include "texts.h"

#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

#include <cerrno>
#include <climits>
#include <unistd.h>

namespace
{

const char folder[] = "imx/gpio.1/gpio/gpio40";
const char valueFile[] = "imx/gpio.1/gpio/gpio40/value";

const char seek[] = "lseek imx/gpio.1/gpio/gpio40/value 0 SEEK_SET";
const char readOne[] = "read imx/gpio.1/gpio/gpio40/value 1";

} // namespace

/** Asks an input for its cached value whenever a line is logged. */
class CacheAsker : public QObject
{
    Q_OBJECT
public:
    CacheAsker(Trace *trace, Board *board, Gpio *input)
        : board(board)
        , input(input)
    {
        connect(trace, SIGNAL(LogMessage(QString)), SLOT(ask()));
    }

    QList<int> answers;

private Q_SLOTS:
    void ask()
    {
        // Should the line be read instead, it has another level.
        input->setGpioDirection(Gpio::DirectionInput);
        board->add(valueFile, "1\n");
        answers << input->getGpioValueCached();
    }

private:
    Board *board;
    Gpio *input;
};

class TestGpioValue : public BoardTest
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void readsTheFirstCharacter_data();
    void readsTheFirstCharacter();
    void readsAfreshEachTime();
    void reportsAFailedRead_data();
    void reportsAFailedRead();
    void doesNotNoticeAFailedSeek();
    void readsOnceForTheCache();
    void readsAgainWhileTheCacheIsUnknown();
    void setsTheCacheWithEveryRead();
    void setsTheCacheBehindTheLogLine_data();
    void setsTheCacheBehindTheLogLine();
    void refusesToReadAnOutput();
    void drivesTheLine_data();
    void drivesTheLine();
    void drivesWithoutSeeking();
    void drivesNothingElse_data();
    void drivesNothingElse();
    void refusesToDriveAnInput();
    void reportsAFailedWrite_data();
    void reportsAFailedWrite();
    void leavesTheCacheWhenDriving();

private:
    Gpio *open(Gpio::GpioDirections direction);

    QScopedPointer<Gpio> line;
};

void TestGpioValue::init()
{
    BoardTest::init();
    board->addLine(folder);
}

void TestGpioValue::cleanup()
{
    line.reset();
    BoardTest::cleanup();
}

/** Opens line 40 and forgets how. */
Gpio *TestGpioValue::open(Gpio::GpioDirections direction)
{
    line.reset(new Gpio(nullptr, Gpios(40), direction, Gpio::EdgeNone));
    log->take();
    calls->take();
    return line.data();
}

void TestGpioValue::readsTheFirstCharacter_data()
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

void TestGpioValue::readsTheFirstCharacter()
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

void TestGpioValue::readsAfreshEachTime()
{
    Gpio *const input = open(Gpio::DirectionInput);
    const int values[] = {1, 0, 0, 1, 1};
    for (const int value : values) {
        board->add(valueFile, QByteArray::number(value) + "\n");
        QCOMPARE(input->getGpioValue(), value);
        QCOMPARE(input->getGpioValue(), value);
    }
}

void TestGpioValue::reportsAFailedRead_data()
{
    QTest::addColumn<int>("answer");
    QTest::newRow("error") << -1;
    QTest::newRow("end of file") << 0;
    QTest::newRow("more than asked for") << 2;
}

void TestGpioValue::reportsAFailedRead()
{
    QFETCH(int, answer);
    board->add(valueFile, "1\n");
    Gpio *const input = open(Gpio::DirectionInput);
    QCOMPARE(input->getGpioValueCached(), 1);
    calls->fail("read */value", EIO, answer);
    QCOMPARE(input->getGpioValue(), 255);
    QCOMPARE(input->getGpioValueCached(), 255);
    QCOMPARE(log->take(), QStringList() << text("Gpio|getGpioValue|Failed to read()")
                                        << text("Gpio|getGpioValue|Failed to read()"));
}

void TestGpioValue::doesNotNoticeAFailedSeek()
{
    board->add(valueFile, "10");
    Gpio *const input = open(Gpio::DirectionInput);
    calls->fail("lseek */value", ESPIPE);
    QCOMPARE(input->getGpioValue(), 1);
    QCOMPARE(input->getGpioValue(), 0);
    QCOMPARE(log->take(), QStringList());
    QCOMPARE(input->getGpioValue(), 255);
    QCOMPARE(log->take(), QStringList(text("Gpio|getGpioValue|Failed to read()")));
}

void TestGpioValue::readsOnceForTheCache()
{
    board->add(valueFile, "0\n");
    Gpio *const input = open(Gpio::DirectionInput);
    QCOMPARE(input->getGpioValueCached(), 0);
    board->add(valueFile, "1\n");
    calls->take();
    QCOMPARE(input->getGpioValueCached(), 0);
    QCOMPARE(calls->take(), QStringList());
}

void TestGpioValue::readsAgainWhileTheCacheIsUnknown()
{
    Gpio *const input = open(Gpio::DirectionInput);
    QCOMPARE(input->getGpioValueCached(), 255);
    QCOMPARE(input->getGpioValueCached(), 255);
    QCOMPARE(calls->take(), QStringList()
                                << text(seek) << text(readOne) << text(seek) << text(readOne));
    board->add(valueFile, "1\n");
    QCOMPARE(input->getGpioValueCached(), 1);
}

void TestGpioValue::setsTheCacheWithEveryRead()
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

void TestGpioValue::setsTheCacheBehindTheLogLine_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("direction");
    QTest::newRow("invalid value") << QByteArray("x\n") << 1;
    QTest::newRow("failed read") << QByteArray() << 1;
    QTest::newRow("output") << QByteArray("0\n") << 0;
}

void TestGpioValue::setsTheCacheBehindTheLogLine()
{
    QFETCH(QByteArray, content);
    QFETCH(int, direction);
    board->add(valueFile, "0\n");
    Gpio *const input = open(Gpio::DirectionInput);
    QCOMPARE(input->getGpioValue(), 0);
    input->setGpioDirection(GpioDirections(direction));
    board->add(valueFile, content);
    const CacheAsker asker(trace.data(), board.data(), input);
    QCOMPARE(input->getGpioValue(), 255);
    QCOMPARE(asker.answers, QList<int>() << 0);
    QCOMPARE(input->getGpioValueCached(), 1);
}

void TestGpioValue::refusesToReadAnOutput()
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

void TestGpioValue::drivesTheLine_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<QByteArray>("written");
    QTest::newRow("low") << 0 << QByteArray("0");
    QTest::newRow("high") << 1 << QByteArray("1");
}

void TestGpioValue::drivesTheLine()
{
    QFETCH(int, value);
    QFETCH(QByteArray, written);
    open(Gpio::DirectionOutput)->setGpioValue(GpioValue(value));
    QCOMPARE(calls->take(),
             QStringList(text("write %1 %2").arg(text(valueFile), text(written.constData()))));
    QCOMPARE(board->content(valueFile), written);
    QCOMPARE(log->take(), QStringList());
}

void TestGpioValue::drivesWithoutSeeking()
{
    Gpio *const output = open(Gpio::DirectionOutput);
    output->setGpioValue(Gpio::ValueHigh);
    output->setGpioValue(Gpio::ValueLow);
    output->setGpioValue(Gpio::ValueHigh);
    QCOMPARE(board->content(valueFile), QByteArray("101"));
}

void TestGpioValue::drivesNothingElse_data()
{
    QTest::addColumn<int>("value");
    QTest::newRow("2") << 2;
    QTest::newRow("-1") << -1;
    QTest::newRow("255") << 255;
    QTest::newRow("largest") << INT_MAX;
    QTest::newRow("smallest") << INT_MIN;
}

void TestGpioValue::drivesNothingElse()
{
    QFETCH(int, value);
    open(Gpio::DirectionOutput)->setGpioValue(GpioValue(value));
    QCOMPARE(calls->take(), QStringList());
    QCOMPARE(log->take(), QStringList(text("Gpio|setGpioValue|Invalid GPIO value")));
}

void TestGpioValue::refusesToDriveAnInput()
{
    Gpio *const input = open(Gpio::DirectionInput);
    input->setGpioValue(Gpio::ValueHigh);
    input->setGpioValue(GpioValue(2));
    QCOMPARE(calls->take(), QStringList());
    QCOMPARE(log->take(), QStringList() << text("Gpio|setGpioValue|Invalid GPIO Direction")
                                        << text("Gpio|setGpioValue|Invalid GPIO Direction"));
}

void TestGpioValue::reportsAFailedWrite_data()
{
    reportsAFailedRead_data();
}

void TestGpioValue::reportsAFailedWrite()
{
    QFETCH(int, answer);
    Gpio *const output = open(Gpio::DirectionOutput);
    calls->fail("write */value", EIO, answer);
    output->setGpioValue(Gpio::ValueHigh);
    QCOMPARE(log->take(), QStringList(text("Gpio|setGpioValue|Failed to write()")));
}

void TestGpioValue::leavesTheCacheWhenDriving()
{
    board->add(valueFile, "0");
    Gpio *const both = open(Gpio::DirectionInput);
    QCOMPARE(both->getGpioValue(), 0);
    both->setGpioDirection(Gpio::DirectionOutput);
    both->setGpioValue(Gpio::ValueHigh);
    QCOMPARE(both->getGpioValueCached(), 0);
}

QTEST_MAIN(TestGpioValue)
#include "tst_gpiovalue.moc"
