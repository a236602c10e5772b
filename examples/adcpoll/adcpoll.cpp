// SPDX-License-Identifier: LGPL-2.1-or-later

// Reads one analogue input from time to time, raw and scaled. A reading of 0 may also stand for a
// channel that cannot be read, and 65535 for a negative number; errno tells the first apart.
//
//     adcpoll 0 3 11                     channel 3 of the first i2c chip, once
//     adcpoll 128 10 2 60 1000           channel 10 of the processor, 60 times, each second
//     adcpoll 128 10 2 60 1000 board     in a folder of files: board/in_voltage10_raw
//
// Exit status: 0 all was read, 1 something could not be read, 2 wrong usage.

#include "adc.h"

#include <QtCore/QByteArray>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace
{

// [read]
/** Reads a channel. @return whether it could be read; if not, errno tells why */
bool readChannel(Adc &channel, unsigned &raw)
{
    errno = 0;
    raw = channel.getAdcRaw();
    return raw != 0 || errno == 0;
}
// [read]

bool print(Adc &channel, unsigned scale)
{
    const unsigned negative = 65535;
    unsigned raw = 0;
    const bool isRead = readChannel(channel, raw);
    if (!isRead)
        std::printf("no reading: %s\n", std::strerror(errno));
    else if (raw == negative)
        std::printf("below zero\n");
    else
        std::printf("raw %u, scaled %u\n", raw, scale * raw); // as getAdcValue(), in one reading
    std::fflush(stdout);
    return isRead;
}

/** A number on the command line, or what stands for it if it is not there. */
unsigned number(int argc, char *argv[], int index, unsigned otherwise)
{
    return index < argc ? QByteArray(argv[index]).toUInt() : otherwise;
}

} // namespace

int main(int argc, char *argv[])
{
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc < 4 || argc > 7) {
        std::fputs("usage: adcpoll DEVICE CHANNEL SCALE [TIMES [MILLISECONDS [FOLDER]]]\n",
                   help ? stdout : stderr);
        return help ? 0 : 2;
    }
    const unsigned scale = number(argc, argv, 3, 1);
    const unsigned times = number(argc, argv, 4, 1);
    const unsigned pause = number(argc, argv, 5, 1000);
    const QByteArray folder = argc == 7 ? QByteArray(argv[6]) + "/" : QByteArray();
    if (!folder.isEmpty()) {
        Adc::lradcPath = folder.constData();
        Adc::i2cAdcChipPath = folder.constData();
    }
    Adc channel(nullptr, number(argc, argv, 1, 0), number(argc, argv, 2, 0), scale);
    bool allRead = true;
    for (unsigned i = 0; i < times; ++i) {
        if (i > 0)
            usleep(1000 * pause);
        allRead = print(channel, scale) && allRead;
    }
    return allRead ? 0 : 1;
}
