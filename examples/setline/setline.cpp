// SPDX-License-Identifier: LGPL-2.1-or-later

// Drives one output, which keeps its level when the program has ended.
// The line must be exported: echo 41 > /sys/class/gpio/export

#include "gpio.h"
#include "trace.h"

#include <QtCore/QByteArray>

#include <cstdio>

int main(int argc, char *argv[])
{
    const QByteArray level = argc == 3 ? argv[2] : "";
    bool isNumber = false;
    const int line = argc == 3 ? QByteArray(argv[1]).toInt(&isNumber) : 0;
    if (!isNumber || (level != "0" && level != "1")) {
        std::fprintf(stderr, "usage: setline LINE 0|1\n");
        return 2;
    }
    Trace trace(nullptr);
    trace.toggleConsolePrint();
    // [set]
    Gpio output(nullptr, Gpio::Gpios(line), Gpio::DirectionOutput, Gpio::EdgeNone);
    if (output.getGpioFd() < 0)
        return 1;
    output.setGpioValue(level == "1" ? Gpio::ValueHigh : Gpio::ValueLow);
    // [set]
    return 0;
}
