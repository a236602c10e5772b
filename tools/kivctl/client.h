// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_CLIENT_H
#define KIVCTL_CLIENT_H

#include "kivctl/framecutter.h"
#include "kivctl/message.h"
#include "kivctl/sockets.h"

#include <string>

namespace kivctl
{

/** A connection to the daemon. Everything throws Failure if it does not succeed. */
class Client
{
public:
    explicit Client(const Address &address);

    bool isConnected() const { return socket.isOpen(); }
    void connect(const Deadline &deadline);
    void disconnect();

    /** Sends bytes as they are. */
    void send(const std::string &bytes, const Deadline &deadline);
    /** Waits for a frame that is not empty. @return whether one has come in time */
    bool receive(std::string &frame, const Deadline &deadline);

    /** Sends a request and waits for its reply, reading over all else. */
    Message ask(const std::string &operation, const Deadline &deadline);
    /** The same. @return the reply, or throws the daemon's error */
    Message askForSuccess(const std::string &operation, const Deadline &deadline);
    /** Sends a request and does not wait. @return its reference */
    std::string sendRequest(const std::string &operation, const Deadline &deadline);

    const Address &address() const { return daemonAddress; }

private:
    void awaitSocket(short events, const Deadline &deadline, const char *what);
    [[noreturn]] void lose(const std::string &reason);

    const Address daemonAddress;
    Descriptor socket;
    FrameCutter cutter;
    unsigned long requests;
};

/** @return the failure that an error of the daemon is */
void throwError(const Message &message);

} // namespace kivctl

#endif
