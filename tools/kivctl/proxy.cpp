// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/commands.h"

#include "kivctl/relay.h"
#include "kivctl/texts.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <memory>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kivctl
{

namespace
{

volatile std::sig_atomic_t stopped = 0;

extern "C" void stop(int)
{
    stopped = 1;
}

/** While it lives, SIGINT and SIGTERM only come during ppoll(), and only set the flag. */
class StopSignals
{
public:
    StopSignals()
    {
        sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, SIGINT);
        ::sigaddset(&signals, SIGTERM);
        ::sigprocmask(SIG_BLOCK, &signals, &before);
        struct sigaction action;
        std::memset(&action, 0, sizeof action);
        action.sa_handler = stop;
        ::sigaction(SIGINT, &action, &interrupt);
        ::sigaction(SIGTERM, &action, &terminate);
        // The socket is to be removed, too, when nobody reads our output any more.
        action.sa_handler = SIG_IGN;
        ::sigaction(SIGPIPE, &action, &brokenPipe);
    }
    ~StopSignals()
    {
        // Another one that waits already has been meant for the proxy, too.
        ::sigprocmask(SIG_SETMASK, &before, nullptr);
        ::sigaction(SIGINT, &interrupt, nullptr);
        ::sigaction(SIGTERM, &terminate, nullptr);
        ::sigaction(SIGPIPE, &brokenPipe, nullptr);
        stopped = 0;
    }
    const sigset_t *whileWaiting() const { return &before; }

private:
    StopSignals(const StopSignals &) = delete;
    StopSignals &operator=(const StopSignals &) = delete;

    sigset_t before;
    struct sigaction interrupt; ///< what was to be done before
    struct sigaction terminate;
    struct sigaction brokenPipe;
};

/** Removes a socket in the end, unless another file has taken its place. */
class SocketFile
{
public:
    explicit SocketFile(const std::string &socketPath)
        : path(socketPath)
    {
        isKnown = ::lstat(path.c_str(), &status) == 0;
    }
    ~SocketFile()
    {
        struct stat present;
        if (isKnown && ::lstat(path.c_str(), &present) == 0 && present.st_ino == status.st_ino &&
            present.st_dev == status.st_dev)
            ::unlink(path.c_str());
    }

private:
    SocketFile(const SocketFile &) = delete;
    SocketFile &operator=(const SocketFile &) = delete;

    const std::string path;
    struct stat status;
    bool isKnown;
};

/** An application, and the daemon it talks to. */
class Pair
{
public:
    Pair(int applicationSocket, int daemonSocket, int pairNumber, Output &out)
        : number(pairNumber)
        , output(out)
        , application(applicationSocket)
        , daemon(daemonSocket)
        , requests(application, daemon, [this](const std::string &frame) { show("->", frame); })
        , answers(daemon, application, [this](const std::string &frame) { show("<-", frame); })
    {
        note("connected");
    }

    void addTo(std::vector<pollfd> &events) const
    {
        events.push_back(wanted(application, requests, answers));
        events.push_back(wanted(daemon, answers, requests));
    }

    /** @return whether the pair goes on */
    bool handle(const pollfd &ofApplication, const pollfd &ofDaemon)
    {
        // Where one direction is over, the other one may still have something to hand on.
        proceed(ofApplication, requests, answers);
        proceed(ofDaemon, answers, requests);
        if (!requests.isDone() || !answers.isDone())
            return true;
        requests.finish();
        answers.finish();
        note("disconnected");
        return false;
    }

private:
    static pollfd wanted(const Descriptor &socket, const Relay &in, const Relay &out)
    {
        const int events = (in.wantsToRead() ? POLLIN : 0) | (out.wantsToWrite() ? POLLOUT : 0);
        // One that nothing is expected of would report its end again and again.
        return {events ? socket.number() : -1, static_cast<short>(events), 0};
    }
    static void proceed(const pollfd &events, Relay &in, Relay &out)
    {
        if ((events.revents & (POLLIN | POLLHUP | POLLERR)) && in.wantsToRead())
            in.read();
        if (events.revents & POLLOUT)
            out.write();
    }
    void show(const char *direction, const std::string &frame) const
    {
        if (!frame.empty())
            note(output.coloured(Colour::Mark, direction) + ' ' + onOneLine(frame));
    }
    void note(const std::string &text) const
    {
        output.colouredLine(timeOfDay() + " #" + std::to_string(number) + ' ' + text);
    }

    const int number;
    Output &output;
    const Descriptor application;
    const Descriptor daemon;
    Relay requests;
    Relay answers;
};

typedef std::vector<std::unique_ptr<Pair>> Pairs;

/** Lets an application in, if the daemon is there. @return whether there was one */
bool accept(int listener, const Address &daemon, double timeout, int number, Pairs &pairs,
            Output &output)
{
    Descriptor application(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!application.isOpen())
        return false;
    try {
        const int socket = connectTo(daemon, Deadline::in(timeout));
        pairs.emplace_back(new Pair(application.release(), socket, number, output));
    } catch (const Failure &failure) {
        if (failure.status() != NoConnection)
            throw;
        output.line(timeOfDay() + " #" + std::to_string(number) + ' ' + failure.what());
    }
    return true;
}

void handleEvents(const std::vector<pollfd> &events, Pairs &pairs)
{
    Pairs going;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        if (pairs[i]->handle(events[2 * i + 1], events[2 * i + 2]))
            going.push_back(std::move(pairs[i]));
    }
    pairs.swap(going);
}

} // namespace

Status proxy(const Invocation &invocation, Context &context)
{
    Address target;
    if (invocation.to.find('/') != std::string::npos)
        target.path = invocation.to;
    else if (!parseHost(invocation.to, target))
        throw Failure(Usage,
                      "--to needs a PATH with a slash or HOST:PORT, not '" + invocation.to + "'");
    const StopSignals signals;
    const Descriptor listener(listenOn(invocation.listen));
    const SocketFile file(invocation.listen);
    context.output.line("kivctl: listening on " + invocation.listen + " for " + target.text());
    Pairs pairs;
    int number = 0;
    bool isFull = false;
    const timespec pause = {0, 100000000}; // until a descriptor may be free again
    while (!stopped) {
        std::vector<pollfd> events(1, pollfd{isFull ? -1 : listener.number(), POLLIN, 0});
        for (const std::unique_ptr<Pair> &pair : pairs)
            pair->addTo(events);
        const int ready = ::ppoll(events.data(), events.size(), isFull ? &pause : nullptr,
                                  signals.whileWaiting());
        isFull = false;
        if (ready <= 0)
            continue;
        handleEvents(events, pairs);
        if (!events[0].revents)
            continue;
        isFull = !accept(listener.number(), target, invocation.timeout, number + 1, pairs,
                         context.output);
        number += isFull ? 0 : 1;
    }
    return Done;
}

} // namespace kivctl
