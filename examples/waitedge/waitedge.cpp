// SPDX-License-Identifier: LGPL-2.1-or-later

// Waits for edges of one input with poll() and prints each new level.
// The line must be exported: echo 40 > /sys/class/gpio/export

#include "gpio.h"
#include "trace.h"

#include <QtCore/QByteArray>

#include <cstdio>
#include <poll.h>

namespace
{

const int unknown = 255;

// [wait]
/** Prints the levels of an input until it can no longer be read. */
void printLevels(Gpio &input)
{
    pollfd edge = {input.getGpioFd(), POLLPRI, 0};
    // A descriptor that has never been read is ready at once, so read before the first wait.
    for (int level = input.getGpioValue(); level != unknown; level = input.getGpioValue()) {
        std::printf("%d\n", level);
        std::fflush(stdout);
        poll(&edge, 1, -1);
    }
}
// [wait]

} // namespace

int main(int argc, char *argv[])
{
    bool isNumber = false;
    const int line = argc == 2 ? QByteArray(argv[1]).toInt(&isNumber) : 0;
    if (!isNumber) {
        std::fprintf(stderr, "usage: waitedge LINE\n");
        return 2;
    }
    Trace trace(nullptr);
    trace.toggleConsolePrint();
    Gpio input(nullptr, Gpio::Gpios(line), Gpio::DirectionInput, Gpio::EdgeBoth);
    if (input.getGpioFd() < 0)
        return 1;
    printLevels(input);
    return 1;
}
