// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/client.h"

#include "kivctl/failure.h"
#include "kivctl/operations.h"
#include "kivctl/texts.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kivctl
{

namespace
{

const std::size_t readSize = 1 << 16;
const std::size_t longestFrame = 64 << 20;

bool isTemporary(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

} // namespace

Client::Client(const Address &address)
    : daemonAddress(address)
    , cutter(longestFrame)
    , requests(0)
{
}

void Client::connect(const Deadline &deadline)
{
    socket.reset(connectTo(daemonAddress, deadline));
    cutter.takeRest();
    send(handshake, deadline);
}

void Client::disconnect()
{
    socket.reset();
}

void Client::lose(const std::string &reason)
{
    disconnect();
    throw Failure(ConnectionLost, "connection to " + daemonAddress.text() + " lost: " + reason);
}

/** @return when the socket is ready, or else throws */
void Client::awaitSocket(short events, const Deadline &deadline, const char *what)
{
    pollfd wanted = {socket.number(), events, 0};
    while (::poll(&wanted, 1, deadline.milliseconds()) <= 0) {
        if (deadline.isOver())
            throw Failure(Timeout, std::string("timed out, the daemon ") + what);
    }
}

void Client::send(const std::string &bytes, const Deadline &deadline)
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count =
            ::send(socket.number(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count >= 0)
            sent += static_cast<std::size_t>(count);
        else if (isTemporary(errno))
            awaitSocket(POLLOUT, deadline, "does not read");
        else
            lose(std::strerror(errno));
    }
}

bool Client::receive(std::string &frame, const Deadline &deadline)
{
    for (;;) {
        while (cutter.next(frame)) {
            if (!frame.empty())
                return true;
        }
        if (cutter.isTooLong())
            lose("the daemon has sent " + std::to_string(longestFrame) +
                 " bytes without an end of frame");
        // Also where something comes all the time, but never what is waited for.
        if (deadline.isOver())
            return false;
        pollfd events = {socket.number(), POLLIN, 0};
        if (::poll(&events, 1, deadline.milliseconds()) <= 0)
            continue;
        char buffer[readSize];
        const ssize_t length = ::recv(socket.number(), buffer, sizeof buffer, 0);
        if (length > 0)
            cutter.feed(buffer, static_cast<std::size_t>(length));
        else if (length == 0)
            lose("the daemon has closed it");
        else if (!isTemporary(errno))
            lose(std::strerror(errno));
    }
}

std::string Client::sendRequest(const std::string &operation, const Deadline &deadline)
{
    if (!isConnected())
        connect(deadline);
    std::string ref = "kivctl-" + std::to_string(::getpid()) + '-' + std::to_string(++requests);
    send(requestOf(ref, operation), deadline);
    return ref;
}

Message Client::ask(const std::string &operation, const Deadline &deadline)
{
    const std::string ref = sendRequest(operation, deadline);
    std::string frame;
    while (receive(frame, deadline)) {
        Message message = parseMessage(frame);
        const bool isReply = message.kind != Message::Notification;
        if (isReply && message.ref == ref)
            return message;
        // Of a request that it cannot read, the daemon may not know the reference.
        if (message.kind == Message::Error && message.ref.empty())
            return message;
    }
    throw Failure(Timeout, "timed out, the daemon does not answer");
}

Message Client::askForSuccess(const std::string &operation, const Deadline &deadline)
{
    Message message = ask(operation, deadline);
    throwError(message);
    if (message.kind == Message::Unknown)
        throw Failure(DaemonError, "the daemon's answer cannot be understood");
    return message;
}

void throwError(const Message &message)
{
    if (message.kind == Message::Error)
        throw Failure(DaemonError, onOneLine(message.type) + ": " + onOneLine(message.text));
}

} // namespace kivctl
