// SPDX-License-Identifier: LGPL-2.1-or-later

// A daemon that runs only once. SIGTERM and SIGINT end it.
//
//     pidguard FILE
//
// Exit status: 0 ended by a signal, 1 another one runs or the file cannot be written, 2 wrong
// usage.

#include "pidfilehandler.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/signalfd.h>
#include <unistd.h>

// [signals]
// From here on the signals that end a daemon arrive as input of a descriptor. A signal that ends
// the process at once would leave the PID file behind.
static int endingSignals()
{
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, nullptr);
    return signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK);
}
// [signals]

// [leave]
// Ends the process without destructors: that of the guard would remove the other daemon's file.
[[noreturn]] static void leaveTheFile(int status)
{
    std::fflush(nullptr);
    std::_Exit(status);
}
// [leave]

int main(int argc, char *argv[])
{
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || argc != 2) {
        std::fputs("usage: pidguard FILE\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }
    // [main]
    const int ending = endingSignals(); // before there are threads, which take the mask over
    QCoreApplication application(argc, argv);
    Trace trace(nullptr);
    trace.toggleConsolePrint(); // so that the reason shows if the file cannot be written

    PidFileHandler pidFile(argv[1]); // argv lives as long as the process, as the path must
    if (const int other = pidFile.checkPid()) {
        std::fprintf(stderr, "already running as process %d\n", other);
        leaveTheFile(EXIT_FAILURE);
    }
    if (pidFile.writePid() == 0)
        leaveTheFile(EXIT_FAILURE);
    if (pidFile.readPid() != getpid()) { // on a full disk, or if another daemon came between
        std::fprintf(stderr, "the PID file was not kept\n");
        leaveTheFile(EXIT_FAILURE);
    }

    QSocketNotifier notifier(ending, QSocketNotifier::Read);
    QObject::connect(&notifier, SIGNAL(activated(int)), &application, SLOT(quit()));
    std::printf("running as process %d\n", int(getpid()));
    std::fflush(stdout);
    return application.exec(); // the destructor removes the file
    // [main]
}
