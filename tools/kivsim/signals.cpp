// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/signals.h"

#include "kivsim/server.h"

#include <QtCore/QCoreApplication>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace kivsim
{

namespace
{

const int restartDelay = 500;

/** A pipe to ourselves: a handler may write to it but do little else. */
int signalPipe[2] = {-1, -1};

extern "C" void passOn(int number)
{
    const int error = errno;
    const char byte = char(number);
    const ssize_t written = write(signalPipe[1], &byte, 1);
    // A full pipe has enough to say already.
    Q_UNUSED(written)
    errno = error;
}

} // namespace

Signals::Signals(Server &server)
    : server(server)
{
}

bool Signals::install()
{
    if (pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    notifier.reset(new QSocketNotifier(signalPipe[0], QSocketNotifier::Read));
    connect(notifier.data(), SIGNAL(activated(int)), this, SLOT(handle()));
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = passOn;
    action.sa_flags = SA_RESTART;
    for (int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR1}) {
        if (sigaction(number, &action, nullptr) != 0)
            return false;
    }
    return std::signal(SIGPIPE, SIG_IGN) != SIG_ERR;
}

void Signals::handle()
{
    char byte = 0;
    while (read(signalPipe[0], &byte, 1) == 1) {
        if (byte == SIGHUP)
            server.restart(restartDelay);
        else if (byte == SIGUSR1)
            server.save();
        else
            QCoreApplication::quit();
    }
}

} // namespace kivsim
