// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/sockets.h"

#include "kivctl/failure.h"

#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace kivctl
{

namespace
{

Failure noConnection(const std::string &where, const std::string &reason)
{
    return Failure(NoConnection, "no connection to " + where + ": " + reason);
}

sockaddr_un unixAddress(const std::string &path)
{
    sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path)
        throw Failure(Usage, "a socket's path has 1 to " +
                                 std::to_string(sizeof address.sun_path - 1) + " bytes");
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

int openSocket(int family)
{
    const int type = SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK;
    const int descriptor = ::socket(family, type, 0);
    if (descriptor < 0)
        throw Failure(NoConnection, std::string("no socket: ") + std::strerror(errno));
    return descriptor;
}

bool isSocket(const std::string &path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

/** Connects. @return 0, or the number of the error */
int connectSocket(int descriptor, const sockaddr *address, socklen_t length,
                  const Deadline &deadline)
{
    if (::connect(descriptor, address, length) == 0)
        return 0;
    if (errno != EINPROGRESS)
        return errno;
    pollfd events = {descriptor, POLLOUT, 0};
    while (::poll(&events, 1, deadline.milliseconds()) <= 0) {
        if (deadline.isOver())
            return ETIMEDOUT;
    }
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
}

int connectToPath(const std::string &path, const Deadline &deadline)
{
    const sockaddr_un address = unixAddress(path);
    const int descriptor = openSocket(AF_UNIX);
    const int error = connectSocket(descriptor, reinterpret_cast<const sockaddr *>(&address),
                                    sizeof address, deadline);
    if (error == 0)
        return descriptor;
    ::close(descriptor);
    throw noConnection(path, std::strerror(error));
}

int connectToHost(const Address &address, const Deadline &deadline)
{
    addrinfo hints;
    std::memset(&hints, 0, sizeof hints);
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    const int result = ::getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &found);
    if (result != 0)
        throw noConnection(address.text(), ::gai_strerror(result));
    int error = 0;
    for (const addrinfo *one = found; one; one = one->ai_next) {
        const int descriptor = openSocket(one->ai_family);
        error = connectSocket(descriptor, one->ai_addr, one->ai_addrlen, deadline);
        if (error == 0) {
            const int on = 1; // requests are small and waited for
            ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            ::freeaddrinfo(found);
            return descriptor;
        }
        ::close(descriptor);
    }
    ::freeaddrinfo(found);
    throw noConnection(address.text(), std::strerror(error));
}

} // namespace

bool parseHost(const std::string &text, Address &address)
{
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size())
        return false;
    address.path.clear();
    address.host = text.substr(0, colon);
    address.port = text.substr(colon + 1);
    if (address.host.size() > 2 && address.host[0] == '[' && address.host.back() == ']')
        address.host = address.host.substr(1, address.host.size() - 2);
    const std::size_t mostDigits = 5;
    return address.port.size() <= mostDigits &&
           address.port.find_first_not_of("0123456789") == std::string::npos &&
           std::stoul(address.port) - 1 < 65535;
}

Descriptor::Descriptor(int number)
    : descriptor(number)
{
}

Descriptor::~Descriptor()
{
    reset();
}

void Descriptor::reset(int number)
{
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = number;
}

int Descriptor::release()
{
    const int released = descriptor;
    descriptor = -1;
    return released;
}

int connectTo(const Address &address, const Deadline &deadline)
{
    return address.path.empty() ? connectToHost(address, deadline)
                                : connectToPath(address.path, deadline);
}

int listenOn(const std::string &path)
{
    const sockaddr_un address = unixAddress(path);
    const sockaddr *const general = reinterpret_cast<const sockaddr *>(&address);
    const Descriptor probe(openSocket(AF_UNIX));
    if (::connect(probe.number(), general, sizeof address) == 0)
        throw Failure(NoConnection, "somebody listens on " + path + " already");
    // Of any other file the system says that it refuses, too.
    if (errno == ECONNREFUSED && isSocket(path)) // one that its owner has left behind
        ::unlink(path.c_str());
    const int descriptor = openSocket(AF_UNIX);
    if (::bind(descriptor, general, sizeof address) == 0 && ::listen(descriptor, SOMAXCONN) == 0)
        return descriptor;
    const std::string reason = std::strerror(errno);
    ::close(descriptor);
    throw Failure(NoConnection, "cannot listen on " + path + ": " + reason);
}

} // namespace kivctl
