// SPDX-License-Identifier: LGPL-2.1-or-later

// Channels of real drivers, whose chips have simulated registers.

#include "adc.h"
#include "kernelboard.h"
#include "messagelog.h"
#include "temporaryfolder.h"
#include "texts.h"

#include <QtCore/QFile>
#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

#include <unistd.h>

namespace
{

const char i2c[] = "/sys/devices/80000000.apb/80040000.apbx/80058000.i2c/i2c-0/";
const char lradc[] = "/sys/devices/80000000.apb/80040000.apbx/80050000.lradc/iio:device0/";

const int firstAddress = 0x48;
const unsigned lradcNumber = 128;
const unsigned negative = 65535;

/** The register of a channel of the chips at 0x48 to 0x4a: it is the command to convert it. */
int voltageRegister(unsigned channel)
{
    return 0x8c | int(channel / 2) << 4 | int(channel % 2) << 6;
}

/** The register of a channel of the two chips in place of the processor's converter. */
int rawRegister(unsigned channel)
{
    return 0x80 | int(channel % 8) << 4;
}

} // namespace

class TestKernelAdc : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void readsEveryChipsChannels();
    void readsEveryLradcChannel();
    void readsMillivolts_data();
    void readsMillivolts();
    void readsSteps_data();
    void readsSteps();
    void readsAfresh();
    void readsNegative_data();
    void readsNegative();
    void readsNothing();
    void channelThatIsNotThere();
    void chipThatGoes();

private:
    QScopedPointer<MessageLog> messages;
};

void TestKernelAdc::initTestCase()
{
    QVERIFY2(QFile::exists(text("/run/sysfs/kernel/debug/gpio-mockup")),
             "this program is for tests/kernel/run");
}

void TestKernelAdc::init()
{
    messages.reset(new MessageLog);
}

void TestKernelAdc::cleanup()
{
    messages.reset();
}

/** Each channel has a value of its own, so that a mistaken one is seen. */
void TestKernelAdc::readsEveryChipsChannels()
{
    for (unsigned device = 0; device < 3; ++device) {
        I2cChip chip(firstAddress + int(device));
        for (unsigned channel = 0; channel < 8; ++channel)
            chip.setWord(voltageRegister(channel), int(1000 * (device + 1) + 100 * channel));
    }
    QList<unsigned> readings;
    for (unsigned device = 0; device < 3; ++device) {
        for (unsigned channel = 0; channel < 8; ++channel)
            readings << Adc(nullptr, device, channel, 1).getAdcRaw();
    }
    // 0.61 mV each
    QCOMPARE(readings, QList<unsigned>()
                           << 610 << 671 << 732 << 793 << 854 << 915 << 976 << 1037        //
                           << 1220 << 1281 << 1342 << 1403 << 1464 << 1525 << 1586 << 1647 //
                           << 1830 << 1891 << 1952 << 2013 << 2074 << 2135 << 2196 << 2257);
}

void TestKernelAdc::readsEveryLradcChannel()
{
    QList<unsigned> steps;
    for (unsigned channel = 0; channel < 16; ++channel) {
        steps << 250 * channel + 3;
        I2cChip(channel < 8 ? 0x21 : 0x22).setWord(rawRegister(channel), int(steps.last()));
    }
    QList<unsigned> readings;
    for (unsigned channel = 0; channel < 16; ++channel)
        readings << Adc(nullptr, lradcNumber, channel, 1).getAdcRaw();
    QCOMPARE(readings, steps);
}

void TestKernelAdc::readsMillivolts_data()
{
    QTest::addColumn<int>("conversion");
    QTest::addColumn<unsigned>("scale");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<unsigned>("raw");
    QTest::addColumn<unsigned>("scaled");
    QTest::newRow("0") << 0 << 25u << QByteArray("0") << 0u << 0u;
    QTest::newRow("least") << 1 << 25u << QByteArray("1") << 1u << 25u;
    QTest::newRow("unscaled") << 1000 << 1u << QByteArray("610") << 610u << 610u;
    QTest::newRow("scaled") << 1000 << 11u << QByteArray("610") << 610u << 6710u;
    QTest::newRow("half") << 2048 << 2u << QByteArray("1249") << 1249u << 2498u;
    QTest::newRow("most") << 4095 << 25u << QByteArray("2498") << 2498u << 62450u;
}

void TestKernelAdc::readsMillivolts()
{
    QFETCH(int, conversion);
    QFETCH(unsigned, scale);
    QFETCH(QByteArray, content);
    QFETCH(unsigned, raw);
    QFETCH(unsigned, scaled);
    Adc input(nullptr, 1, 5, scale);
    I2cChip(0x49).setWord(voltageRegister(5), conversion);
    QCOMPARE(kernelFile(QByteArray(i2c) + "0-0049/in5_input"), content);
    QCOMPARE(input.getAdcRaw(), raw);
    QCOMPARE(input.getAdcValue(), scaled);
}

void TestKernelAdc::readsSteps_data()
{
    QTest::addColumn<unsigned>("steps");
    QTest::addColumn<unsigned>("scale");
    QTest::addColumn<unsigned>("scaled");
    QTest::newRow("0") << 0u << 25u << 0u;
    QTest::newRow("1") << 1u << 1u << 1u;
    QTest::newRow("middle") << 1234u << 3u << 3702u;
    QTest::newRow("most") << 4095u << 25u << 102375u;
}

void TestKernelAdc::readsSteps()
{
    QFETCH(unsigned, steps);
    QFETCH(unsigned, scale);
    QFETCH(unsigned, scaled);
    Adc input(nullptr, lradcNumber, 15, scale);
    I2cChip(0x22).setWord(rawRegister(15), int(steps));
    QCOMPARE(kernelFile(QByteArray(lradc) + "in_voltage15_raw"), QByteArray::number(steps));
    QCOMPARE(input.getAdcRaw(), steps);
    QCOMPARE(input.getAdcValue(), scaled);
}

void TestKernelAdc::readsAfresh()
{
    Adc millivolts(nullptr, 0, 0, 10);
    Adc steps(nullptr, lradcNumber, 0, 10);
    const int conversions[] = {4000, 0, 100, 3000};
    QList<unsigned> readings;
    for (const int conversion : conversions) {
        I2cChip(0x48).setWord(voltageRegister(0), conversion);
        I2cChip(0x21).setWord(rawRegister(0), conversion);
        readings << millivolts.getAdcRaw() << millivolts.getAdcValue() //
                 << steps.getAdcRaw() << steps.getAdcValue();
    }
    QCOMPARE(readings, QList<unsigned>() << 2440 << 24400 << 4000 << 40000 //
                                         << 0 << 0 << 0 << 0               //
                                         << 61 << 610 << 100 << 1000       //
                                         << 1830 << 18300 << 3000 << 30000);
}

void TestKernelAdc::readsNegative_data()
{
    QTest::addColumn<int>("conversion");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<unsigned>("raw");
    QTest::addColumn<unsigned>("scaled");
    QTest::newRow("lowest") << -32000 << QByteArray("-320") << negative << negative;
    QTest::newRow("-1") << -100 << QByteArray("-1") << negative << negative;
    QTest::newRow("almost 0") << -40 << QByteArray("0") << 0u << 0u;
    QTest::newRow("10") << 1000 << QByteArray("10") << 10u << 70u;
}

/** The chip at 0x4b measures a voltage of either sign, in hundredths of a millivolt. */
void TestKernelAdc::readsNegative()
{
    QFETCH(int, conversion);
    QFETCH(QByteArray, content);
    QFETCH(unsigned, raw);
    QFETCH(unsigned, scaled);
    const int shuntVoltage = 1;
    I2cChip(0x4b).setWord(shuntVoltage, conversion);
    Adc input(nullptr, 3, 0, 7);
    QCOMPARE(kernelFile(QByteArray(i2c) + "0-004b/in0_input"), content);
    QCOMPARE(input.getAdcRaw(), raw);
    QCOMPARE(input.getAdcValue(), scaled);
}

/** No converter's file is empty; one of the kernel's others is, and stands in for it. */
void TestKernelAdc::readsNothing()
{
    const char empty[] = "/run/sysfs/devices/platform/uevent";
    QCOMPARE(kernelFile(empty), QByteArray());
    const TemporaryFolder folder;
    const QByteArray path = QFile::encodeName(folder.path()) + '/';
    QCOMPARE(symlink(empty, (path + "in_voltage2_raw").constData()), 0);
    const char *const usual = Adc::lradcPath;
    Adc::lradcPath = path.constData();
    Adc input(nullptr, lradcNumber, 2, 3);
    Adc::lradcPath = usual;
    QCOMPARE(input.getAdcRaw(), 0u);
    QCOMPARE(input.getAdcValue(), 0u);
}

void TestKernelAdc::channelThatIsNotThere()
{
    Adc input(nullptr, 3, 7, 1); // that chip has two channels
    QCOMPARE(messages->debugLines(), QStringList() << text("Adc Adc Creating Object ")
                                                   << text("Adc Failed to open 3 7 0-004b "));
    QCOMPARE(input.getAdcRaw(), 0u);
    QCOMPARE(input.getAdcValue(), 0u);
}

void TestKernelAdc::chipThatGoes()
{
    const char bus[] = "/run/sysfs/bus/i2c/devices/i2c-0/";
    I2cChip chip(0x4a);
    chip.setWord(voltageRegister(6), 1000);
    Adc input(nullptr, 2, 6, 2);
    QCOMPARE(input.getAdcValue(), 1220u);
    writeKernelFile(QByteArray(bus) + "delete_device", "0x4a");
    QCOMPARE(input.getAdcRaw(), 0u);
    QCOMPARE(input.getAdcValue(), 0u);
    writeKernelFile(QByteArray(bus) + "new_device", "ads7828 0x4a");
    QCOMPARE(input.getAdcRaw(), 0u);
    QCOMPARE(Adc(nullptr, 2, 6, 2).getAdcValue(), 1220u);
}

QTEST_MAIN(TestKernelAdc)
#include "tst_kerneladc.moc"
