// SPDX-License-Identifier: LGPL-2.1-or-later

// How a line is checked, found, configured and opened.

#include "boardtest.h"
#include "gpio.h"
#include "texts.h"

#include <QtCore/QPointer>
#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <type_traits>
#include <unistd.h>

// The enumerations are plain ones of the size of an int, and usable with and without the class.
static_assert(std::is_same<std::underlying_type<Gpios>::type, int>::value, "");
static_assert(std::is_same<std::underlying_type<Gpio::GpioDirections>::type, int>::value, "");
static_assert(std::is_same<std::underlying_type<GpioEdges>::type, int>::value, "");
static_assert(std::is_same<std::underlying_type<Gpio::GpioValue>::type, int>::value, "");
static_assert(std::is_convertible<GpioDirections, int>::value, "");
static_assert(std::is_same<Gpio::GpioEdges, GpioEdges>::value, "");
static_assert(Gpio::DirectionOutput == 0 && Gpio::DirectionInput == 1, "");
static_assert(Gpio::EdgeNone == 0 && Gpio::EdgeRising == 1 && Gpio::EdgeFalling == 2 &&
                  Gpio::EdgeBoth == 3,
              "");
static_assert(Gpio::ValueLow == 0 && Gpio::ValueHigh == 1, "");

namespace
{

const char line40[] = "imx/gpio.1/gpio/gpio40";

/** "Creating ..." as it is logged. */
QString creating(int gpio, int direction, int edge)
{
    return text("Gpio|Gpio|Creating Object fot GPIO: %1 direction: %2, edge: %3")
        .arg(gpio)
        .arg(direction)
        .arg(edge);
}

QString openOk(int fd, const char *path)
{
    return text("Gpio|openGpio|GPIO open ok, fd:%1 \"%2\"").arg(fd).arg(text(path));
}

const char noEdge[] = "Gpio|openGpio|Unable to open edge file, no interrupt support for this pin?";
const char isInput[] = "Gpio|openGpio|GPIO input";

Gpio *newGpio(int gpio, int direction, int edge)
{
    return new Gpio(nullptr, Gpios(gpio), GpioDirections(direction), GpioEdges(edge));
}

} // namespace

class TestGpioOpening : public BoardTest
{
    Q_OBJECT
private Q_SLOTS:
    void hasTheStaticDataThatApplicationsRelyOn();
    void findsLines_data();
    void findsLines();
    void refusesBadArguments_data();
    void refusesBadArguments();
    void configuresOutputs_data();
    void configuresOutputs();
    void configuresInputs_data();
    void configuresInputs();
    void opensInputsWithoutEdgeFile();
    void opensNoInputWithoutDirectionFile();
    void opensAnOutputWithoutDirectionFile();
    void opensNothingWithoutValueFile_data();
    void opensNothingWithoutValueFile();
    void survivesALineThatIsNotThere_data();
    void survivesALineThatIsNotThere();
    void doesNotNoticeFailedWrites_data();
    void doesNotNoticeFailedWrites();
    void takesAnOutputOnDescriptorZeroForMissing();
    void takesAnEdgeFileOnDescriptorZeroForMissing();
    void takesAValueFileOnDescriptorZeroForMissing_data();
    void takesAValueFileOnDescriptorZeroForMissing();
    void opensAgainWithoutClosing();
    void forgetsItsDescriptorIfItOpensAgainInVain_data();
    void forgetsItsDescriptorIfItOpensAgainInVain();
    void opensNothingForARefusedObject();
    void writesNoEdgeOfARefusedObject();
    void closesItsDescriptorOnExec();
    void belongsToItsParent();
    void leaksNoDescriptors_data();
    void leaksNoDescriptors();
};

void TestGpioOpening::hasTheStaticDataThatApplicationsRelyOn()
{
    const char imx28Rows[] = "gpio.0\0\0\0\0gpio.1\0\0\0\0gpio.2\0\0\0\0gpio.3\0\0\0\0gpio.4\0\0\0";
    const char i2cRows[] = "0-0020\0\0\0\0"
                           "0-0060\0\0\0\0"
                           "0-0074\0\0\0\0"
                           "0-0075\0\0\0\0"
                           "0-0076\0\0\0";
    QCOMPARE(sizeof Gpio::gpioImx28ChipAddresses, sizeof imx28Rows);
    QVERIFY(!std::memcmp(Gpio::gpioImx28ChipAddresses, imx28Rows, sizeof imx28Rows));
    QCOMPARE(sizeof Gpio::gpioI2cChipAddresses, sizeof i2cRows);
    QVERIFY(!std::memcmp(Gpio::gpioI2cChipAddresses, i2cRows, sizeof i2cRows));
    board.reset();
    QCOMPARE(text(Gpio::gpioImx28Path),
             text("/sys/devices/80000000.apb/80000000.apbh/80018000.pinctrl/"));
    QCOMPARE(text(Gpio::gpioI2c0Path),
             text("/sys/devices/80000000.apb/80040000.apbx/80058000.i2c/i2c-0/"));
}

void TestGpioOpening::findsLines_data()
{
    QTest::addColumn<int>("gpio");
    QTest::addColumn<QByteArray>("chip");
    const struct {
        int gpio;
        const char *chip;
    } rows[] = {{37, "imx/gpio.1"},  {63, "imx/gpio.1"},  {64, "imx/gpio.2"},  {95, "imx/gpio.2"},
                {96, "imx/gpio.3"},  {127, "imx/gpio.3"}, {128, "imx/gpio.4"}, {159, "imx/gpio.4"},
                {160, "i2c/0-0020"}, {175, "i2c/0-0020"}, {176, "i2c/0-0060"}, {191, "i2c/0-0060"},
                {192, "i2c/0-0074"}, {207, "i2c/0-0074"}, {208, "i2c/0-0075"}, {223, "i2c/0-0075"},
                {224, "i2c/0-0076"}, {239, "i2c/0-0076"}};
    for (const auto &row : rows)
        QTest::newRow(QByteArray::number(row.gpio).constData()) << row.gpio << QByteArray(row.chip);
}

void TestGpioOpening::findsLines()
{
    QFETCH(int, gpio);
    QFETCH(QByteArray, chip);
    const QByteArray folder = chip + "/gpio/gpio" + QByteArray::number(gpio);
    board->addLine(folder);
    {
        const QScopedPointer<Gpio> line(newGpio(gpio, 1, 0));
        QVERIFY(line->getGpioFd() > 0);
        QCOMPARE(log->take(), QStringList()
                                  << creating(gpio, 1, 0) << text(isInput)
                                  << openOk(line->getGpioFd(), (folder + "/value").constData())
                                  << text("Gpio|Gpio|gpioPath: \"%1/gpio\" for GPIO:%2")
                                         .arg(text(chip.constData()))
                                         .arg(gpio));
    }
    QCOMPARE(log->take(), QStringList(text("Gpio|~Gpio|Deleting Object")));
}

void TestGpioOpening::refusesBadArguments_data()
{
    QTest::addColumn<int>("gpio");
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("edge");
    QTest::addColumn<QString>("message");
    const struct {
        int gpio, direction, edge;
        const char *message;
    } rows[] = {{36, 1, 0, "Invalid GPIO:36"},
                {0, 0, 0, "Invalid GPIO:0"},
                {-1, 1, 3, "Invalid GPIO:-1"},
                {240, 1, 0, "Invalid GPIO:240"},
                {INT_MAX, 1, 0, "Invalid GPIO:2147483647"},
                {INT_MIN, 1, 0, "Invalid GPIO:-2147483648"},
                {40, 2, 0, "Invalid GPIO direction:\"2\" for GPIO:40"},
                {40, -1, 0, "Invalid GPIO direction:\"-1\" for GPIO:40"},
                {239, INT_MIN, 0, "Invalid GPIO direction:\"-2147483648\" for GPIO:239"},
                {40, 1, 4, "Invalid GPIO edge:\"4\" for GPIO:40"},
                {40, 0, 4, "Invalid GPIO edge:\"4\" for GPIO:40"},
                {40, 1, -1, "Invalid GPIO edge:\"-1\" for GPIO:40"},
                {160, 1, INT_MAX, "Invalid GPIO edge:\"2147483647\" for GPIO:160"},
                // What is reported first if several are wrong.
                {36, 2, 4, "Invalid GPIO:36"},
                {40, 2, 4, "Invalid GPIO direction:\"2\" for GPIO:40"}};
    for (const auto &row : rows) {
        const QByteArray name = QByteArray::number(row.gpio) + "," +
                                QByteArray::number(row.direction) + "," +
                                QByteArray::number(row.edge);
        QTest::newRow(name.constData())
            << row.gpio << row.direction << row.edge << text(row.message);
    }
}

void TestGpioOpening::refusesBadArguments()
{
    QFETCH(int, gpio);
    QFETCH(int, direction);
    QFETCH(int, edge);
    QFETCH(QString, message);
    board->addLine(line40);
    board->addLine("imx/gpio.1/gpio/gpio36");
    calls->take();
    {
        const QScopedPointer<Gpio> line(newGpio(gpio, direction, edge));
        QCOMPARE(log->take(),
                 QStringList() << creating(gpio, direction, edge) << text("Gpio|Gpio|") + message);
        QCOMPARE(line->getGpioFd(), -1);
        QCOMPARE(line->getGpioValue(), 255);
        QCOMPARE(line->getGpioValueCached(), 255);
        line->setGpioValue(Gpio::ValueHigh);
        QCOMPARE(log->take(), QStringList() << text("Gpio|getGpioValue|Invalid GPIO Direction")
                                            << text("Gpio|getGpioValue|Invalid GPIO Direction")
                                            << text("Gpio|setGpioValue|Invalid GPIO Direction"));
    }
    QCOMPARE(log->take(), QStringList(text("Gpio|~Gpio|Deleting Object")));
    QCOMPARE(calls->take(), QStringList());
}

void TestGpioOpening::configuresOutputs_data()
{
    QTest::addColumn<int>("edge");
    QTest::newRow("none") << 0;
    QTest::newRow("rising") << 1;
    QTest::newRow("falling") << 2;
    QTest::newRow("both") << 3;
}

void TestGpioOpening::configuresOutputs()
{
    QFETCH(int, edge);
    board->addLine(line40);
    calls->take();
    {
        const QScopedPointer<Gpio> line(newGpio(40, 0, edge));
        QVERIFY(line->getGpioFd() > 0);
        QCOMPARE(log->take(), QStringList()
                                  << creating(40, 0, edge)
                                  << openOk(line->getGpioFd(), "imx/gpio.1/gpio/gpio40/value")
                                  << text("Gpio|Gpio|gpioPath: \"imx/gpio.1/gpio\" for GPIO:40"));
    }
    QCOMPARE(calls->take(), QStringList()
                                << text("open imx/gpio.1/gpio/gpio40/direction O_WRONLY|O_CLOEXEC")
                                << text("write imx/gpio.1/gpio/gpio40/direction out\\0")
                                << text("close imx/gpio.1/gpio/gpio40/direction")
                                << text("open imx/gpio.1/gpio/gpio40/value O_RDWR|O_CLOEXEC")
                                << text("close imx/gpio.1/gpio/gpio40/value"));
    QCOMPARE(board->content("imx/gpio.1/gpio/gpio40/direction"), QByteArray("out\0", 4));
    QCOMPARE(board->content("imx/gpio.1/gpio/gpio40/edge"), QByteArray());
    QCOMPARE(board->content("imx/gpio.1/gpio/gpio40/value"), QByteArray());
}

void TestGpioOpening::configuresInputs_data()
{
    QTest::addColumn<int>("edge");
    QTest::addColumn<QByteArray>("word");
    QTest::newRow("none") << 0 << QByteArray("none\0", 5);
    QTest::newRow("rising") << 1 << QByteArray("rising\0", 7);
    QTest::newRow("falling") << 2 << QByteArray("falling\0", 8);
    QTest::newRow("both") << 3 << QByteArray("both\0", 5);
}

void TestGpioOpening::configuresInputs()
{
    QFETCH(int, edge);
    QFETCH(QByteArray, word);
    const QString writtenWord = text(word.constData()) + text("\\0");
    board->addLine("i2c/0-0074/gpio/gpio200");
    calls->take();
    newGpio(200, 1, edge)->deleteLater();
    QCOMPARE(calls->take(), QStringList()
                                << text("open i2c/0-0074/gpio/gpio200/direction O_WRONLY|O_CLOEXEC")
                                << text("write i2c/0-0074/gpio/gpio200/direction in\\0")
                                << text("close i2c/0-0074/gpio/gpio200/direction")
                                << text("open i2c/0-0074/gpio/gpio200/edge O_WRONLY|O_CLOEXEC")
                                << text("write i2c/0-0074/gpio/gpio200/edge ") + writtenWord
                                << text("close i2c/0-0074/gpio/gpio200/edge")
                                << text("open i2c/0-0074/gpio/gpio200/value O_RDWR|O_CLOEXEC"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(calls->take(), QStringList(text("close i2c/0-0074/gpio/gpio200/value")));
    QCOMPARE(board->content("i2c/0-0074/gpio/gpio200/direction"), QByteArray("in\0", 3));
    QCOMPARE(board->content("i2c/0-0074/gpio/gpio200/edge"), word);
    QCOMPARE(board->content("i2c/0-0074/gpio/gpio200/value"), QByteArray());
}

void TestGpioOpening::opensInputsWithoutEdgeFile()
{
    board->add("imx/gpio.1/gpio/gpio40/direction");
    board->add("imx/gpio.1/gpio/gpio40/value", "1\n");
    const QScopedPointer<Gpio> line(newGpio(40, 1, 3));
    QVERIFY(line->getGpioFd() > 0);
    QCOMPARE(log->take(), QStringList()
                              << creating(40, 1, 3) << text(isInput) << text(noEdge)
                              << openOk(line->getGpioFd(), "imx/gpio.1/gpio/gpio40/value")
                              << text("Gpio|Gpio|gpioPath: \"imx/gpio.1/gpio\" for GPIO:40"));
    QCOMPARE(line->getGpioValue(), 1);
}

void TestGpioOpening::opensNoInputWithoutDirectionFile()
{
    board->add("imx/gpio.1/gpio/gpio40/edge");
    board->add("imx/gpio.1/gpio/gpio40/value", "1\n");
    calls->take();
    {
        const QScopedPointer<Gpio> line(newGpio(40, 1, 3));
        QCOMPARE(line->getGpioFd(), -2);
        QCOMPARE(line->getGpioValue(), 255);
    }
    QCOMPARE(log->take(), QStringList()
                              << creating(40, 1, 3) << text(isInput)
                              << text("Gpio|openGpio|Could not open GPIO file descriptor: "
                                      "\"imx/gpio.1/gpio/gpio40/direction\"")
                              << text("Gpio|Gpio|Failed to open GPIOx:40")
                              << text("Gpio|getGpioValue|Failed to read()")
                              << text("Gpio|~Gpio|Deleting Object"));
    QCOMPARE(
        calls->take(),
        QStringList() << text("open imx/gpio.1/gpio/gpio40/direction O_WRONLY|O_CLOEXEC failed")
                      << text("lseek -2 0 SEEK_SET") << text("read -2 1"));
}

void TestGpioOpening::opensAnOutputWithoutDirectionFile()
{
    board->add("imx/gpio.1/gpio/gpio40/value");
    calls->take();
    {
        const QScopedPointer<Gpio> line(newGpio(40, 0, 0));
        QVERIFY(line->getGpioFd() > 0);
        QCOMPARE(log->take(), QStringList()
                                  << creating(40, 0, 0)
                                  << openOk(line->getGpioFd(), "imx/gpio.1/gpio/gpio40/value")
                                  << text("Gpio|Gpio|gpioPath: \"imx/gpio.1/gpio\" for GPIO:40"));
    }
    QCOMPARE(
        calls->take(),
        QStringList() << text("open imx/gpio.1/gpio/gpio40/direction O_WRONLY|O_CLOEXEC failed")
                      << text("write -1 out\\0") << text("close -1")
                      << text("open imx/gpio.1/gpio/gpio40/value O_RDWR|O_CLOEXEC")
                      << text("close imx/gpio.1/gpio/gpio40/value"));
}

void TestGpioOpening::opensNothingWithoutValueFile_data()
{
    QTest::addColumn<int>("direction");
    QTest::newRow("output") << 0;
    QTest::newRow("input") << 1;
}

void TestGpioOpening::opensNothingWithoutValueFile()
{
    QFETCH(int, direction);
    board->add("imx/gpio.1/gpio/gpio40/direction");
    board->add("imx/gpio.1/gpio/gpio40/edge");
    {
        const QScopedPointer<Gpio> line(newGpio(40, direction, 1));
        QCOMPARE(line->getGpioFd(), -1);
    }
    QStringList expected(creating(40, direction, 1));
    if (direction == 1)
        expected << text(isInput);
    expected << openOk(-1, "imx/gpio.1/gpio/gpio40/value")
             << text("Gpio|Gpio|Failed to open GPIOx:40") << text("Gpio|~Gpio|Deleting Object");
    QCOMPARE(log->take(), expected);
}

void TestGpioOpening::survivesALineThatIsNotThere_data()
{
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("fd");
    QTest::addColumn<QString>("message");
    QTest::newRow("output") << 0 << -1 << openOk(-1, "i2c/0-0020/gpio/gpio160/value");
    QTest::newRow("input") << 1 << -2
                           << text("Gpio|openGpio|Could not open GPIO file descriptor: "
                                   "\"i2c/0-0020/gpio/gpio160/direction\"");
}

void TestGpioOpening::survivesALineThatIsNotThere()
{
    QFETCH(int, direction);
    QFETCH(int, fd);
    QFETCH(QString, message);
    const QScopedPointer<Gpio> line(newGpio(160, direction, 0));
    QCOMPARE(line->getGpioFd(), fd);
    QStringList expected(creating(160, direction, 0));
    if (direction == 1)
        expected << text(isInput);
    QCOMPARE(log->take(), expected << message << text("Gpio|Gpio|Failed to open GPIOx:160"));
    line->setGpioValue(Gpio::ValueHigh);
    QCOMPARE(line->getGpioValue(), 255);
    QCOMPARE(log->take(), direction == 0
                              ? QStringList() << text("Gpio|setGpioValue|Failed to write()")
                                              << text("Gpio|getGpioValue|Invalid GPIO Direction")
                              : QStringList() << text("Gpio|setGpioValue|Invalid GPIO Direction")
                                              << text("Gpio|getGpioValue|Failed to read()"));
}

void TestGpioOpening::doesNotNoticeFailedWrites_data()
{
    opensNothingWithoutValueFile_data();
}

void TestGpioOpening::doesNotNoticeFailedWrites()
{
    QFETCH(int, direction);
    board->addLine(line40);
    calls->fail("write */direction", EIO);
    calls->fail("write */edge", 0, 2);
    const QScopedPointer<Gpio> line(newGpio(40, direction, 1));
    QVERIFY(line->getGpioFd() > 0);
    QCOMPARE(log->take().last(), text("Gpio|Gpio|gpioPath: \"imx/gpio.1/gpio\" for GPIO:40"));
}

void TestGpioOpening::takesAnOutputOnDescriptorZeroForMissing()
{
    board->addLine(line40);
    calls->take();
    const FreeDescriptorZero freed;
    {
        const QScopedPointer<Gpio> line(newGpio(40, 0, 0));
        QCOMPARE(line->getGpioFd(), -2);
    }
    QCOMPARE(log->take(), QStringList()
                              << creating(40, 0, 0)
                              << text("Gpio|openGpio|Could not open GPIO file descriptor: "
                                      "\"imx/gpio.1/gpio/gpio40/value\"")
                              << text("Gpio|Gpio|Failed to open GPIOx:40")
                              << text("Gpio|~Gpio|Deleting Object"));
    QCOMPARE(calls->take(), QStringList()
                                << text("open imx/gpio.1/gpio/gpio40/direction O_WRONLY|O_CLOEXEC")
                                << text("write imx/gpio.1/gpio/gpio40/direction out\\0")
                                << text("close imx/gpio.1/gpio/gpio40/direction")
                                << text("open imx/gpio.1/gpio/gpio40/value O_RDWR|O_CLOEXEC"));
}

void TestGpioOpening::takesAnEdgeFileOnDescriptorZeroForMissing()
{
    board->addLine(line40);
    calls->take();
    const FreeDescriptorZero freed;
    {
        // The edge file gets descriptor 0, is taken for missing and keeps it.
        const QScopedPointer<Gpio> line(newGpio(40, 1, 3));
        QVERIFY(line->getGpioFd() > 0);
        QCOMPARE(log->take(), QStringList()
                                  << creating(40, 1, 3) << text(isInput) << text(noEdge)
                                  << openOk(line->getGpioFd(), "imx/gpio.1/gpio/gpio40/value")
                                  << text("Gpio|Gpio|gpioPath: \"imx/gpio.1/gpio\" for GPIO:40"));
    }
    QCOMPARE(calls->take(), QStringList()
                                << text("open imx/gpio.1/gpio/gpio40/direction O_WRONLY|O_CLOEXEC")
                                << text("write imx/gpio.1/gpio/gpio40/direction in\\0")
                                << text("close imx/gpio.1/gpio/gpio40/direction")
                                << text("open imx/gpio.1/gpio/gpio40/edge O_WRONLY|O_CLOEXEC")
                                << text("open imx/gpio.1/gpio/gpio40/value O_RDWR|O_CLOEXEC")
                                << text("close imx/gpio.1/gpio/gpio40/value"));
}

void TestGpioOpening::takesAValueFileOnDescriptorZeroForMissing_data()
{
    opensNothingWithoutValueFile_data();
}

void TestGpioOpening::takesAValueFileOnDescriptorZeroForMissing()
{
    QFETCH(int, direction);
    board->addLine(line40);
    const FreeDescriptorZero freed;
    calls->openAs("imx/gpio.1/gpio/gpio40/direction", 50);
    calls->openAs("imx/gpio.1/gpio/gpio40/edge", 51);
    calls->openAs("imx/gpio.1/gpio/gpio40/value", 0);
    calls->take();
    {
        const QScopedPointer<Gpio> line(newGpio(40, direction, 0));
        QCOMPARE(line->getGpioFd(), -2);
    }
    QStringList expected(creating(40, direction, 0));
    if (direction == 1)
        expected << text(isInput);
    QCOMPARE(log->take(), expected << text("Gpio|openGpio|Could not open GPIO file descriptor: "
                                           "\"imx/gpio.1/gpio/gpio40/value\"")
                                   << text("Gpio|Gpio|Failed to open GPIOx:40")
                                   << text("Gpio|~Gpio|Deleting Object"));
    QCOMPARE(calls->take().last(), text("open imx/gpio.1/gpio/gpio40/value O_RDWR|O_CLOEXEC"));
}

void TestGpioOpening::opensAgainWithoutClosing()
{
    board->addLine(line40);
    const QScopedPointer<Gpio> line(newGpio(40, 1, 2));
    const int first = line->getGpioFd();
    log->take();
    calls->take();
    const int second = line->openGpio();
    QVERIFY(second > 0);
    QVERIFY(second != first);
    QCOMPARE(line->getGpioFd(), second);
    QCOMPARE(log->take(), QStringList()
                              << text(isInput) << openOk(second, "imx/gpio.1/gpio/gpio40/value"));
    QVERIFY(!calls->take().contains(text("close imx/gpio.1/gpio/gpio40/value")));
    QCOMPARE(close(first), 0);
}

void TestGpioOpening::forgetsItsDescriptorIfItOpensAgainInVain_data()
{
    QTest::addColumn<int>("direction");
    QTest::addColumn<QByteArray>("missing");
    QTest::addColumn<int>("result");
    QTest::newRow("output without value file") << 0 << QByteArray("value") << -1;
    QTest::newRow("input without value file") << 1 << QByteArray("value") << -1;
    QTest::newRow("input without direction file") << 1 << QByteArray("direction") << -2;
}

void TestGpioOpening::forgetsItsDescriptorIfItOpensAgainInVain()
{
    QFETCH(int, direction);
    QFETCH(QByteArray, missing);
    QFETCH(int, result);
    board->addLine(line40);
    const QScopedPointer<Gpio> line(newGpio(40, direction, 0));
    const int first = line->getGpioFd();
    QVERIFY(first > 0);
    QCOMPARE(unlink((QByteArray(line40) + "/" + missing).constData()), 0);
    QCOMPARE(line->openGpio(), result);
    QCOMPARE(line->getGpioFd(), -1);
    QCOMPARE(close(first), 0);
}

void TestGpioOpening::opensNothingForARefusedObject()
{
    const QScopedPointer<Gpio> line(newGpio(36, 1, 0));
    log->take();
    QCOMPARE(line->openGpio(), -1);
    QCOMPARE(line->getGpioFd(), -1);
    QCOMPARE(log->take(), QStringList(openOk(-1, "/gpio-1/direction")));
    QCOMPARE(calls->take(), QStringList());
}

void TestGpioOpening::writesNoEdgeOfARefusedObject()
{
    // An object that never got an edge, made to look like an input from outside.
    board->addLine("imx/gpio.1/gpio/gpio-1");
    const QScopedPointer<Gpio> line(newGpio(36, 1, 0));
    QVERIFY(line->setGpioImxPath(Gpios(40)));
    line->setGpioDirection(Gpio::DirectionInput);
    log->take();
    calls->take();
    const int fd = line->openGpio();
    QVERIFY(fd > 0);
    QCOMPARE(line->getGpioFd(), fd);
    QCOMPARE(log->take(), QStringList() << text(isInput) << text("Gpio|openGpio|Edge missing")
                                        << openOk(fd, "imx/gpio.1/gpio/gpio-1/value"));
    QCOMPARE(calls->take(), QStringList()
                                << text("open imx/gpio.1/gpio/gpio-1/direction O_WRONLY|O_CLOEXEC")
                                << text("write imx/gpio.1/gpio/gpio-1/direction in\\0")
                                << text("close imx/gpio.1/gpio/gpio-1/direction")
                                << text("open imx/gpio.1/gpio/gpio-1/edge O_WRONLY|O_CLOEXEC")
                                << text("close imx/gpio.1/gpio/gpio-1/edge")
                                << text("open imx/gpio.1/gpio/gpio-1/value O_RDWR|O_CLOEXEC"));
}

void TestGpioOpening::closesItsDescriptorOnExec()
{
    board->addLine(line40);
    const QScopedPointer<Gpio> line(newGpio(40, 1, 0));
    QCOMPARE(fcntl(line->getGpioFd(), F_GETFD), FD_CLOEXEC);
}

void TestGpioOpening::belongsToItsParent()
{
    board->addLine(line40);
    QObject *const parent = new QObject;
    const QPointer<Gpio> line = new Gpio(parent, Gpios(40), Gpio::DirectionInput, Gpio::EdgeNone);
    QCOMPARE(line->parent(), parent);
    QCOMPARE(QByteArray(line->metaObject()->className()), QByteArray("Gpio"));
    QCOMPARE(line->metaObject()->methodCount(), QObject::staticMetaObject.methodCount());
    QCOMPARE(line->metaObject()->propertyCount(), QObject::staticMetaObject.propertyCount());
    delete parent;
    QVERIFY(line.isNull());
}

void TestGpioOpening::leaksNoDescriptors_data()
{
    QTest::addColumn<int>("gpio");
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("edge");
    QTest::newRow("output") << 40 << 0 << 0;
    QTest::newRow("input") << 40 << 1 << 3;
    QTest::newRow("input without edge file") << 41 << 1 << 3;
    QTest::newRow("output without value file") << 42 << 0 << 0;
    QTest::newRow("input without value file") << 42 << 1 << 0;
    QTest::newRow("output without files") << 43 << 0 << 0;
    QTest::newRow("input without files") << 43 << 1 << 0;
    QTest::newRow("refused line") << 36 << 1 << 0;
    QTest::newRow("refused direction") << 40 << 2 << 0;
    QTest::newRow("refused edge") << 40 << 1 << 4;
}

void TestGpioOpening::leaksNoDescriptors()
{
    QFETCH(int, gpio);
    QFETCH(int, direction);
    QFETCH(int, edge);
    calls.reset();
    log.reset();
    board->addLine(line40);
    board->add("imx/gpio.1/gpio/gpio41/direction");
    board->add("imx/gpio.1/gpio/gpio41/value", "1\n");
    board->add("imx/gpio.1/gpio/gpio42/direction");
    board->add("imx/gpio.1/gpio/gpio42/edge");
    const int before = openDescriptors();
    for (int i = 0; i < 2000; ++i) {
        const QScopedPointer<Gpio> line(newGpio(gpio, direction, edge));
        line->getGpioValueCached();
        line->setGpioValue(Gpio::ValueHigh);
    }
    QCOMPARE(openDescriptors(), before);
}

QTEST_MAIN(TestGpioOpening)
#include "tst_gpioopening.moc"
