// SPDX-License-Identifier: LGPL-2.1-or-later

// Changing the direction of an open line.

#include "boardtest.h"
#include "gpio.h"
#include "texts.h"

#include <QtCore/QFile>
#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace
{

const char folder[] = "imx/gpio.1/gpio/gpio40";
const char directionFile[] = "imx/gpio.1/gpio/gpio40/direction";
const char opened[] = "open imx/gpio.1/gpio/gpio40/direction O_WRONLY|O_CLOEXEC";

/** Puts standard output into a file while it lives. */
class OutputFile
{
public:
    explicit OutputFile(const char *name)
        : name(name)
    {
        std::fflush(stdout);
        saved = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
        const int file = ::open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        dup2(file, STDOUT_FILENO);
        close(file);
    }
    ~OutputFile() { restore(); }

    /** Ends it and returns what has been written. */
    QByteArray content()
    {
        restore();
        QFile file(QFile::decodeName(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

private:
    Q_DISABLE_COPY(OutputFile)

    void restore()
    {
        if (saved < 0)
            return;
        std::fflush(stdout);
        dup2(saved, STDOUT_FILENO);
        close(saved);
        saved = -1;
    }

    const char *name;
    int saved;
};

} // namespace

/** Keeps what has been printed into a file by the time that a line is logged. */
class OutputAtLogging : public QObject
{
    Q_OBJECT
public:
    OutputAtLogging(Trace *trace, Board *board, const char *name)
        : board(board)
        , name(name)
    {
        connect(trace, SIGNAL(LogMessage(QString)), SLOT(keep()));
    }

    QByteArray kept;

private Q_SLOTS:
    void keep()
    {
        std::fflush(stdout);
        kept += board->content(name);
    }

private:
    Board *board;
    const char *name;
};

class TestGpioDirection : public BoardTest
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void changesTheDirection_data();
    void changesTheDirection();
    void leavesEdgeAndDescriptor();
    void reportsAFailedWrite_data();
    void reportsAFailedWrite();
    void printsBeforeItLogs_data();
    void printsBeforeItLogs();
    void reportsAMissingFile_data();
    void reportsAMissingFile();
    void writesNothingForOtherDirections_data();
    void writesNothingForOtherDirections();
    void writesNothingForOtherDirectionsToAMissingFile();
    void neverClosesDescriptorZero_data();
    void neverClosesDescriptorZero();
    void failsForARefusedObject();
    void leaksNoDescriptors();

private:
    Gpio *open(int direction);
    /** Changes the direction; sets made and printed to the calls and the output of that. */
    void change(Gpio *gpio, int direction);
    /** The direction that the object holds for true. */
    int directionOf(Gpio *gpio);

    QScopedPointer<Gpio> line;
    QStringList made;
    QByteArray printed;
};

void TestGpioDirection::init()
{
    BoardTest::init();
    board->addLine(folder);
}

void TestGpioDirection::cleanup()
{
    line.reset();
    BoardTest::cleanup();
}

/** Opens line 40, forgets how, and empties its files. */
Gpio *TestGpioDirection::open(int direction)
{
    line.reset(new Gpio(nullptr, Gpios(40), GpioDirections(direction), Gpio::EdgeNone));
    board->addLine(folder);
    log->take();
    calls->take();
    return line.data();
}

void TestGpioDirection::change(Gpio *gpio, int direction)
{
    OutputFile output("output");
    calls->take();
    gpio->setGpioDirection(GpioDirections(direction));
    made = calls->take();
    printed = output.content();
}

int TestGpioDirection::directionOf(Gpio *gpio)
{
    log->take();
    gpio->setGpioValue(GpioValue(2));
    const bool output = log->take() == QStringList(text("Gpio|setGpioValue|Invalid GPIO value"));
    gpio->getGpioValue();
    const bool input = log->take() != QStringList(text("Gpio|getGpioValue|Invalid GPIO Direction"));
    return output && !input ? 0 : input && !output ? 1 : -1;
}

void TestGpioDirection::changesTheDirection_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<QByteArray>("word");
    QTest::newRow("output to input") << 0 << 1 << QByteArray("in\0", 3);
    QTest::newRow("input to output") << 1 << 0 << QByteArray("low\0", 4);
    QTest::newRow("output to output") << 0 << 0 << QByteArray("low\0", 4);
    QTest::newRow("input to input") << 1 << 1 << QByteArray("in\0", 3);
}

void TestGpioDirection::changesTheDirection()
{
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(QByteArray, word);
    Gpio *const gpio = open(from);
    change(gpio, to);
    QCOMPARE(printed, QByteArray());
    const QString written = text(directionFile) + text(" ") + text(word.constData()) + text("\\0");
    QCOMPARE(made, QStringList() << text(opened) << text("write ") + written
                                 << text("close ") + text(directionFile));
    QCOMPARE(board->content(directionFile), word);
    QCOMPARE(log->take(), QStringList());
    QCOMPARE(directionOf(gpio), to);
}

void TestGpioDirection::leavesEdgeAndDescriptor()
{
    Gpio *const gpio = open(1);
    const int fd = gpio->getGpioFd();
    gpio->setGpioDirection(Gpio::DirectionOutput);
    gpio->setGpioDirection(Gpio::DirectionInput);
    for (const QString &call : calls->take())
        QVERIFY2(call.contains(text(directionFile)), qPrintable(call));
    QCOMPARE(gpio->getGpioFd(), fd);
    QCOMPARE(board->content("imx/gpio.1/gpio/gpio40/edge"), QByteArray());
}

void TestGpioDirection::reportsAFailedWrite_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<int>("answer");
    for (int from = 0; from <= 1; ++from) {
        for (int to = 0; to <= 1; ++to) {
            const int complete = to ? 3 : 4;
            for (int answer = -1; answer <= 5; ++answer) {
                if (answer == complete)
                    continue;
                const QByteArray name = QByteArray::number(from) + " to " + QByteArray::number(to) +
                                        ", " + QByteArray::number(answer);
                QTest::newRow(name.constData()) << from << to << answer;
            }
        }
    }
}

void TestGpioDirection::reportsAFailedWrite()
{
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(int, answer);
    Gpio *const gpio = open(from);
    calls->fail("write */direction", EIO, answer);
    change(gpio, to);
    QCOMPARE(printed, QByteArray(to ? "FAILED TO SET INPUT\r\n" : "FAILED TO SET OUTPUT\r\n"));
    QCOMPARE(log->take(), QStringList(text("Gpio|setGpioDirection|Failed to set direction!()")));
    QCOMPARE(made.last(), text("close ") + text(directionFile));
    QCOMPARE(directionOf(gpio), from);
}

void TestGpioDirection::printsBeforeItLogs_data()
{
    QTest::addColumn<int>("to");
    QTest::newRow("output") << 0;
    QTest::newRow("input") << 1;
}

void TestGpioDirection::printsBeforeItLogs()
{
    QFETCH(int, to);
    Gpio *const gpio = open(1 - to);
    calls->fail("write */direction", EIO);
    const OutputAtLogging atLogging(trace.data(), board.data(), "output");
    change(gpio, to);
    QVERIFY(!printed.isEmpty());
    QCOMPARE(atLogging.kept, printed);
}

void TestGpioDirection::reportsAMissingFile_data()
{
    QTest::addColumn<int>("to");
    QTest::addColumn<QString>("written");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("output") << 0 << text("write -1 low\\0")
                            << QByteArray("FAILED TO SET OUTPUT\r\n");
    QTest::newRow("input") << 1 << text("write -1 in\\0") << QByteArray("FAILED TO SET INPUT\r\n");
}

void TestGpioDirection::reportsAMissingFile()
{
    QFETCH(int, to);
    QFETCH(QString, written);
    QFETCH(QByteArray, output);
    Gpio *const gpio = open(1 - to);
    QVERIFY(QFile::remove(text(directionFile)));
    change(gpio, to);
    QCOMPARE(printed, output);
    QCOMPARE(made, QStringList() << text(opened) + text(" failed") << written << text("close -1"));
    QCOMPARE(log->take(), QStringList(text("Gpio|setGpioDirection|Failed to set direction!()")));
    QCOMPARE(directionOf(gpio), 1 - to);
}

void TestGpioDirection::writesNothingForOtherDirections_data()
{
    QTest::addColumn<int>("direction");
    QTest::newRow("2") << 2;
    QTest::newRow("-1") << -1;
    QTest::newRow("largest") << INT_MAX;
    QTest::newRow("smallest") << INT_MIN;
}

void TestGpioDirection::writesNothingForOtherDirections()
{
    QFETCH(int, direction);
    Gpio *const gpio = open(1);
    gpio->setGpioDirection(GpioDirections(direction));
    QCOMPARE(calls->take(), QStringList() << text(opened) << text("close ") + text(directionFile));
    QCOMPARE(log->take(), QStringList());
    QCOMPARE(directionOf(gpio), 1);
}

void TestGpioDirection::writesNothingForOtherDirectionsToAMissingFile()
{
    Gpio *const gpio = open(0);
    QVERIFY(QFile::remove(text(directionFile)));
    calls->take();
    gpio->setGpioDirection(GpioDirections(2));
    QCOMPARE(calls->take(), QStringList() << text(opened) + text(" failed") << text("close -1"));
    QCOMPARE(log->take(), QStringList());
}

void TestGpioDirection::neverClosesDescriptorZero_data()
{
    QTest::addColumn<int>("to");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("output") << 0
                            << (QStringList()
                                << text(opened)
                                << text("write ") + text(directionFile) + text(" low\\0"));
    QTest::newRow("input") << 1
                           << (QStringList()
                               << text(opened)
                               << text("write ") + text(directionFile) + text(" in\\0"));
    QTest::newRow("neither") << 2 << (QStringList() << text(opened));
}

void TestGpioDirection::neverClosesDescriptorZero()
{
    QFETCH(int, to);
    QFETCH(QStringList, expected);
    Gpio *const gpio = open(1);
    {
        const FreeDescriptorZero freed;
        calls->take();
        gpio->setGpioDirection(GpioDirections(to));
        made = calls->take();
        QVERIFY(fcntl(0, F_GETFD) >= 0);
    }
    QCOMPARE(made, expected);
    QCOMPARE(directionOf(gpio), to == 0 ? 0 : 1);
}

void TestGpioDirection::failsForARefusedObject()
{
    Gpio refused(nullptr, Gpios(36), Gpio::DirectionInput, Gpio::EdgeNone);
    log->take();
    change(&refused, 1);
    QCOMPARE(printed, QByteArray("FAILED TO SET INPUT\r\n"));
    QCOMPARE(made, QStringList() << text("open /gpio-1/direction O_WRONLY|O_CLOEXEC failed")
                                 << text("write -1 in\\0") << text("close -1"));
    QCOMPARE(log->take(), QStringList(text("Gpio|setGpioDirection|Failed to set direction!()")));
    QCOMPARE(directionOf(&refused), -1);
}

void TestGpioDirection::leaksNoDescriptors()
{
    Gpio *const gpio = open(0);
    const int before = openDescriptors();
    for (int i = 0; i < 5000; ++i)
        gpio->setGpioDirection(GpioDirections(i % 3));
    QCOMPARE(openDescriptors(), before);
}

QTEST_MAIN(TestGpioDirection)
#include "tst_gpiodirection.moc"
