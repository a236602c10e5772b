// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_SOCKETS_H
#define KIVCTL_SOCKETS_H

#include "kivctl/deadline.h"

#include <string>

namespace kivctl
{

/** Where a daemon listens. */
struct Address {
    std::string path = "/tmp/kivd"; ///< of a Unix socket; empty for TCP
    std::string host;
    std::string port;

    std::string text() const { return path.empty() ? host + ':' + port : path; }
};

/** @return whether a text is HOST:PORT, or [HOST]:PORT */
bool parseHost(const std::string &text, Address &address);

/** A descriptor that is closed with the object. */
class Descriptor
{
public:
    explicit Descriptor(int number = -1);
    ~Descriptor();
    int number() const { return descriptor; }
    bool isOpen() const { return descriptor >= 0; }
    void reset(int number = -1);
    /** @return the descriptor, which is the caller's from now on */
    int release();

private:
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int descriptor;
};

/**
 * @return a connected socket that does not block
 * @throws Failure
 */
int connectTo(const Address &address, const Deadline &deadline);

/**
 * @return a listening Unix socket that does not block; one that nobody listens on is replaced
 * @throws Failure
 */
int listenOn(const std::string &path);

} // namespace kivctl

#endif
