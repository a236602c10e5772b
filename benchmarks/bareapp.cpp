// SPDX-License-Identifier: LGPL-2.1-or-later

// What an application costs without the library: prints the bytes on its heap and those resident.

#include "heapmeter.h"

#include <QtCore/QCoreApplication>
#include <QtNetwork/QLocalSocket>

#include <cstdio>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::processEvents();
    const long heap = heapInUse();
    const long resident = residentSize();
    const QLocalSocket unused; // so that QtNetwork is loaded here too
    std::printf("%ld %ld\n", heap, resident);
    return 0;
}
