// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kernelboard.h"

#include "outside.h"
#include "waiting.h"

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

const char events[] = "/run/sysfs/kernel/tracing/events/gpio/enable";
const char record[] = "/run/sysfs/kernel/tracing/trace";

// The last expander, lines 224 to 239, is a real driver on the simulated bus, with a chip's registers.
const int chipLines = 224;
const int fillerLines = 240;
const int chipAddress = 0x76;
const int inputRegister = 0;
const int outputRegister = 2;
const int directionRegister = 6; // a bit is set for an input

// The other lines belong to chips without a bus, or to the processor of the emulated board, whose
// banks are the first four.
const int firstOfSimulator[] = {0, 32, 64, 96, 128, 160, 176, 192, 208, fillerLines};

QByteArray simulatorsFile(int line)
{
    int chip = -1;
    for (const int first : firstOfSimulator)
        chip += first <= line;
    return "/run/sysfs/kernel/debug/gpio-mockup/gpiochip" + QByteArray::number(chip) + '/' +
           QByteArray::number(line - firstOfSimulator[chip]);
}

/** A line's bit among the eight of its register. */
int chipBit(int line)
{
    return 1 << (line % 8);
}

/** The register for a line: each kind comes twice, for lines 0 to 7 and 8 to 15. */
int chipRegister(int line, int first)
{
    return first + (line - chipLines) / 8;
}

int exchange(int bus, int size, int reg, int value, bool reads)
{
    i2c_smbus_data data;
    data.word = __u16(value);
    if (size == I2C_SMBUS_BYTE_DATA)
        data.byte = __u8(value);
    i2c_smbus_ioctl_data request = {__u8(reads ? I2C_SMBUS_READ : I2C_SMBUS_WRITE), __u8(reg),
                                    __u32(size), &data};
    if (ioctl(bus, I2C_SMBUS, &request) != 0)
        qFatal("the i2c bus refuses register %d", reg);
    return data.byte;
}

QMap<int, QByteArray> linesInUse()
{
    // gpio-40  (                    |sysfs               ) in  lo IRQ
    QMap<int, QByteArray> lines;
    const QList<QByteArray> rows = kernelFile("/run/sysfs/kernel/debug/gpio").split('\n');
    for (const QByteArray &row : rows) {
        const QByteArray text = row.simplified();
        const int numberEnd = int(text.indexOf(' '));
        if (text.startsWith("gpio-"))
            lines.insert(text.mid(5, numberEnd - 5).toInt(),
                         text.mid(int(text.indexOf(')')) + 1).trimmed());
    }
    return lines;
}

/** A value file is ready until it has been read from its beginning. */
void acknowledge(int file)
{
    char level;
    if (pread(file, &level, 1, 0) != 1)
        qFatal("the marker's level cannot be read");
}

} // namespace

QByteArray kernelFile(const QByteArray &name)
{
    const int file = open(name.constData(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        qFatal("cannot open %s", name.constData());
    QByteArray content;
    char part[4096];
    for (ssize_t size = read(file, part, sizeof part); size > 0;
         size = read(file, part, sizeof part))
        content.append(part, int(size));
    close(file);
    if (content.endsWith('\n'))
        content.chop(1);
    return content;
}

void writeKernelFile(const QByteArray &name, const QByteArray &text)
{
    const int file = open(name.constData(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (write(file, text.constData(), size_t(text.size())) != text.size())
        qFatal("the kernel does not take %s for %s", text.constData(), name.constData());
    close(file);
}

LineUses::LineUses()
{
    changes();
}

QList<QByteArray> LineUses::changes()
{
    QList<QByteArray> result;
    const QMap<int, QByteArray> previous = uses;
    uses = linesInUse();
    QMap<int, QByteArray> lines = previous;
    for (const int line : uses.keys())
        lines.insert(line, QByteArray());
    for (const int line : lines.keys()) {
        const QByteArray use = uses.value(line, "not in use");
        if (use != previous.value(line, "not in use"))
            result << QByteArray::number(line) + ": " + use;
    }
    return result;
}

LineRecord::LineRecord()
{
    writeKernelFile(events, "1");
    take();
}

LineRecord::~LineRecord()
{
    writeKernelFile(events, "0");
}

QList<QByteArray> LineRecord::take()
{
    // tst_kernelgpio-25      [000] .....     0.660000: gpio_direction: 40  in (0)
    QList<QByteArray> entries;
    const QList<QByteArray> rows = kernelFile(record).split('\n');
    for (const QByteArray &row : rows) {
        const int event = int(row.indexOf(": gpio_"));
        if (event >= 0)
            entries << row.mid(int(row.indexOf(": ", event + 1)) + 2).simplified();
    }
    writeKernelFile(record, "\n"); // whatever is written empties it
    return entries;
}

ExportedLine::ExportedLine(int line)
    : line(line)
{
    writeKernelFile("/sys/class/gpio/export", QByteArray::number(line));
    writeKernelFile(file("direction"), "in");
    pull(0);
}

ExportedLine::~ExportedLine()
{
    writeKernelFile("/sys/class/gpio/unexport", QByteArray::number(line));
}

void ExportedLine::pull(int level)
{
    if (isWiredOutside(line)) {
        driveFromOutside(line, level);
        return;
    }
    if (line < chipLines || line >= fillerLines) {
        writeKernelFile(simulatorsFile(line), QByteArray::number(level));
        return;
    }
    I2cChip chip(chipAddress);
    const int reg = chipRegister(line, inputRegister);
    const int others = chip.byte(reg) & ~chipBit(line);
    chip.setByte(reg, level ? others | chipBit(line) : others);
}

int ExportedLine::level() const
{
    if (isWiredOutside(line))
        return levelSeenOutside(line);
    if (line < chipLines || line >= fillerLines)
        return kernelFile(simulatorsFile(line)).toInt();
    const I2cChip chip(chipAddress);
    const bool input = chip.byte(chipRegister(line, directionRegister)) & chipBit(line);
    const int levels = chip.byte(chipRegister(line, input ? inputRegister : outputRegister));
    return (levels & chipBit(line)) != 0;
}

QByteArray ExportedLine::file(const char *name) const
{
    return "/run/sysfs/class/gpio/gpio" + QByteArray::number(line) + '/' + name;
}

EdgeMarker::EdgeMarker()
    : line(223) // of a simulator, even where others are the processor's and wake at once
    , value(open(line.file("value").constData(), O_RDONLY | O_CLOEXEC))
    , level(0)
{
    writeKernelFile(line.file("edge"), "both");
    acknowledge(value);
}

EdgeMarker::~EdgeMarker()
{
    close(value);
}

void EdgeMarker::pass()
{
    // Edges wait for the next tick of the clock, and those of one tick wake in no certain order.
    // When the second of two has woken, that tick is over in which the first was.
    for (int edges = 0; edges < 2; ++edges) {
        level = !level;
        line.pull(level);
        pollfd edge = {value, POLLPRI, 0};
        if (poll(&edge, 1, patience) != 1)
            qFatal("no edge arrives");
        acknowledge(value);
    }
}

I2cChip::I2cChip(int address)
    : bus(open("/dev/i2c-0", O_RDWR | O_CLOEXEC))
{
    // By force, because the chip has a driver.
    if (bus < 0 || ioctl(bus, I2C_SLAVE_FORCE, address) != 0)
        qFatal("there is no i2c bus");
}

I2cChip::~I2cChip()
{
    close(bus);
}

int I2cChip::byte(int reg) const
{
    return exchange(bus, I2C_SMBUS_BYTE_DATA, reg, 0, true);
}

QList<int> I2cChip::bytes(int first, int count) const
{
    QList<int> result;
    for (int reg = first; reg < first + count; ++reg)
        result << byte(reg);
    return result;
}

void I2cChip::setByte(int reg, int value)
{
    exchange(bus, I2C_SMBUS_BYTE_DATA, reg, value, false);
}

void I2cChip::setWord(int reg, int value)
{
    const int swapped = (value & 0xff) << 8 | (value >> 8 & 0xff);
    exchange(bus, I2C_SMBUS_WORD_DATA, reg, swapped, false);
}
