// SPDX-License-Identifier: LGPL-2.1-or-later

// Waits for edges of one input with poll() and prints each new level. On the board the line must be
// exported: echo 40 > /sys/class/gpio/export. On a workstation a folder of files serves as the board;
// such files report no edges, so they are looked at from time to time.
//
//     waitedge 40
//     mkdir -p board/gpio.1/gpio/gpio40 && touch board/gpio.1/gpio/gpio40/{direction,edge}
//     echo 0 > board/gpio.1/gpio/gpio40/value
//     waitedge 40 board                  then: echo 1 > board/gpio.1/gpio/gpio40/value
//
// Exit status: 1 the line cannot be opened or read any more, 2 wrong usage.

#include "gpio.h"
#include "trace.h"

#include <QtCore/QByteArray>

#include <cstdio>
#include <cstring>
#include <poll.h>

namespace
{

const int unknown = 255;

// [wait]
/**
 * Prints the levels of an input until it can no longer be read.
 * @param patience how many milliseconds to wait for an edge before looking; -1 for ever
 */
void printLevels(Gpio &input, int patience)
{
    pollfd edge = {input.getGpioFd(), POLLPRI, 0};
    int printed = unknown;
    // A descriptor that has never been read is ready at once, so read before the first wait.
    for (int level = input.getGpioValue(); level != unknown; level = input.getGpioValue()) {
        if (level != printed || patience < 0) {
            std::printf("%d\n", level);
            std::fflush(stdout);
        }
        printed = level;
        poll(&edge, 1, patience);
    }
}
// [wait]

} // namespace

int main(int argc, char *argv[])
{
    const int line = argc == 2 || argc == 3 ? QByteArray(argv[1]).toInt() : 0;
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || line < 1) {
        std::fputs("usage: waitedge LINE [FOLDER]\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    const QByteArray folder = argc == 3 ? QByteArray(argv[2]) + "/" : QByteArray();
    if (!folder.isEmpty()) {
        Gpio::gpioImx28Path = folder.constData(); // lines of the processor
        Gpio::gpioI2c0Path = folder.constData();  // lines of the expanders
    }
    Trace trace(nullptr);
    trace.toggleConsolePrint(); // it tells why a line cannot be opened
    Gpio input(nullptr, Gpio::Gpios(line), Gpio::DirectionInput, Gpio::EdgeBoth);
    if (input.getGpioFd() < 0)
        return 1;
    const int betweenLooks = 100; // ms
    printLevels(input, folder.isEmpty() ? -1 : betweenLooks);
    return 1;
}
