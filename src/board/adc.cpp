// SPDX-License-Identifier: LGPL-2.1-or-later
#include "adc.h"

#include "board/boardfile.h"
#include "common/debugline.h"
#include "trace/logsource.h"

#include <cstdlib>
#include <unistd.h>

using namespace qvcommon;

const char *Adc::lradcPath = "/sys/devices/80000000.apb/80040000.apbx/80050000.lradc/iio:device0/";
const char *Adc::i2cAdcChipPath = "/sys/devices/80000000.apb/80040000.apbx/80058000.i2c/i2c-0/";
char Adc::i2cAdcChipAddresses[4][8] = {"0-0048", "0-0049", "0-004a", "0-004b"};
char Adc::lradcDevice[16][20] = {
    "in_voltage0_raw",  "in_voltage1_raw",  "in_voltage2_raw",  "in_voltage3_raw",
    "in_voltage4_raw",  "in_voltage5_raw",  "in_voltage6_raw",  "in_temp7_raw",
    "in_temp8_raw",     "in_voltage9_raw",  "in_voltage10_raw", "in_voltage11_raw",
    "in_voltage12_raw", "in_voltage13_raw", "in_voltage14_raw", "in_voltage15_raw"};

namespace
{

enum Kind { NoKind = 0, I2cChip = 1, Lradc = 2 };

const unsigned i2cChips = 4;
const unsigned i2cChannels = 8;
const unsigned lradcNumber = 128;
const unsigned lradcChannels = 16;
const unsigned largestScale = 25;

const unsigned negativeReading = 65535;

/** The kind of converter that has this channel, if the scale is right too. */
Kind kindOf(unsigned device, unsigned channel, unsigned scale)
{
    if (scale < 1 || scale > largestScale)
        return NoKind;
    if (device < i2cChips && channel < i2cChannels)
        return I2cChip;
    if (device == lradcNumber && channel < lradcChannels)
        return Lradc;
    return NoKind;
}

/** Reads the number in a file afresh; 0 if there is none. */
long readNumber(int descriptor)
{
    char text[20] = "";
    lseek(descriptor, 0, SEEK_SET);
    if (read(descriptor, text, sizeof text - 1) <= 0)
        return 0;
    return std::strtol(text, nullptr, 10);
}

} // namespace

Adc::Adc(QObject *parent, unsigned device, unsigned channel, unsigned scale)
    : QObject(parent)
    , fd(-1)
    , kind(kindOf(device, channel, scale))
    , device(device)
    , channel(channel)
    , chipAddress(nullptr)
    , lradcFile(nullptr)
    , scale(scale)
{
    LogSource{TracingGroup, "Adc"}.log(DebugLevel, "Adc", "Creating Object");
    DebugLine() << "Adc"
                << "Adc"
                << "Creating Object";
    if (kind == Lradc) {
        lradcFile = lradcDevice[channel];
        fd = openImxAdc();
        if (fd < 0)
            DebugLine() << "Adc"
                        << "Failed to open" << device << channel << lradcFile;
        else
            DebugLine() << "Adc"
                        << "Open" << device << channel << lradcFile << fd;
    } else if (kind == I2cChip) {
        chipAddress = i2cAdcChipAddresses[device];
        fd = openI2cAdc();
        if (fd < 0)
            DebugLine() << "Adc"
                        << "Failed to open" << device << channel << chipAddress;
        else
            DebugLine() << "Adc"
                        << "Open" << device << channel << i2cAdcChipPath << chipAddress;
    }
}

Adc::~Adc()
{
    if (fd > 0)
        close(fd);
}

int Adc::openI2cAdc()
{
    if (!chipAddress)
        return -1;
    const FilePath path("%s%s/in%d_input", i2cAdcChipPath, chipAddress, int(channel));
    return path.open(O_RDONLY);
}

int Adc::openImxAdc()
{
    if (!lradcFile)
        return -1;
    const FilePath path("%s%s", lradcPath, lradcFile);
    return path.open(O_RDONLY);
}

unsigned Adc::getAdcRaw()
{
    const long number = readNumber(fd);
    return number < 0 ? negativeReading : unsigned(number);
}

unsigned Adc::getAdcValue()
{
    const long number = readNumber(fd);
    return number < 0 ? negativeReading : scale * unsigned(number);
}
