// SPDX-License-Identifier: LGPL-2.1-or-later

// What an application has resident on the emulated board, at its start and before and after an hour's
// traffic, and what that leaves. Prints lines of "when, tab, what, tab, kB".

#include "application.h"
#include "documenttexts.h"
#include "hour.h"
#include "messagelog.h"
#include "require.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace
{

FILE *results;

/** Prints a number of kB from a file of /proc. */
void print(const char *when, const char *fileName, const char *what)
{
    QFile file(QString::fromLatin1(fileName));
    require(file.open(QIODevice::ReadOnly), "there is no /proc");
    const QByteArray content = '\n' + file.readAll();
    const int at = int(content.indexOf('\n' + QByteArray(what) + ':'));
    require(at >= 0, what);
    const long value = std::strtol(content.constData() + at + std::strlen(what) + 2, nullptr, 10);
    std::fprintf(results, "%s\t%s\t%ld\n", when, what, value);
}

void printMemory(const char *when)
{
    const char *const status = "/proc/self/status";
    print(when, status, "VmHWM");
    print(when, status, "RssAnon");
    print(when, status, "RssFile");
    print(when, "/proc/meminfo", "MemAvailable");
}

void measureHour()
{
    Application application;
    printMemory("start");
    const int warmUp = 10; // minutes, in which buffers and files reach their sizes
    Traffic traffic(application.feeder, application.client);
    for (int minute = 0; minute < warmUp + 60; ++minute) {
        if (minute == warmUp)
            printMemory("warm");
        require(traffic.runMinute(), "a signal is missing");
        require(minute % 15 != 0 || traffic.restartDaemon(), "the connection is not lost");
        application.barrier.wait();
    }
    printMemory("hour");
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const MessageLog messages;
    // The flush timer says a word on standard output now and then.
    results = fdopen(dup(STDOUT_FILENO), "w");
    std::freopen("/dev/null", "w", stdout);
    measureHour();
    return std::fclose(results);
}
