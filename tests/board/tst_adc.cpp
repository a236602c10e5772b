// SPDX-License-Identifier: LGPL-2.1-or-later

// Analogue inputs in a folder of files.

#include "adc.h"
#include "boardtest.h"
#include "messagelog.h"
#include "texts.h"

#include <QtCore/QPointer>
#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace
{

const unsigned lradc = 128;
const char created[] = "Adc Adc Creating Object ";

} // namespace

class TestAdc : public BoardTest
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void hasTheStaticDataThatApplicationsRelyOn();
    void opensI2cChannels_data();
    void opensI2cChannels();
    void opensLradcChannels_data();
    void opensLradcChannels();
    void refusesBadArguments_data();
    void refusesBadArguments();
    void readsZeroWithoutFile_data();
    void readsZeroWithoutFile();
    void opensAgainForTheCaller();
    void opensOnlyItsOwnKind();
    void readsTheNumberInTheFile_data();
    void readsTheNumberInTheFile();
    void multipliesByTheScale_data();
    void multipliesByTheScale();
    void readsAfreshEachTime();
    void seeksAndReadsOnceForEachValue();
    void readsZeroIfReadingFails_data();
    void readsZeroIfReadingFails();
    void doesNotNoticeAFailedSeek();
    void neverClosesDescriptorZero();
    void cutsLongFileNames_data();
    void cutsLongFileNames();
    void closesItsDescriptorOnExec();
    void belongsToItsParent();
    void leaksNoDescriptors_data();
    void leaksNoDescriptors();

private:
    QScopedPointer<MessageLog> messages;
};

void TestAdc::init()
{
    BoardTest::init();
    messages.reset(new MessageLog);
}

void TestAdc::cleanup()
{
    messages.reset();
    BoardTest::cleanup();
}

void TestAdc::hasTheStaticDataThatApplicationsRelyOn()
{
    const char chips[] = "0-0048\0\0"
                         "0-0049\0\0"
                         "0-004a\0\0"
                         "0-004b\0";
    QCOMPARE(sizeof Adc::i2cAdcChipAddresses, sizeof chips);
    QVERIFY(!std::memcmp(Adc::i2cAdcChipAddresses, chips, sizeof chips));
    const char *const files[] = {
        "in_voltage0_raw",  "in_voltage1_raw",  "in_voltage2_raw",  "in_voltage3_raw",
        "in_voltage4_raw",  "in_voltage5_raw",  "in_voltage6_raw",  "in_temp7_raw",
        "in_temp8_raw",     "in_voltage9_raw",  "in_voltage10_raw", "in_voltage11_raw",
        "in_voltage12_raw", "in_voltage13_raw", "in_voltage14_raw", "in_voltage15_raw"};
    QByteArray rows;
    for (const char *const file : files)
        rows += QByteArray(file).leftJustified(20, '\0');
    QCOMPARE(sizeof Adc::lradcDevice, size_t(rows.size()));
    QVERIFY(!std::memcmp(Adc::lradcDevice, rows.constData(), size_t(rows.size())));
    board.reset();
    QCOMPARE(text(Adc::lradcPath),
             text("/sys/devices/80000000.apb/80040000.apbx/80050000.lradc/iio:device0/"));
    QCOMPARE(text(Adc::i2cAdcChipPath),
             text("/sys/devices/80000000.apb/80040000.apbx/80058000.i2c/i2c-0/"));
}

void TestAdc::opensI2cChannels_data()
{
    QTest::addColumn<unsigned>("device");
    QTest::addColumn<unsigned>("channel");
    QTest::addColumn<QByteArray>("chip");
    const char *const chips[] = {"0-0048", "0-0049", "0-004a", "0-004b"};
    for (unsigned device = 0; device < 4; ++device) {
        for (unsigned channel = 0; channel < 8; ++channel) {
            const QByteArray name = QByteArray::number(device) + "," + QByteArray::number(channel);
            QTest::newRow(name.constData()) << device << channel << QByteArray(chips[device]);
        }
    }
}

void TestAdc::opensI2cChannels()
{
    QFETCH(unsigned, device);
    QFETCH(unsigned, channel);
    QFETCH(QByteArray, chip);
    const QByteArray file = "i2c/" + chip + "/in" + QByteArray::number(channel) + "_input";
    board->add(file, QByteArray::number(100 * device + channel) + "\n");
    calls->take();
    {
        Adc input(nullptr, device, channel, 25);
        QCOMPARE(calls->take(),
                 QStringList(text("open %1 O_RDONLY|O_CLOEXEC").arg(text(file.constData()))));
        QCOMPARE(input.getAdcRaw(), 100 * device + channel);
        calls->take();
    }
    QCOMPARE(calls->take(), QStringList(text("close ") + text(file.constData())));
    QCOMPARE(messages->lines(), QStringList() << text("debug: ") + text(created)
                                              << text("debug: Adc Open %1 %2 i2c/ %3 ")
                                                     .arg(device)
                                                     .arg(channel)
                                                     .arg(text(chip.constData())));
    QCOMPARE(log->take(), QStringList(text("Adc|Adc|Creating Object")));
}

void TestAdc::opensLradcChannels_data()
{
    QTest::addColumn<unsigned>("channel");
    QTest::addColumn<QByteArray>("name");
    for (unsigned channel = 0; channel < 16; ++channel) {
        const char *const kind = channel == 7 || channel == 8 ? "temp" : "voltage";
        const QByteArray name = QByteArray("in_") + kind + QByteArray::number(channel) + "_raw";
        QTest::newRow(name.constData()) << channel << name;
    }
}

void TestAdc::opensLradcChannels()
{
    QFETCH(unsigned, channel);
    QFETCH(QByteArray, name);
    const QByteArray file = "lradc/" + name;
    board->add(file, QByteArray::number(3000 + channel) + "\n");
    const int fd = 50;
    calls->openAs(file.constData(), fd);
    calls->take();
    {
        Adc input(nullptr, lradc, channel, 1);
        QCOMPARE(calls->take(),
                 QStringList(text("open %1 O_RDONLY|O_CLOEXEC").arg(text(file.constData()))));
        QCOMPARE(input.getAdcRaw(), 3000 + channel);
        calls->take();
    }
    QCOMPARE(calls->take(), QStringList(text("close ") + text(file.constData())));
    QCOMPARE(messages->lines(),
             QStringList()
                 << text("debug: ") + text(created)
                 << text("debug: Adc Open 128 %1 %2 50 ").arg(channel).arg(text(name.constData())));
    QCOMPARE(log->take(), QStringList(text("Adc|Adc|Creating Object")));
}

void TestAdc::refusesBadArguments_data()
{
    QTest::addColumn<unsigned>("device");
    QTest::addColumn<unsigned>("channel");
    QTest::addColumn<unsigned>("scale");
    const struct {
        unsigned device, channel, scale;
    } rows[] = {{4, 0, 1},        {5, 0, 1},         {127, 0, 1},      {129, 0, 1},
                {UINT_MAX, 0, 1}, {256, 0, 1},       {0, 8, 1},        {3, 8, 1},
                {0, UINT_MAX, 1}, {128, 16, 1},      {128, 17, 1},     {128, UINT_MAX, 1},
                {0, 0, 0},        {0, 0, 26},        {3, 7, UINT_MAX}, {128, 0, 0},
                {128, 15, 26},    {128, 0, UINT_MAX}};
    for (const auto &row : rows) {
        const QByteArray name = QByteArray::number(row.device) + "," +
                                QByteArray::number(row.channel) + "," +
                                QByteArray::number(row.scale);
        QTest::newRow(name.constData()) << row.device << row.channel << row.scale;
    }
}

void TestAdc::refusesBadArguments()
{
    QFETCH(unsigned, device);
    QFETCH(unsigned, channel);
    QFETCH(unsigned, scale);
    calls->take();
    {
        Adc refused(nullptr, device, channel, scale);
        QCOMPARE(calls->take(), QStringList());
        QCOMPARE(refused.getAdcRaw(), 0u);
        QCOMPARE(refused.getAdcValue(), 0u);
        QCOMPARE(refused.openI2cAdc(), -1);
        QCOMPARE(refused.openImxAdc(), -1);
    }
    QCOMPARE(calls->take(), QStringList() << text("lseek -1 0 SEEK_SET") << text("read -1 19")
                                          << text("lseek -1 0 SEEK_SET") << text("read -1 19"));
    QCOMPARE(messages->lines(), QStringList(text("debug: ") + text(created)));
    QCOMPARE(log->take(), QStringList(text("Adc|Adc|Creating Object")));
}

void TestAdc::readsZeroWithoutFile_data()
{
    QTest::addColumn<unsigned>("device");
    QTest::addColumn<unsigned>("channel");
    QTest::addColumn<QString>("message");
    QTest::newRow("i2c chip") << 2u << 5u << text("debug: Adc Failed to open 2 5 0-004a ");
    QTest::newRow("LRADC") << 128u << 15u
                           << text("debug: Adc Failed to open 128 15 in_voltage15_raw ");
}

void TestAdc::readsZeroWithoutFile()
{
    QFETCH(unsigned, device);
    QFETCH(unsigned, channel);
    QFETCH(QString, message);
    calls->take();
    {
        Adc input(nullptr, device, channel, 3);
        QCOMPARE(calls->take().size(), 1);
        QCOMPARE(input.getAdcRaw(), 0u);
        QCOMPARE(input.getAdcValue(), 0u);
        calls->take();
    }
    QCOMPARE(calls->take(), QStringList());
    QCOMPARE(messages->lines(), QStringList() << text("debug: ") + text(created) << message);
    QCOMPARE(log->take(), QStringList(text("Adc|Adc|Creating Object")));
}

void TestAdc::opensAgainForTheCaller()
{
    board->add("i2c/0-0049/in2_input", "11");
    board->add("lradc/in_temp8_raw", "12");
    Adc i2cInput(nullptr, 1, 2, 1);
    Adc lradcInput(nullptr, lradc, 8, 1);
    const int i2cFile = i2cInput.openI2cAdc();
    const int lradcFile = lradcInput.openImxAdc();
    char content[3] = "";
    QCOMPARE(int(read(i2cFile, content, 2)), 2);
    QCOMPARE(QByteArray(content), QByteArray("11"));
    QCOMPARE(int(read(lradcFile, content, 2)), 2);
    QCOMPARE(QByteArray(content), QByteArray("12"));
    // The objects keep their own.
    QCOMPARE(close(i2cFile), 0);
    QCOMPARE(close(lradcFile), 0);
    QCOMPARE(i2cInput.getAdcRaw(), 11u);
    QCOMPARE(lradcInput.getAdcRaw(), 12u);
}

void TestAdc::opensOnlyItsOwnKind()
{
    board->add("i2c/0-0049/in2_input", "11");
    board->add("lradc/in_voltage2_raw", "12");
    Adc i2cInput(nullptr, 1, 2, 1);
    Adc lradcInput(nullptr, lradc, 2, 1);
    calls->take();
    QCOMPARE(i2cInput.openImxAdc(), -1);
    QCOMPARE(lradcInput.openI2cAdc(), -1);
    QCOMPARE(calls->take(), QStringList());
}

void TestAdc::readsTheNumberInTheFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<unsigned>("raw");
    QTest::addColumn<unsigned>("value"); // with scale 3
    QTest::newRow("number") << QByteArray("1234\n") << 1234u << 3702u;
    QTest::newRow("without newline") << QByteArray("1234") << 1234u << 3702u;
    QTest::newRow("0") << QByteArray("0\n") << 0u << 0u;
    QTest::newRow("-0") << QByteArray("-0\n") << 0u << 0u;
    QTest::newRow("blanks in front") << QByteArray(" \t\n 7\n") << 7u << 21u;
    QTest::newRow("plus sign") << QByteArray("+7\n") << 7u << 21u;
    QTest::newRow("leading zeros are not octal") << QByteArray("010\n") << 10u << 30u;
    QTest::newRow("hexadecimal stops at x") << QByteArray("0x10\n") << 0u << 0u;
    QTest::newRow("stops at a letter") << QByteArray("12mV\n") << 12u << 36u;
    QTest::newRow("stops at a point") << QByteArray("12.9\n") << 12u << 36u;
    QTest::newRow("no number") << QByteArray("abc\n") << 0u << 0u;
    QTest::newRow("newline alone") << QByteArray("\n") << 0u << 0u;
    QTest::newRow("NUL in front") << QByteArray("\0"
                                                "12",
                                                3)
                                  << 0u << 0u;
    QTest::newRow("nothing") << QByteArray() << 0u << 0u;
    QTest::newRow("negative") << QByteArray("-5\n") << 65535u << 65535u;
    QTest::newRow("blank, negative") << QByteArray("  -1\n") << 65535u << 65535u;
    QTest::newRow("sign apart from the number") << QByteArray("- 5\n") << 0u << 0u;
    QTest::newRow("65535 itself") << QByteArray("65535\n") << 65535u << 196605u;
    QTest::newRow("above 65535") << QByteArray("65536\n") << 65536u << 196608u;
    QTest::newRow("largest of 32 bits") << QByteArray("2147483647\n") << 2147483647u << 2147483645u;
    // What a long of the machine cannot hold becomes the largest or the smallest one.
    QTest::newRow("largest of 64 bits")
        << QByteArray("9223372036854775807\n") << unsigned(LONG_MAX) << 3 * unsigned(LONG_MAX);
    QTest::newRow("negative, 5 in its low 32 bits")
        << QByteArray("-4294967291\n") << 65535u << 65535u;
    // Nineteen bytes are read; what follows them is not there.
    QTest::newRow("19 bytes") << QByteArray("0000000000000001234") << 1234u << 3702u;
    QTest::newRow("20 bytes") << QByteArray("00000000000000012345") << 1234u << 3702u;
    QTest::newRow("number behind 19 blanks") << QByteArray(19, ' ') + "5" << 0u << 0u;
    QTest::newRow("long file") << QByteArray("42\n") + QByteArray(10000, '9') << 42u << 126u;
}

void TestAdc::readsTheNumberInTheFile()
{
    QFETCH(QByteArray, content);
    QFETCH(unsigned, raw);
    QFETCH(unsigned, value);
    board->add("i2c/0-0048/in0_input", content);
    board->add("lradc/in_voltage0_raw", content);
    Adc i2cInput(nullptr, 0, 0, 3);
    QCOMPARE(i2cInput.getAdcRaw(), raw);
    QCOMPARE(i2cInput.getAdcValue(), value);
    Adc lradcInput(nullptr, lradc, 0, 3);
    QCOMPARE(lradcInput.getAdcValue(), value);
    QCOMPARE(lradcInput.getAdcRaw(), raw);
}

void TestAdc::multipliesByTheScale_data()
{
    QTest::addColumn<unsigned>("scale");
    QTest::addColumn<unsigned>("value");
    QTest::newRow("1") << 1u << 4095u;
    QTest::newRow("2") << 2u << 8190u;
    QTest::newRow("17") << 17u << 69615u;
    QTest::newRow("24") << 24u << 98280u;
    QTest::newRow("25") << 25u << 102375u;
}

void TestAdc::multipliesByTheScale()
{
    QFETCH(unsigned, scale);
    QFETCH(unsigned, value);
    board->add("lradc/in_voltage15_raw", "4095\n");
    Adc input(nullptr, lradc, 15, scale);
    QCOMPARE(input.getAdcRaw(), 4095u);
    QCOMPARE(input.getAdcValue(), value);
}

void TestAdc::readsAfreshEachTime()
{
    board->add("i2c/0-004b/in7_input", "100\n");
    Adc input(nullptr, 3, 7, 2);
    QCOMPARE(input.getAdcRaw(), 100u);
    QCOMPARE(input.getAdcValue(), 200u);
    board->add("i2c/0-004b/in7_input", "7\n");
    QCOMPARE(input.getAdcValue(), 14u);
    QCOMPARE(input.getAdcRaw(), 7u);
    board->add("i2c/0-004b/in7_input");
    QCOMPARE(input.getAdcRaw(), 0u);
    board->add("i2c/0-004b/in7_input", "8\n");
    QCOMPARE(input.getAdcRaw(), 8u);
}

void TestAdc::seeksAndReadsOnceForEachValue()
{
    board->add("lradc/in_temp7_raw", "5\n");
    Adc input(nullptr, lradc, 7, 2);
    const QStringList expected = QStringList() << text("lseek lradc/in_temp7_raw 0 SEEK_SET")
                                               << text("read lradc/in_temp7_raw 19");
    calls->take();
    input.getAdcRaw();
    QCOMPARE(calls->take(), expected);
    input.getAdcValue();
    QCOMPARE(calls->take(), expected);
}

void TestAdc::readsZeroIfReadingFails_data()
{
    QTest::addColumn<int>("answer");
    QTest::newRow("error") << -1;
    QTest::newRow("end of file") << 0;
}

void TestAdc::readsZeroIfReadingFails()
{
    QFETCH(int, answer);
    board->add("lradc/in_voltage1_raw", "5\n");
    Adc input(nullptr, lradc, 1, 2);
    QCOMPARE(input.getAdcValue(), 10u);
    messages->clear();
    calls->fail("read */in_voltage1_raw", EIO, answer);
    QCOMPARE(input.getAdcRaw(), 0u);
    QCOMPARE(input.getAdcValue(), 0u);
    QCOMPARE(messages->lines(), QStringList());
}

void TestAdc::doesNotNoticeAFailedSeek()
{
    board->add("lradc/in_voltage1_raw", "0000000000000000005\n7\n");
    Adc input(nullptr, lradc, 1, 2);
    calls->fail("lseek */in_voltage1_raw", ESPIPE);
    QCOMPARE(input.getAdcRaw(), 5u);
    QCOMPARE(input.getAdcValue(), 14u);
    QCOMPARE(input.getAdcRaw(), 0u);
}

void TestAdc::neverClosesDescriptorZero()
{
    board->add("lradc/in_voltage1_raw", "5\n");
    const FreeDescriptorZero freed;
    calls->take();
    {
        Adc input(nullptr, lradc, 1, 2);
        QCOMPARE(messages->debugLines().last(), text("Adc Open 128 1 in_voltage1_raw 0 "));
        QCOMPARE(input.getAdcValue(), 10u);
        calls->take();
    }
    // It is read from like any other, but never closed.
    QCOMPARE(calls->take(), QStringList());
    QVERIFY(fcntl(0, F_GETFD) >= 0);
}

void TestAdc::cutsLongFileNames_data()
{
    QTest::addColumn<unsigned>("device");
    QTest::addColumn<int>("length");
    for (int length = 97; length <= 102; ++length) {
        const QByteArray number = QByteArray::number(length);
        QTest::newRow(("i2c chip, " + number).constData()) << 0u << length;
        QTest::newRow(("LRADC, " + number).constData()) << lradc << length;
    }
    QTest::newRow("i2c chip, very long") << 0u << 1000;
    QTest::newRow("LRADC, very long") << lradc << 1000;
}

void TestAdc::cutsLongFileNames()
{
    QFETCH(unsigned, device);
    QFETCH(int, length);
    const QByteArray rest = device == lradc ? "in_voltage3_raw" : "0-0048/in3_input";
    QByteArray base(length - int(rest.size()), 'b');
    for (int i = 49; i < base.size(); i += 50)
        base[i] = '/';
    base[base.size() - 1] = '/';
    const QByteArray wanted = base + rest;
    Adc::lradcPath = base.constData();
    Adc::i2cAdcChipPath = base.constData();
    const int room = 99;
    // There is a file of the whole name; a cut name leads to nothing.
    if (length < 200)
        board->add(wanted, "5\n");
    calls->take();
    Adc input(nullptr, device, 3, 1);
    QCOMPARE(calls->take(), QStringList(text("open %1 O_RDONLY|O_CLOEXEC%2")
                                            .arg(text(wanted.left(room).constData()),
                                                 text(length <= room ? "" : " failed"))));
    QCOMPARE(input.getAdcRaw(), length <= room ? 5u : 0u);
}

void TestAdc::closesItsDescriptorOnExec()
{
    board->add("lradc/in_voltage1_raw", "5\n");
    const int fd = 50;
    calls->openAs("lradc/in_voltage1_raw", fd);
    Adc input(nullptr, lradc, 1, 2);
    QCOMPARE(fcntl(fd, F_GETFD), FD_CLOEXEC);
}

void TestAdc::belongsToItsParent()
{
    QObject *const parent = new QObject;
    const QPointer<Adc> input = new Adc(parent, 0, 0, 1);
    QCOMPARE(input->parent(), parent);
    QCOMPARE(QByteArray(input->metaObject()->className()), QByteArray("Adc"));
    QCOMPARE(input->metaObject()->methodCount(), QObject::staticMetaObject.methodCount());
    QCOMPARE(input->metaObject()->propertyCount(), QObject::staticMetaObject.propertyCount());
    delete parent;
    QVERIFY(input.isNull());
}

void TestAdc::leaksNoDescriptors_data()
{
    QTest::addColumn<unsigned>("device");
    QTest::addColumn<unsigned>("channel");
    QTest::addColumn<unsigned>("scale");
    QTest::newRow("i2c chip") << 0u << 1u << 1u;
    QTest::newRow("LRADC") << lradc << 1u << 1u;
    QTest::newRow("i2c chip, no file") << 0u << 2u << 1u;
    QTest::newRow("LRADC, no file") << lradc << 2u << 1u;
    QTest::newRow("refused device") << 4u << 1u << 1u;
    QTest::newRow("refused channel") << 0u << 8u << 1u;
    QTest::newRow("refused scale") << lradc << 1u << 0u;
}

void TestAdc::leaksNoDescriptors()
{
    QFETCH(unsigned, device);
    QFETCH(unsigned, channel);
    QFETCH(unsigned, scale);
    calls.reset();
    log.reset();
    board->add("i2c/0-0048/in1_input", "1\n");
    board->add("lradc/in_voltage1_raw", "1\n");
    const int before = openDescriptors();
    for (int i = 0; i < 5000; ++i)
        Adc(nullptr, device, channel, scale).getAdcValue();
    QCOMPARE(openDescriptors(), before);
}

QTEST_MAIN(TestAdc)
#include "tst_adc.moc"
