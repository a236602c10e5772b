// SPDX-License-Identifier: LGPL-2.1-or-later
#include "gpio.h"

#include "board/boardfile.h"
#include "qtcompat/text.h"
#include "trace/logsource.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

using namespace qvcommon;

const char *Gpio::gpioImx28Path = "/sys/devices/80000000.apb/80000000.apbh/80018000.pinctrl/";
const char *Gpio::gpioI2c0Path = "/sys/devices/80000000.apb/80040000.apbx/80058000.i2c/i2c-0/";
char Gpio::gpioImx28ChipAddresses[5][10] = {"gpio.0", "gpio.1", "gpio.2", "gpio.3", "gpio.4"};
char Gpio::gpioI2cChipAddresses[5][10] = {"0-0020", "0-0060", "0-0074", "0-0075", "0-0076"};

namespace
{

const int firstGpio = 37; // the lines below are refused on purpose
const int lastImx28Gpio = 159;
const int firstI2cGpio = 160;
const int lastGpio = 239;
const int imx28BankSize = 32;
const int i2cExpanderSize = 16;

const int unknownValue = 255;
const int openFailed = -2;

const LogSource source = {DeviceGroup, "Gpio"};

/** For debug messages: those of this class have group 1, its other messages have group 8. */
const LogSource debugSource = {TracingGroup, "Gpio"};

/** Writes a word with the NUL byte at its end, which is where the kernel stops reading. */
bool writeWord(int descriptor, const char *word)
{
    const size_t size = std::strlen(word) + 1;
    return write(descriptor, word, size) == ssize_t(size);
}

/** The kernel's word for an edge, or null. */
const char *edgeWord(Gpio::GpioEdges edge)
{
    switch (edge) {
    case Gpio::EdgeNone:
        return "none";
    case Gpio::EdgeRising:
        return "rising";
    case Gpio::EdgeFalling:
        return "falling";
    case Gpio::EdgeBoth:
        return "both";
    }
    return nullptr;
}

/** Tells the kernel which edge to report. A line without interrupts has no file for that. */
void setEdge(const FilePath &path, Gpio::GpioEdges edge)
{
    const int edgeFile = path.open(O_WRONLY);
    if (edgeFile <= 0) {
        source.log(ErrorLevel, "openGpio",
                   "Unable to open edge file, no interrupt support for this pin?");
        return;
    }
    if (const char *const word = edgeWord(edge))
        writeWord(edgeFile, word);
    else
        source.log(ErrorLevel, "openGpio", "Edge missing");
    close(edgeFile);
}

/** Reads 0 or 1 afresh from a value file; anything else is logged, and unknown. */
int readLevel(int descriptor)
{
    char level;
    lseek(descriptor, 0, SEEK_SET);
    if (read(descriptor, &level, 1) != 1)
        debugSource.log(DebugLevel, "getGpioValue", "Failed to read()");
    else if (level == '0')
        return Gpio::ValueLow;
    else if (level == '1')
        return Gpio::ValueHigh;
    else
        debugSource.log(DebugLevel, "getGpioValue",
                        QString::fromLatin1("Invalid GPIO value: %1").arg(unknownValue));
    return unknownValue;
}

void logFileNotOpen(const FilePath &path)
{
    source.log(
        ErrorLevel, "openGpio",
        QString::fromLatin1("Could not open GPIO file descriptor: \"%1\"").arg(path.toString()));
}

} // namespace

Gpio::Gpio(QObject *parent, Gpios gpio, GpioDirections direction, GpioEdges edge)
    : QObject(parent)
    , gpioPath()
    , fd(-1)
    , gpio(Gpios(-1))
    , direction(GpioDirections(-1))
    , edge(GpioEdges(-1))
    , cachedValue(unknownValue)
{
    source.log(InfoLevel, "Gpio",
               QString::fromLatin1("Creating Object fot GPIO: %1 direction: %2, edge: %3")
                   .arg(int(gpio))
                   .arg(int(direction))
                   .arg(int(edge)));
    if (gpio < firstGpio || gpio > lastGpio) {
        source.log(ErrorLevel, "Gpio", QString::fromLatin1("Invalid GPIO:%2").arg(int(gpio)));
        return;
    }
    if (direction != DirectionOutput && direction != DirectionInput) {
        source.log(ErrorLevel, "Gpio",
                   QString::fromLatin1("Invalid GPIO direction:\"%1\" for GPIO:%2")
                       .arg(int(direction))
                       .arg(int(gpio)));
        return;
    }
    if (!edgeWord(edge)) {
        source.log(ErrorLevel, "Gpio",
                   QString::fromLatin1("Invalid GPIO edge:\"%1\" for GPIO:%2")
                       .arg(int(edge))
                       .arg(int(gpio)));
        return;
    }
    this->direction = direction;
    this->gpio = gpio;
    this->edge = edge;
    if (!(gpio <= lastImx28Gpio ? setGpioImxPath(gpio) : setGpioI2cPath(gpio)))
        return;
    fd = openGpio();
    if (fd < 0)
        source.log(ErrorLevel, "Gpio",
                   QString::fromLatin1("Failed to open GPIOx:%1").arg(int(gpio)));
    else
        source.log(InfoLevel, "Gpio",
                   QString::fromLatin1("gpioPath: \"%1\" for GPIO:%2")
                       .arg(fromCString(gpioPath))
                       .arg(int(gpio)));
}

Gpio::~Gpio()
{
    source.log(InfoLevel, "~Gpio", "Deleting Object");
    if (fd > 0)
        close(fd);
}

bool Gpio::setGpioImxPath(Gpios gpio)
{
    if (gpio > lastImx28Gpio) {
        source.log(ErrorLevel, "setGpioImxPath",
                   QString::fromLatin1("Invalid IMX28 GPIO: %1").arg(int(gpio)));
        return false;
    }
    const int bank = gpio < 0 ? 0 : gpio / imx28BankSize;
    std::snprintf(gpioPath, sizeof gpioPath, "%s%s/gpio", gpioImx28Path,
                  gpioImx28ChipAddresses[bank]);
    return true;
}

bool Gpio::setGpioI2cPath(Gpios gpio)
{
    if (gpio < firstI2cGpio || gpio > lastGpio) {
        source.log(ErrorLevel, "setGpioI2cPath",
                   QString::fromLatin1("Invalid  I2C-0  GPIO: %1").arg(int(gpio)));
        return false;
    }
    const int expander = (gpio - firstI2cGpio) / i2cExpanderSize;
    std::snprintf(gpioPath, sizeof gpioPath, "%s%s/gpio", gpioI2c0Path,
                  gpioI2cChipAddresses[expander]);
    return true;
}

int Gpio::openGpio()
{
    fd = -1;
    FilePath path("%s/gpio%d/direction", gpioPath, int(gpio));
    if (direction == DirectionOutput) {
        const int directionFile = path.open(O_WRONLY);
        writeWord(directionFile, "out");
        close(directionFile);
    } else if (direction == DirectionInput) {
        debugSource.log(DebugLevel, "openGpio", "GPIO input\r\n");
        const int directionFile = path.open(O_WRONLY);
        if (directionFile == -1) {
            logFileNotOpen(path);
            return openFailed;
        }
        writeWord(directionFile, "in");
        close(directionFile);

        path = FilePath("%s/gpio%d/edge", gpioPath, int(gpio));
        setEdge(path, edge);
    }
    if (direction == DirectionOutput || direction == DirectionInput) {
        path = FilePath("%s/gpio%d/value", gpioPath, int(gpio));
        const int valueFile = path.open(O_RDWR);
        // Only descriptor 0 counts as failure here; the constructor reports a negative one.
        if (valueFile == 0) {
            logFileNotOpen(path);
            return openFailed;
        }
        fd = valueFile;
    }
    source.log(InfoLevel, "openGpio",
               QString::fromLatin1("GPIO open ok, fd:%1 \"%2\"").arg(fd).arg(path.toString()));
    return fd;
}

void Gpio::setGpioValue(GpioValue value)
{
    if (direction != DirectionOutput) {
        debugSource.log(DebugLevel, "setGpioValue", "Invalid GPIO Direction");
        return;
    }
    if (value != ValueLow && value != ValueHigh) {
        debugSource.log(DebugLevel, "setGpioValue", "Invalid GPIO value");
        return;
    }
    if (write(fd, value == ValueLow ? "0" : "1", 1) != 1)
        debugSource.log(DebugLevel, "setGpioValue", "Failed to write()");
}

void Gpio::setGpioDirection(GpioDirections direction)
{
    const FilePath path("%s/gpio%d/direction", gpioPath, int(gpio));
    const int directionFile = path.open(O_WRONLY);
    if (direction == DirectionOutput || direction == DirectionInput) {
        const bool output = direction == DirectionOutput;
        // "low" makes the line an output and drives it low in one step.
        if (writeWord(directionFile, output ? "low" : "in")) {
            this->direction = direction;
        } else {
            std::puts(output ? "FAILED TO SET OUTPUT\r" : "FAILED TO SET INPUT\r");
            debugSource.log(DebugLevel, "setGpioDirection", "Failed to set direction!()");
        }
    }
    if (directionFile != 0)
        close(directionFile);
}

int Gpio::getGpioValue()
{
    int value = unknownValue;
    if (direction == DirectionInput)
        value = readLevel(fd);
    else
        debugSource.log(DebugLevel, "getGpioValue", "Invalid GPIO Direction");
    // Set last, because a receiver of the line may ask for what was cached before.
    cachedValue = value;
    return value;
}

int Gpio::getGpioValueCached()
{
    if (cachedValue == unknownValue)
        cachedValue = getGpioValue();
    return cachedValue;
}

int Gpio::getGpioFd()
{
    return fd;
}
