// SPDX-License-Identifier: LGPL-2.1-or-later

// Lines of a real kernel, compared with what the kernel itself says of them.

#include "gpio.h"
#include "kernelboard.h"
#include "kivlogs.h"
#include "messagelog.h"
#include "texts.h"
#include "trace.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QFile>
#include <QtCore/QScopedPointer>
#include <QtCore/QSocketNotifier>
#include <QtTest/QTest>

#include <memory>
#include <poll.h>
#include <vector>

typedef QList<QByteArray> Texts;
Q_DECLARE_METATYPE(QList<int>)

namespace
{

const int firstLine = 37;
const int firstChipLine = 224; // of an expander chip whose interrupt is not connected
const int lastLine = 239;

const char imx[] = "/sys/devices/80000000.apb/80000000.apbh/80018000.pinctrl/";
const char i2c[] = "/sys/devices/80000000.apb/80040000.apbx/80058000.i2c/i2c-0/";

/** What poll() says at once of a value file: 0 if nothing has happened. */
int readiness(int descriptor)
{
    pollfd file = {descriptor, POLLPRI, 0};
    return poll(&file, 1, 0) == 1 ? file.revents : 0;
}

const int woken = POLLPRI | POLLERR;

/** Lets everything that is ready now be delivered. */
void deliverEvents()
{
    while (QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents))
        continue;
}

} // namespace

/** Reads a line whenever the event loop reports an edge. */
class EdgeListener : public QObject
{
    Q_OBJECT
public:
    explicit EdgeListener(Gpio *input)
        : input(input)
        , notifier(input->getGpioFd(), QSocketNotifier::Exception)
    {
        connect(&notifier, SIGNAL(activated(int)), SLOT(readLevel()));
    }

    QList<int> levels;

private Q_SLOTS:
    void readLevel() { levels << input->getGpioValue(); }

private:
    Gpio *input;
    QSocketNotifier notifier;
};

class TestKernelGpio : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void refusesLines_data();
    void refusesLines();
    void opensInputs_data();
    void opensInputs();
    void opensOutputs_data();
    void opensOutputs();
    void opensNothingElse();
    void reads_data();
    void reads();
    void drives_data();
    void drives();
    void changesDirection_data();
    void changesDirection();
    void wakesPoll_data();
    void wakesPoll();
    void wakesNotifier_data();
    void wakesNotifier();
    void freshDescriptorIsReady();
    void wakesNobodyWithoutInterrupt();
    void edgeOutlivesTheObject();
    void unexportedInput();
    void unexportedOutput();
    void takenAway();
    // Last, because each line takes one of the kernel's few interrupts for good.
    void everyLine();
    void everyChipLine();

private:
    QScopedPointer<MessageLog> messages;
    QScopedPointer<Trace> trace;
    QScopedPointer<TraceLog> log;
    QScopedPointer<LineUses> uses;
    QScopedPointer<LineRecord> record;
};

void TestKernelGpio::initTestCase()
{
    // On the machine itself the tests would set lines of its own.
    QVERIFY2(QFile::exists(text("/run/sysfs/kernel/debug/gpio-mockup")),
             "this program is for tests/kernel/run");
}

void TestKernelGpio::init()
{
    messages.reset(new MessageLog);
    trace.reset(new Trace(nullptr));
    log.reset(new TraceLog(trace.data()));
    uses.reset(new LineUses);
    record.reset(new LineRecord);
}

void TestKernelGpio::cleanup()
{
    record.reset();
    uses.reset();
    log.reset();
    trace.reset();
    messages.reset();
}

void TestKernelGpio::refusesLines_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("below the first") << 36;
    QTest::newRow("behind the last") << 240;
}

/** The kernel has the lines; they are refused nevertheless. */
void TestKernelGpio::refusesLines()
{
    QFETCH(int, number);
    ExportedLine line(number);
    uses->changes();
    record->take();
    for (int direction = Gpio::DirectionOutput; direction <= Gpio::DirectionInput; ++direction) {
        Gpio refused(nullptr, Gpios(number), GpioDirections(direction), Gpio::EdgeBoth);
        refused.setGpioValue(Gpio::ValueHigh);
        QCOMPARE(refused.getGpioFd(), -1);
        QCOMPARE(refused.getGpioValue(), 255);
    }
    QCOMPARE(uses->changes(), Texts());
    QCOMPARE(record->take(), Texts());
}

void TestKernelGpio::opensInputs_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("edge");
    QTest::addColumn<QByteArray>("word");
    QTest::addColumn<QByteArray>("use");
    const int lines[] = {40, 170}; // of the processor, of an expander
    const char *const words[] = {"none", "rising", "falling", "both"};
    for (const int line : lines) {
        for (int edge = Gpio::EdgeNone; edge <= Gpio::EdgeBoth; ++edge) {
            const QByteArray number = QByteArray::number(line);
            QTest::newRow((number + ' ' + words[edge]).constData())
                << line << edge << QByteArray(words[edge])
                << number + (edge == Gpio::EdgeNone ? ": in hi" : ": in hi IRQ");
        }
    }
}

void TestKernelGpio::opensInputs()
{
    QFETCH(int, number);
    QFETCH(int, edge);
    QFETCH(QByteArray, word);
    QFETCH(QByteArray, use);
    ExportedLine line(number);
    writeKernelFile(line.file("direction"), "out");
    line.pull(1);
    uses->changes();
    record->take();
    Gpio input(nullptr, Gpios(number), Gpio::DirectionInput, GpioEdges(edge));
    line.pull(0);
    line.pull(1);
    QCOMPARE(kernelFile(line.file("direction")), QByteArray("in"));
    QCOMPARE(kernelFile(line.file("edge")), word);
    QCOMPARE(uses->changes(), Texts() << use);
    QCOMPARE(record->take(), Texts() << QByteArray::number(number) + " in (0)");
    const QByteArray folder = number < 160 ? QByteArray(imx) + "gpio.1/gpio" //
                                           : QByteArray(i2c) + "0-0020/gpio";
    QCOMPARE(log->take(),
             QStringList() << text("Gpio|Gpio|Creating Object fot GPIO: %1 direction: 1, edge: %2")
                                  .arg(number)
                                  .arg(edge)
                           << text("Gpio|openGpio|GPIO input")
                           << text("Gpio|openGpio|GPIO open ok, fd:%1 \"%2/gpio%3/value\"")
                                  .arg(input.getGpioFd())
                                  .arg(text(folder.constData()))
                                  .arg(number)
                           << text("Gpio|Gpio|gpioPath: \"%1\" for GPIO:%2")
                                  .arg(text(folder.constData()))
                                  .arg(number));
}

void TestKernelGpio::opensOutputs_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("processor") << 40;
    QTest::newRow("expander") << 170;
    QTest::newRow("expander chip") << 230;
}

/** Outputs start low, whatever was before. */
void TestKernelGpio::opensOutputs()
{
    QFETCH(int, number);
    const QByteArray name = QByteArray::number(number);
    ExportedLine line(number);
    line.pull(1);
    writeKernelFile(line.file("direction"), "high");
    QCOMPARE(line.level(), 1);
    record->take();
    Gpio output(nullptr, Gpios(number), Gpio::DirectionOutput, Gpio::EdgeBoth);
    QCOMPARE(record->take(), Texts() << name + " set 0" << name + " out (0)");
    QCOMPARE(kernelFile(line.file("direction")), QByteArray("out"));
    QCOMPARE(line.level(), 0);
}

void TestKernelGpio::opensNothingElse()
{
    const QByteArray folder = QByteArray(imx) + "gpio.1/gpio/gpio40/";
    Gpio input(nullptr, Gpios(40), Gpio::DirectionInput, Gpio::EdgeBoth);
    QCOMPARE(input.getGpioFd(), -2);
    QCOMPARE(log->take(),
             QStringList() << text("Gpio|Gpio|Creating Object fot GPIO: 40 direction: 1, edge: 3")
                           << text("Gpio|openGpio|GPIO input")
                           << text("Gpio|openGpio|Could not open GPIO file descriptor: \"") +
                                  text(folder.constData()) + text("direction\"")
                           << text("Gpio|Gpio|Failed to open GPIOx:40"));
    Gpio output(nullptr, Gpios(40), Gpio::DirectionOutput, Gpio::EdgeNone);
    QCOMPARE(output.getGpioFd(), -1);
    QCOMPARE(log->take(),
             QStringList() << text("Gpio|Gpio|Creating Object fot GPIO: 40 direction: 0, edge: 0")
                           << text("Gpio|openGpio|GPIO open ok, fd:-1 \"") +
                                  text(folder.constData()) + text("value\"")
                           << text("Gpio|Gpio|Failed to open GPIOx:40"));
    QCOMPARE(uses->changes(), Texts());
}

void TestKernelGpio::reads_data()
{
    opensOutputs_data();
}

void TestKernelGpio::reads()
{
    QFETCH(int, number);
    const QByteArray name = QByteArray::number(number);
    ExportedLine line(number);
    Gpio input(nullptr, Gpios(number), Gpio::DirectionInput, Gpio::EdgeNone);
    record->take();
    const int levels[] = {0, 1, 1, 0, 1};
    for (const int level : levels) {
        line.pull(level);
        QCOMPARE(input.getGpioValue(), level);
        QCOMPARE(record->take(), Texts() << name + " get " + QByteArray::number(level));
    }
    line.pull(0);
    QCOMPARE(input.getGpioValueCached(), 1);
    input.setGpioValue(Gpio::ValueHigh);
    QCOMPARE(record->take(), Texts());
    QCOMPARE(input.getGpioValue(), 0);
}

void TestKernelGpio::drives_data()
{
    opensOutputs_data();
}

void TestKernelGpio::drives()
{
    QFETCH(int, number);
    const QByteArray name = QByteArray::number(number);
    ExportedLine line(number);
    line.pull(1); // an output is stronger
    Gpio output(nullptr, Gpios(number), Gpio::DirectionOutput, Gpio::EdgeNone);
    record->take();
    const int levels[] = {1, 0, 0, 1, 1, 0, 1};
    for (const int level : levels) {
        output.setGpioValue(GpioValue(level));
        QCOMPARE(line.level(), level);
        QCOMPARE(record->take(), Texts() << name + " set " + QByteArray::number(level));
    }
    output.setGpioValue(GpioValue(2));
    QCOMPARE(output.getGpioValue(), 255);
    QCOMPARE(record->take(), Texts());
    QCOMPARE(line.level(), 1);
}

void TestKernelGpio::changesDirection_data()
{
    opensOutputs_data();
}

/** An input becomes an output in one step, so that nothing sees it high. */
void TestKernelGpio::changesDirection()
{
    QFETCH(int, number);
    const QByteArray name = QByteArray::number(number);
    ExportedLine line(number);
    Gpio both(nullptr, Gpios(number), Gpio::DirectionOutput, Gpio::EdgeNone);
    both.setGpioValue(Gpio::ValueHigh);
    record->take();

    both.setGpioDirection(Gpio::DirectionInput);
    QCOMPARE(record->take(), Texts() << name + " in (0)");
    QCOMPARE(kernelFile(line.file("direction")), QByteArray("in"));
    line.pull(1);
    QCOMPARE(both.getGpioValue(), 1);
    record->take();

    both.setGpioDirection(Gpio::DirectionOutput);
    QCOMPARE(record->take(), Texts() << name + " set 0" << name + " out (0)");
    QCOMPARE(kernelFile(line.file("direction")), QByteArray("out"));
    QCOMPARE(line.level(), 0);
    both.setGpioValue(Gpio::ValueHigh);
    QCOMPARE(record->take(), Texts() << name + " set 1");
    QCOMPARE(line.level(), 1);
}

void TestKernelGpio::wakesPoll_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("edge");
    QTest::addColumn<QList<int>>("wakes");
    const int lines[] = {40, 170};
    for (const int line : lines) {
        const QByteArray number = QByteArray::number(line);
        QTest::newRow((number + " none").constData())
            << line << int(Gpio::EdgeNone) << (QList<int>() << 0 << 0 << 0 << 0);
        QTest::newRow((number + " rising").constData())
            << line << int(Gpio::EdgeRising) << (QList<int>() << woken << 0 << woken << 0);
        QTest::newRow((number + " falling").constData())
            << line << int(Gpio::EdgeFalling) << (QList<int>() << 0 << woken << 0 << woken);
        QTest::newRow((number + " both").constData())
            << line << int(Gpio::EdgeBoth) << (QList<int>() << woken << woken << woken << woken);
    }
}

void TestKernelGpio::wakesPoll()
{
    QFETCH(int, number);
    QFETCH(int, edge);
    QFETCH(QList<int>, wakes);
    EdgeMarker marker;
    ExportedLine line(number);
    Gpio input(nullptr, Gpios(number), Gpio::DirectionInput, GpioEdges(edge));
    QCOMPARE(input.getGpioValue(), 0);
    QList<int> seen;
    for (int change = 0; change < 4; ++change) {
        const int level = (change + 1) % 2;
        line.pull(level);
        marker.pass();
        seen << readiness(input.getGpioFd());
        QCOMPARE(readiness(input.getGpioFd()), seen.last()); // not by being asked
        QCOMPARE(input.getGpioValue(), level);
        QCOMPARE(readiness(input.getGpioFd()), 0);
    }
    QCOMPARE(seen, wakes);
}

void TestKernelGpio::wakesNotifier_data()
{
    QTest::addColumn<int>("edge");
    QTest::addColumn<QList<int>>("levels"); // those that are read, after that at the start
    QTest::newRow("none") << int(Gpio::EdgeNone) << QList<int>();
    QTest::newRow("rising") << int(Gpio::EdgeRising) << (QList<int>() << 1 << 1);
    QTest::newRow("falling") << int(Gpio::EdgeFalling) << (QList<int>() << 0 << 0);
    QTest::newRow("both") << int(Gpio::EdgeBoth) << (QList<int>() << 1 << 0 << 1 << 0);
}

void TestKernelGpio::wakesNotifier()
{
    QFETCH(int, edge);
    QFETCH(QList<int>, levels);
    EdgeMarker marker;
    ExportedLine line(40);
    Gpio input(nullptr, Gpios(40), Gpio::DirectionInput, GpioEdges(edge));
    EdgeListener listener(&input);
    deliverEvents();
    QCOMPARE(listener.levels, QList<int>() << 0);
    listener.levels.clear();
    for (int change = 0; change < 4; ++change) {
        line.pull((change + 1) % 2);
        marker.pass();
        deliverEvents();
    }
    QCOMPARE(listener.levels, levels);
}

void TestKernelGpio::freshDescriptorIsReady()
{
    ExportedLine line(40);
    Gpio input(nullptr, Gpios(40), Gpio::DirectionInput, Gpio::EdgeNone);
    QCOMPARE(readiness(input.getGpioFd()), woken);
    QCOMPARE(readiness(input.getGpioFd()), woken);
    QCOMPARE(input.getGpioValue(), 0);
    QCOMPARE(readiness(input.getGpioFd()), 0);
}

void TestKernelGpio::wakesNobodyWithoutInterrupt()
{
    EdgeMarker marker;
    ExportedLine line(230);
    QVERIFY(!QFile::exists(QFile::decodeName(line.file("edge"))));
    log->take();
    Gpio input(nullptr, Gpios(230), Gpio::DirectionInput, Gpio::EdgeBoth);
    QVERIFY(log->take().contains(
        text("Gpio|openGpio|Unable to open edge file, no interrupt support for this pin?")));
    const int levels[] = {0, 1, 0};
    for (const int level : levels) {
        line.pull(level);
        QCOMPARE(input.getGpioValue(), level);
        marker.pass();
        QCOMPARE(readiness(input.getGpioFd()), 0);
    }
}

/** The next application finds the line with the edge of the last one. */
void TestKernelGpio::edgeOutlivesTheObject()
{
    ExportedLine line(40);
    Gpio(nullptr, Gpios(40), Gpio::DirectionInput, Gpio::EdgeRising);
    QCOMPARE(kernelFile(line.file("edge")), QByteArray("rising"));
    QCOMPARE(uses->changes(), Texts() << "40: in lo IRQ");
    Gpio(nullptr, Gpios(40), Gpio::DirectionInput, Gpio::EdgeNone);
    QCOMPARE(kernelFile(line.file("edge")), QByteArray("none"));
    QCOMPARE(uses->changes(), Texts() << "40: in lo");
}

void TestKernelGpio::unexportedInput()
{
    std::unique_ptr<ExportedLine> line(new ExportedLine(40));
    Gpio input(nullptr, Gpios(40), Gpio::DirectionInput, Gpio::EdgeBoth);
    const int descriptor = input.getGpioFd();
    QCOMPARE(input.getGpioValue(), 0);
    log->take();

    line.reset();
    QCOMPARE(readiness(descriptor), woken);
    QCOMPARE(input.getGpioValue(), 255);
    QCOMPARE(input.getGpioValueCached(), 255);
    QCOMPARE(input.getGpioFd(), descriptor);
    input.setGpioDirection(Gpio::DirectionOutput);
    QCOMPARE(log->take(), QStringList()
                              << text("Gpio|getGpioValue|Failed to read()")
                              << text("Gpio|getGpioValue|Failed to read()")
                              << text("Gpio|setGpioDirection|Failed to set direction!()"));

    line.reset(new ExportedLine(40));
    line->pull(1);
    QCOMPARE(input.getGpioValue(), 255);
    Gpio another(nullptr, Gpios(40), Gpio::DirectionInput, Gpio::EdgeBoth);
    QCOMPARE(another.getGpioValue(), 1);
}

void TestKernelGpio::unexportedOutput()
{
    std::unique_ptr<ExportedLine> line(new ExportedLine(40));
    Gpio output(nullptr, Gpios(40), Gpio::DirectionOutput, Gpio::EdgeNone);
    line.reset();
    log->take();
    record->take();
    output.setGpioValue(Gpio::ValueHigh);
    QCOMPARE(log->take(), QStringList() << text("Gpio|setGpioValue|Failed to write()"));
    line.reset(new ExportedLine(40));
    output.setGpioValue(Gpio::ValueHigh);
    QCOMPARE(log->take(), QStringList() << text("Gpio|setGpioValue|Failed to write()"));
    QCOMPARE(line->level(), 0);
}

/** Another program has made an input of the line. */
void TestKernelGpio::takenAway()
{
    ExportedLine line(40);
    Gpio output(nullptr, Gpios(40), Gpio::DirectionOutput, Gpio::EdgeNone);
    writeKernelFile(line.file("direction"), "in");
    log->take();
    record->take();
    output.setGpioValue(Gpio::ValueHigh);
    QCOMPARE(log->take(), QStringList() << text("Gpio|setGpioValue|Failed to write()"));
    QCOMPARE(record->take(), Texts());
    QCOMPARE(line.level(), 0);
}

/** Each number is the kernel's line of that number, and nothing else is touched with it. */
void TestKernelGpio::everyLine()
{
    std::vector<std::unique_ptr<ExportedLine>> lines;
    for (int number = firstLine; number < firstChipLine; ++number)
        lines.emplace_back(new ExportedLine(number));
    QCOMPARE(uses->changes().size(), firstChipLine - firstLine);
    for (int number = firstLine; number < firstChipLine; ++number) {
        const QByteArray name = QByteArray::number(number);
        ExportedLine &line = *lines[size_t(number - firstLine)];
        {
            Gpio output(nullptr, Gpios(number), Gpio::DirectionOutput, Gpio::EdgeNone);
            QCOMPARE(uses->changes(), Texts() << name + ": out lo");
            output.setGpioValue(Gpio::ValueHigh);
            QCOMPARE(uses->changes(), Texts() << name + ": out hi");
            QCOMPARE(line.level(), 1);
            output.setGpioValue(Gpio::ValueLow);
            QCOMPARE(uses->changes(), Texts() << name + ": out lo");
        }
        Gpio input(nullptr, Gpios(number), Gpio::DirectionInput, Gpio::EdgeNone);
        QCOMPARE(uses->changes(), Texts() << name + ": in lo");
        QCOMPARE(input.getGpioValue(), 0);
        line.pull(1);
        QCOMPARE(uses->changes(), Texts() << name + ": in hi");
        QCOMPARE(input.getGpioValue(), 1);
    }
}

/** The same in the registers of the expander: two bytes of levels, two with a bit for an input. */
void TestKernelGpio::everyChipLine()
{
    const I2cChip chip(0x76);
    std::vector<std::unique_ptr<ExportedLine>> lines;
    for (int number = firstChipLine; number <= lastLine; ++number)
        lines.emplace_back(new ExportedLine(number));
    for (const std::unique_ptr<ExportedLine> &line : lines) {
        writeKernelFile(line->file("direction"), "low");
        writeKernelFile(line->file("direction"), "in");
    }
    for (int number = firstChipLine; number <= lastLine; ++number) {
        ExportedLine &line = *lines[size_t(number - firstChipLine)];
        const int bit = 1 << (number - firstChipLine);
        {
            Gpio output(nullptr, Gpios(number), Gpio::DirectionOutput, Gpio::EdgeNone);
            output.setGpioValue(Gpio::ValueHigh);
            QCOMPARE(chip.bytes(2, 2), QList<int>() << (bit & 0xff) << bit / 256);
            QCOMPARE(chip.bytes(6, 2), QList<int>() << (~bit & 0xff) << (0xff ^ bit / 256));
            output.setGpioValue(Gpio::ValueLow);
            QCOMPARE(chip.bytes(2, 2), QList<int>() << 0 << 0);
        }
        Gpio input(nullptr, Gpios(number), Gpio::DirectionInput, Gpio::EdgeNone);
        QCOMPARE(chip.bytes(6, 2), QList<int>() << 0xff << 0xff);
        QCOMPARE(input.getGpioValue(), 0);
        line.pull(1);
        QCOMPARE(input.getGpioValue(), 1);
        line.pull(0);
    }
}

QTEST_MAIN(TestKernelGpio)
#include "tst_kernelgpio.moc"
