// SPDX-License-Identifier: LGPL-2.1-or-later

// Tells where it runs and with what. Made to be built for the board and to be run there, or here under
// an emulator:
//
//     cmake --preset board               see CMakePresets.json; asks for QVCOMMON_PREFIX and
//     cmake --build --preset board       QVCOMMON_SYSROOT in the environment
//     scp build/board/cross board: && ssh board ./cross
//     ./board build/board/cross          in a tree of the library: on the emulated board
//     qemu-arm-static -cpu arm926 -L $QVCOMMON_SYSROOT build/board/cross
//
// To debug it: "gdbserver :2345 ./cross" on the board, and here "gdb-multiarch build/board/cross", then
// "set sysroot" with the same folder and "target remote board:2345".
//
// Exit status: 0 always, but 2 for wrong usage.

#include "trace.h"

#include <QtCore/QtGlobal>

#include <cstdio>
#include <cstring>
#include <sys/utsname.h>

int main(int argc, char *argv[])
{
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc != 1) {
        std::fputs("usage: cross\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    utsname system;
    if (uname(&system) == 0)
        std::printf("%s, %s %s\n", system.machine, system.sysname, system.release);
    std::printf("built for %d bits with Qt %s, runs with Qt %s\n", int(8 * sizeof(void *)),
                QT_VERSION_STR, qVersion());
    Trace trace(nullptr);
    Trace::log(8, 2, "Cross", "main", "the library is there");
    std::printf("libqvcommon: %d line logged\n", Trace::linenumber - 1);
    return 0;
}
