// SPDX-License-Identifier: LGPL-2.1-or-later
#include "devices.h"

#include "journal.h"

namespace
{

const int pause = 50;             // ms
const int roundsForAnObject = 20; // a second
const unsigned lradc = 128;
const unsigned scale = 3;

QByteArray lineFolder(int line)
{
    return "imx/" + QByteArray(Gpio::gpioImx28ChipAddresses[line / 32]) + "/gpio/gpio" +
           QByteArray::number(line);
}

const int outputLine = 40;
const int inputLine = 41;

} // namespace

Devices::Devices(Journal &journal)
    : journal(journal)
    , rounds(0)
{
    board.addLine(lineFolder(outputLine));
    board.addLine(lineFolder(inputLine));
    board.add("lradc/" + QByteArray(Adc::lradcDevice[0]));
    board.add("i2c/" + QByteArray(Adc::i2cAdcChipAddresses[0]) + "/in1_input");
    connect(&timer, SIGNAL(timeout()), this, SLOT(work()));
    timer.start(pause);
}

void Devices::stop()
{
    timer.stop();
}

/** Also opens all of them anew from time to time: whatever an object leaves behind adds up. */
void Devices::open()
{
    processorChannel.reset(new Adc(nullptr, lradc, 0, scale));
    chipChannel.reset(new Adc(nullptr, 0, 1, scale));
    output.reset(new Gpio(nullptr, Gpio::Gpios(outputLine), Gpio::DirectionOutput, Gpio::EdgeNone));
    input.reset(new Gpio(nullptr, Gpio::Gpios(inputLine), Gpio::DirectionInput, Gpio::EdgeBoth));
}

void Devices::work()
{
    if (rounds % roundsForAnObject == 0)
        open();
    ++rounds;
    const int number = rounds % 4096;
    const int level = rounds / 3 % 2;
    const QByteArray text = QByteArray::number(number) + "\n";
    board.add("lradc/" + QByteArray(Adc::lradcDevice[0]), text);
    check("lradc", number, int(processorChannel->getAdcRaw()));
    board.add("i2c/" + QByteArray(Adc::i2cAdcChipAddresses[0]) + "/in1_input", text);
    check("chip", int(scale) * number, int(chipChannel->getAdcValue()));
    board.add(lineFolder(inputLine) + "/value", level ? "1\n" : "0\n");
    check("input", level, input->getGpioValue());
    // Unlike the kernel's, this file would keep what it held before.
    board.add(lineFolder(outputLine) + "/value");
    output->setGpioValue(level ? Gpio::ValueHigh : Gpio::ValueLow);
    check("output", level ? '1' : '0',
          board.content(lineFolder(outputLine) + "/value").right(1)[0]);
}

void Devices::check(const char *what, int expected, int found)
{
    journal.add("device", QLatin1String(what), QString::number(expected), QString::number(found));
}
