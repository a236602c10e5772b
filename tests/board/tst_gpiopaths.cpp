// SPDX-License-Identifier: LGPL-2.1-or-later

// Which files a line is made of: the folder is chosen by its number, and long names are cut.

#include "boardtest.h"
#include "gpio.h"
#include "texts.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

#include <climits>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace
{

struct Choice {
    int gpio;
    const char *chip; // empty if the line is refused
};

void addChoices(const std::vector<Choice> &choices)
{
    QTest::addColumn<int>("gpio");
    QTest::addColumn<QByteArray>("chip");
    for (const Choice &choice : choices)
        QTest::newRow(QByteArray::number(choice.gpio).constData())
            << choice.gpio << QByteArray(choice.chip);
}

Gpio *newGpio(int gpio, int direction, int edge)
{
    return new Gpio(nullptr, Gpios(gpio), GpioDirections(direction), GpioEdges(edge));
}

} // namespace

class TestGpioPaths : public BoardTest
{
    Q_OBJECT
private Q_SLOTS:
    void choosesTheFolderOfAnImxLine_data();
    void choosesTheFolderOfAnImxLine();
    void choosesTheFolderOfAnI2cLine_data();
    void choosesTheFolderOfAnI2cLine();
    void cutsLongFileNames_data();
    void cutsLongFileNames();
    void cutsLongFolderNames();
    void fillsTheNumberIntoTheFolderNameToo();

private:
    /**
     * Lets a line of one kind look for its folder as one of the other kind.
     * @param own the line that is opened
     * @param ownChip where it is
     * @param choose the function that chooses
     * @param refusal what is logged for a number that is refused
     */
    void compareChoice(int own, const QByteArray &ownChip, bool (Gpio::*choose)(Gpios),
                       const char *refusal);
};

void TestGpioPaths::compareChoice(int own, const QByteArray &ownChip, bool (Gpio::*choose)(Gpios),
                                  const char *refusal)
{
    QFETCH(int, gpio);
    QFETCH(QByteArray, chip);
    const QByteArray rest = "/gpio/gpio" + QByteArray::number(own);
    board->addLine(ownChip + rest);
    const QScopedPointer<Gpio> line(newGpio(own, 0, 0));
    log->take();
    calls->take();
    QCOMPARE((line.data()->*choose)(Gpios(gpio)), !chip.isEmpty());
    QCOMPARE(log->take(), chip.isEmpty() ? QStringList(text(refusal).arg(gpio)) : QStringList());
    // The chosen folder shows in the next file; a refused line leaves it as it was.
    line->setGpioDirection(GpioDirections(2));
    const QByteArray file = (chip.isEmpty() ? ownChip : chip) + rest + "/direction";
    QCOMPARE(calls->take().first().section(QLatin1Char(' '), 1, 1), text(file.constData()));
}

void TestGpioPaths::choosesTheFolderOfAnImxLine_data()
{
    addChoices({{INT_MIN, "imx/gpio.0"},
                {-33, "imx/gpio.0"},
                {-1, "imx/gpio.0"},
                {0, "imx/gpio.0"},
                {31, "imx/gpio.0"},
                {32, "imx/gpio.1"},
                {63, "imx/gpio.1"},
                {64, "imx/gpio.2"},
                {95, "imx/gpio.2"},
                {96, "imx/gpio.3"},
                {127, "imx/gpio.3"},
                {128, "imx/gpio.4"},
                {159, "imx/gpio.4"},
                {160, ""},
                {INT_MAX, ""}});
}

void TestGpioPaths::choosesTheFolderOfAnImxLine()
{
    compareChoice(239, "i2c/0-0076", &Gpio::setGpioImxPath,
                  "Gpio|setGpioImxPath|Invalid IMX28 GPIO: %1");
}

void TestGpioPaths::choosesTheFolderOfAnI2cLine_data()
{
    addChoices({{INT_MIN, ""},
                {-1, ""},
                {0, ""},
                {159, ""},
                {160, "i2c/0-0020"},
                {175, "i2c/0-0020"},
                {176, "i2c/0-0060"},
                {191, "i2c/0-0060"},
                {192, "i2c/0-0074"},
                {207, "i2c/0-0074"},
                {208, "i2c/0-0075"},
                {223, "i2c/0-0075"},
                {224, "i2c/0-0076"},
                {239, "i2c/0-0076"},
                {240, ""},
                {INT_MAX, ""}});
}

/** The double blanks of the message are looked at where lines go out as they are, in syslog. */
void TestGpioPaths::choosesTheFolderOfAnI2cLine()
{
    compareChoice(40, "imx/gpio.1", &Gpio::setGpioI2cPath,
                  "Gpio|setGpioI2cPath|Invalid I2C-0 GPIO: %1");
}

void TestGpioPaths::cutsLongFileNames_data()
{
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("length");
    for (int direction = 0; direction <= 1; ++direction) {
        for (int length = 94; length <= 105; ++length) {
            const QByteArray name =
                (direction ? "input, " : "output, ") + QByteArray::number(length);
            QTest::newRow(name.constData()) << direction << length;
        }
    }
}

/** Name of the value file, long as wanted; it is the shortest of the three but one. */
void TestGpioPaths::cutsLongFileNames()
{
    QFETCH(int, direction);
    QFETCH(int, length);
    const QByteArray rest("/gpio.1/gpio/gpio40/");
    const QByteArray base(length - int(rest.size()) - int(std::strlen("value")), 'b');
    const QByteArray basePath = base + "/";
    Gpio::gpioImx28Path = basePath.constData();
    board->addLine(base + "/gpio.1/gpio/gpio40");
    calls->take();
    newGpio(40, direction, 3)->deleteLater();

    const int room = 99;
    const QString directionFile = text((base + rest + "direction").left(room).constData());
    const QString edgeFile = text((base + rest + "edge").left(room).constData());
    const QString valueFile = text((base + rest + "value").left(room).constData());
    const bool directionFits = length + 4 <= room;
    const bool edgeFits = length - 1 <= room;
    const bool valueFits = length <= room;
    const char *const failed = " failed";
    QStringList expected(
        text("open %1 O_WRONLY|O_CLOEXEC%2").arg(directionFile, text(directionFits ? "" : failed)));
    if (direction == 0 || directionFits) {
        const QString written = directionFits ? directionFile : text("-1");
        expected << text("write ") + written + text(direction ? " in\\0" : " out\\0")
                 << text("close ") + written;
        if (direction == 1)
            expected
                << text("open %1 O_WRONLY|O_CLOEXEC%2").arg(edgeFile, text(edgeFits ? "" : failed));
        if (direction == 1 && edgeFits)
            expected << text("write ") + edgeFile + text(" both\\0") << text("close ") + edgeFile;
        expected
            << text("open %1 O_RDWR|O_CLOEXEC%2").arg(valueFile, text(valueFits ? "" : failed));
    }
    QCOMPARE(calls->take(), expected);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestGpioPaths::cutsLongFolderNames()
{
    // All names are cut to the same 99 characters, all of them the base path's: one file.
    const QByteArray base = QByteArray(98, 'b') + "c" + QByteArray(120, 'd');
    const QByteArray name = base.left(99);
    board->add(name);
    Gpio::gpioImx28Path = base.constData();
    calls->take();
    const QScopedPointer<Gpio> line(newGpio(40, 0, 0));
    const QString file = text(name.constData());
    QCOMPARE(calls->take(), QStringList()
                                << text("open %1 O_WRONLY|O_CLOEXEC").arg(file)
                                << text("write %1 out\\0").arg(file) << text("close %1").arg(file)
                                << text("open %1 O_RDWR|O_CLOEXEC").arg(file));
    // The message is long enough to stand on two lines.
    QString message = log->take().last();
    message.remove(QLatin1Char('\n'));
    QVERIFY2(message.contains(text("\"%1\" for GPIO:40").arg(text(base.left(199).constData()))),
             qPrintable(message));
}

/** A placeholder in the folder's name is one of the message's, and bytes are Latin-1. */
void TestGpioPaths::fillsTheNumberIntoTheFolderNameToo()
{
    const char name[] = "a%2\xe9";
    QCOMPARE(mkdir(name, 0700), 0);
    QCOMPARE(chdir(name), 0);
    board->addLine("gpio.1/gpio/gpio40");
    QCOMPARE(chdir(".."), 0);
    Gpio::gpioImx28Path = "a%2\xe9/";
    const QScopedPointer<Gpio> line(newGpio(40, 0, 0));
    QVERIFY(line->getGpioFd() > 0);
    QCOMPARE(log->take().last(),
             QString::fromLatin1("Gpio|Gpio|gpioPath: \"a40\xe9/gpio.1/gpio\" for GPIO:40"));
}

QTEST_MAIN(TestGpioPaths)
#include "tst_gpiopaths.moc"
