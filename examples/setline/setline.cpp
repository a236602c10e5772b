// SPDX-License-Identifier: LGPL-2.1-or-later

// Drives one output, which keeps its level when the program has ended.
// The line must be exported: echo 41 > /sys/class/gpio/export
//
//     setline 41 1
//
// Exit status: 0 done, 1 the line cannot be opened, 2 wrong usage.

#include "gpio.h"
#include "trace.h"

#include <QtCore/QByteArray>

#include <cstdio>
#include <cstring>

int main(int argc, char *argv[])
{
    const QByteArray level = argc == 3 ? argv[2] : "";
    bool isNumber = false;
    const int line = argc == 3 ? QByteArray(argv[1]).toInt(&isNumber) : 0;
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || !isNumber || (level != "0" && level != "1")) {
        std::fputs("usage: setline LINE 0|1\n", help ? stdout : stderr);
        return help ? 0 : 2;
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
