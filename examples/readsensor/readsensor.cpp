// SPDX-License-Identifier: LGPL-2.1-or-later

// Reads one analogue input, raw and scaled.

#include "adc.h"

#include <cstdio>
#include <cstdlib>

namespace
{

unsigned number(const char *text)
{
    return unsigned(std::strtoul(text, nullptr, 10));
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: readsensor DEVICE CHANNEL SCALE\n");
        return 2;
    }
    // [read]
    Adc sensor(nullptr, number(argv[1]), number(argv[2]), number(argv[3]));
    std::printf("raw %u, scaled %u\n", sensor.getAdcRaw(), sensor.getAdcValue());
    // [read]
    return 0;
}
