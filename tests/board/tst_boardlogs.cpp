// SPDX-License-Identifier: LGPL-2.1-or-later

// The group and level of each line that Gpio and Adc log, found out through the filters, and the
// texts as they leave for syslog, where white space stays as it is.

#include "adc.h"
#include "board.h"
#include "gpio.h"
#include "kivlogs.h"
#include "libccalls.h"
#include "messagelog.h"
#include "texts.h"
#include "trace.h"

#include <QtTest/QTest>

#include <syslog.h>

namespace
{

const int tracing = 1;
const int devices = 8;
const int debug = 1;
const int info = 2;
const int error = 4;

struct Line {
    int group;
    int level;
    const char *entry; // class, function, message
};

const Line everything[] = {
    // A line that is refused
    {devices, info, "Gpio|Gpio|Creating Object fot GPIO: 36 direction: 1, edge: 0"},
    {devices, error, "Gpio|Gpio|Invalid GPIO:36"},
    {devices, error, "Gpio|setGpioImxPath|Invalid IMX28 GPIO: 160"},
    {devices, error, "Gpio|setGpioI2cPath|Invalid  I2C-0  GPIO: 159"},
    {tracing, debug, "Gpio|setGpioDirection|Failed to set direction!()"},
    {tracing, debug, "Gpio|openGpio|GPIO input"},
    {devices, error, "Gpio|openGpio|Edge missing"},
    {devices, info, "Gpio|openGpio|GPIO open ok, fd:50 \"imx/gpio.1/gpio/gpio-1/value\""},
    {devices, info, "Gpio|~Gpio|Deleting Object"},
    // A direction, and an edge, that are refused
    {devices, info, "Gpio|Gpio|Creating Object fot GPIO: 40 direction: 2, edge: 0"},
    {devices, error, "Gpio|Gpio|Invalid GPIO direction:\"2\" for GPIO:40"},
    {devices, info, "Gpio|~Gpio|Deleting Object"},
    {devices, info, "Gpio|Gpio|Creating Object fot GPIO: 40 direction: 1, edge: 4"},
    {devices, error, "Gpio|Gpio|Invalid GPIO edge:\"4\" for GPIO:40"},
    {devices, info, "Gpio|~Gpio|Deleting Object"},
    // An input that is not there
    {devices, info, "Gpio|Gpio|Creating Object fot GPIO: 41 direction: 1, edge: 0"},
    {tracing, debug, "Gpio|openGpio|GPIO input"},
    {devices, error,
     "Gpio|openGpio|Could not open GPIO file descriptor: \"imx/gpio.1/gpio/gpio41/direction\""},
    {devices, error, "Gpio|Gpio|Failed to open GPIOx:41"},
    {tracing, debug, "Gpio|getGpioValue|Failed to read()"},
    {devices, info, "Gpio|~Gpio|Deleting Object"},
    // An output that is not there
    {devices, info, "Gpio|Gpio|Creating Object fot GPIO: 41 direction: 0, edge: 0"},
    {devices, info, "Gpio|openGpio|GPIO open ok, fd:-1 \"imx/gpio.1/gpio/gpio41/value\""},
    {devices, error, "Gpio|Gpio|Failed to open GPIOx:41"},
    {tracing, debug, "Gpio|setGpioValue|Failed to write()"},
    {tracing, debug, "Gpio|setGpioValue|Invalid GPIO value"},
    {tracing, debug, "Gpio|getGpioValue|Invalid GPIO Direction"},
    {devices, info, "Gpio|~Gpio|Deleting Object"},
    // An input without an edge file
    {devices, info, "Gpio|Gpio|Creating Object fot GPIO: 42 direction: 1, edge: 3"},
    {tracing, debug, "Gpio|openGpio|GPIO input"},
    {devices, error, "Gpio|openGpio|Unable to open edge file, no interrupt support for this pin?"},
    {devices, info, "Gpio|openGpio|GPIO open ok, fd:51 \"imx/gpio.1/gpio/gpio42/value\""},
    {devices, info, "Gpio|Gpio|gpioPath: \"imx/gpio.1/gpio\" for GPIO:42"},
    {tracing, debug, "Gpio|getGpioValue|Invalid GPIO value: 255"},
    {tracing, debug, "Gpio|setGpioValue|Invalid GPIO Direction"},
    {devices, info, "Gpio|~Gpio|Deleting Object"},
    // A channel
    {tracing, debug, "Adc|Adc|Creating Object"},
};

/** Makes the lines above. */
void logEverything(LibcCalls &calls)
{
    {
        Gpio refused(nullptr, Gpios(36), Gpio::DirectionInput, Gpio::EdgeNone);
        refused.setGpioImxPath(Gpios(160));
        refused.setGpioI2cPath(Gpios(159));
        refused.setGpioDirection(Gpio::DirectionOutput);
        refused.setGpioImxPath(Gpios(40));
        refused.setGpioDirection(Gpio::DirectionInput);
        calls.openAs("imx/gpio.1/gpio/gpio-1/value", 50);
        refused.openGpio();
    }
    Gpio(nullptr, Gpios(40), GpioDirections(2), Gpio::EdgeNone);
    Gpio(nullptr, Gpios(40), Gpio::DirectionInput, GpioEdges(4));
    Gpio(nullptr, Gpios(41), Gpio::DirectionInput, Gpio::EdgeNone).getGpioValue();
    {
        Gpio output(nullptr, Gpios(41), Gpio::DirectionOutput, Gpio::EdgeNone);
        output.setGpioValue(Gpio::ValueLow);
        output.setGpioValue(GpioValue(2));
        output.getGpioValue();
    }
    {
        calls.openAs("imx/gpio.1/gpio/gpio42/value", 51);
        Gpio input(nullptr, Gpios(42), Gpio::DirectionInput, Gpio::EdgeBoth);
        input.getGpioValue();
        input.setGpioValue(Gpio::ValueLow);
    }
    Adc(nullptr, 0, 0, 1);
}

} // namespace

class TestBoardLogs : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();

    void passTheirFilters_data();
    void passTheirFilters();
    void goToSyslog();
    void areDroppedWithoutTrace();

private:
    Board board;
    LibcCalls calls;
};

void TestBoardLogs::initTestCase()
{
    board.addLine("imx/gpio.1/gpio/gpio-1");
    board.addLine("imx/gpio.1/gpio/gpio40");
    board.add("imx/gpio.1/gpio/gpio42/direction");
    board.add("imx/gpio.1/gpio/gpio42/value", "x");
}

void TestBoardLogs::passTheirFilters_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("mask");
    const int masks[] = {65535, tracing, devices, 65535 & ~(tracing | devices)};
    for (const int mask : masks) {
        for (int level = debug; level <= error + 1; ++level) {
            const QByteArray name =
                "level " + QByteArray::number(level) + ", mask " + QByteArray::number(mask);
            QTest::newRow(name.constData()) << level << mask;
        }
    }
}

void TestBoardLogs::passTheirFilters()
{
    QFETCH(int, level);
    QFETCH(int, mask);
    Trace trace(nullptr);
    trace.applyLogFilters(level, mask);
    TraceLog log(&trace);
    logEverything(calls);

    QStringList expected;
    for (const Line &line : everything) {
        // Lines show every run of white space as one blank.
        if (line.level >= level && (line.group & mask))
            expected << QString::fromLatin1(line.entry).simplified();
    }
    QCOMPARE(log.take(), expected);
}

void TestBoardLogs::goToSyslog()
{
    Trace trace(nullptr);
    trace.openSysLog(QLatin1String("board"));
    calls.record("syslog");
    logEverything(calls);

    QStringList expected;
    for (const Line &line : everything) {
        if (line.level > debug)
            expected << QString::fromLatin1("syslog %1 %2")
                            .arg(line.level == info ? LOG_INFO : LOG_ERR)
                            .arg(text(line.entry).section(QLatin1Char('|'), 2));
    }
    QCOMPARE(calls.take(), expected);
}

void TestBoardLogs::areDroppedWithoutTrace()
{
    MessageLog messages;
    logEverything(calls);
    // What Adc has to say on the debug output does not depend on Trace.
    QCOMPARE(messages.debugLines(), QStringList()
                                        << QString::fromLatin1("Adc Adc Creating Object ")
                                        << QString::fromLatin1("Adc Failed to open 0 0 0-0048 "));
}

QTEST_MAIN(TestBoardLogs)
#include "tst_boardlogs.moc"
