// SPDX-License-Identifier: LGPL-2.1-or-later
#include "signals.h"

#include "server.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <QtCore/QCoreApplication>
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
    const char byte = static_cast<char>(number);
    const ssize_t written = ::write(signalPipe[1], &byte, 1);
    // A full pipe has enough to say already.
    static_cast<void>(written);
    errno = error;
}

} // namespace

Signals::Signals(Server &server)
    : m_server(server)
{
}

bool Signals::install()
{
    if (::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    m_notifier.reset(new QSocketNotifier(signalPipe[0], QSocketNotifier::Read));
    connect(m_notifier.data(), SIGNAL(activated(int)), this, SLOT(handle()));
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = passOn;
    action.sa_flags = SA_RESTART;
    for (int number : {SIGTERM, SIGINT, SIGHUP}) {
        if (::sigaction(number, &action, nullptr) != 0)
            return false;
    }
    return std::signal(SIGPIPE, SIG_IGN) != SIG_ERR;
}

void Signals::handle()
{
    char byte = 0;
    while (::read(signalPipe[0], &byte, 1) == 1) {
        if (byte == SIGHUP)
            m_server.restart(restartDelay);
        else
            QCoreApplication::quit();
    }
}

} // namespace kivsim
