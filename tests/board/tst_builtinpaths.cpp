// SPDX-License-Identifier: LGPL-2.1-or-later

// The paths that are built in, in a file system of the test's own where the board has them.

#include "adc.h"
#include "gpio.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtTest/QTest>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace
{

const int skipped = 77;

const char imx[] = "/sys/devices/80000000.apb/80000000.apbh/80018000.pinctrl/";
const char i2c[] = "/sys/devices/80000000.apb/80040000.apbx/80058000.i2c/i2c-0/";
const char lradc[] = "/sys/devices/80000000.apb/80040000.apbx/80050000.lradc/iio:device0/";

bool writeText(const char *name, const QByteArray &text)
{
    const int file = open(name, O_WRONLY | O_CLOEXEC);
    const bool written = write(file, text.constData(), size_t(text.size())) == text.size();
    close(file);
    return written;
}

/** Leaves the machine's /sys/devices behind for an empty folder that only this process sees. */
bool replaceDevices()
{
    const QByteArray uid = QByteArray::number(getuid());
    const QByteArray gid = QByteArray::number(getgid());
    if (unshare(CLONE_NEWNS) != 0 && !(unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 &&
                                       writeText("/proc/self/uid_map", "0 " + uid + " 1") &&
                                       writeText("/proc/self/setgroups", "deny") &&
                                       writeText("/proc/self/gid_map", "0 " + gid + " 1")))
        return false;
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", "/sys/devices", "tmpfs", 0, "size=1m") == 0;
}

void add(const QByteArray &name, const QByteArray &content)
{
    QFile file(QString::fromLatin1(name.constData()));
    QDir().mkpath(QFileInfo(file.fileName()).path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

QByteArray content(const QByteArray &name)
{
    QFile file(QString::fromLatin1(name.constData()));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
}

} // namespace

class TestBuiltInPaths : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void findsLines_data();
    void findsLines();
    void findsChannels_data();
    void findsChannels();
};

void TestBuiltInPaths::findsLines_data()
{
    QTest::addColumn<int>("gpio");
    QTest::addColumn<QByteArray>("folder");
    QTest::newRow("37") << 37 << QByteArray(imx) + "gpio.1/gpio/gpio37";
    QTest::newRow("64") << 64 << QByteArray(imx) + "gpio.2/gpio/gpio64";
    QTest::newRow("96") << 96 << QByteArray(imx) + "gpio.3/gpio/gpio96";
    QTest::newRow("159") << 159 << QByteArray(imx) + "gpio.4/gpio/gpio159";
    QTest::newRow("160") << 160 << QByteArray(i2c) + "0-0020/gpio/gpio160";
    QTest::newRow("176") << 176 << QByteArray(i2c) + "0-0060/gpio/gpio176";
    QTest::newRow("192") << 192 << QByteArray(i2c) + "0-0074/gpio/gpio192";
    QTest::newRow("208") << 208 << QByteArray(i2c) + "0-0075/gpio/gpio208";
    QTest::newRow("239") << 239 << QByteArray(i2c) + "0-0076/gpio/gpio239";
}

/** All names of the board fit into the library's buffers. */
void TestBuiltInPaths::findsLines()
{
    QFETCH(int, gpio);
    QFETCH(QByteArray, folder);
    add(folder + "/direction", QByteArray());
    add(folder + "/edge", QByteArray());
    add(folder + "/value", "1\n");
    Gpio line(nullptr, Gpios(gpio), Gpio::DirectionInput, Gpio::EdgeFalling);
    QVERIFY(line.getGpioFd() > 0);
    QCOMPARE(line.getGpioValue(), 1);
    QCOMPARE(content(folder + "/direction"), QByteArray("in\0", 3));
    QCOMPARE(content(folder + "/edge"), QByteArray("falling\0", 8));
    line.setGpioDirection(Gpio::DirectionOutput);
    QCOMPARE(content(folder + "/direction"), QByteArray("low\0", 4));
}

void TestBuiltInPaths::findsChannels_data()
{
    QTest::addColumn<unsigned>("device");
    QTest::addColumn<unsigned>("channel");
    QTest::addColumn<QByteArray>("file");
    QTest::newRow("LRADC 3") << 128u << 3u << QByteArray(lradc) + "in_voltage3_raw";
    QTest::newRow("LRADC 8") << 128u << 8u << QByteArray(lradc) + "in_temp8_raw";
    QTest::newRow("LRADC 15") << 128u << 15u << QByteArray(lradc) + "in_voltage15_raw";
    QTest::newRow("chip 0") << 0u << 0u << QByteArray(i2c) + "0-0048/in0_input";
    QTest::newRow("chip 1") << 1u << 2u << QByteArray(i2c) + "0-0049/in2_input";
    QTest::newRow("chip 2") << 2u << 5u << QByteArray(i2c) + "0-004a/in5_input";
    QTest::newRow("chip 3") << 3u << 7u << QByteArray(i2c) + "0-004b/in7_input";
}

void TestBuiltInPaths::findsChannels()
{
    QFETCH(unsigned, device);
    QFETCH(unsigned, channel);
    QFETCH(QByteArray, file);
    add(file, "1234\n");
    Adc input(nullptr, device, channel, 3);
    QCOMPARE(input.getAdcRaw(), 1234u);
    QCOMPARE(input.getAdcValue(), 3702u);
}

// Before anything else, since a process with threads may not do this.
int main(int argc, char *argv[])
{
    if (!replaceDevices()) {
        std::printf("skipped: no private /sys/devices (%s); run as root, or allow user "
                    "namespaces: sysctl kernel.unprivileged_userns_clone=1\n",
                    std::strerror(errno));
        return skipped;
    }
    QCoreApplication application(argc, argv);
    TestBuiltInPaths test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_builtinpaths.moc"
