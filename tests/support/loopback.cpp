// SPDX-License-Identifier: LGPL-2.1-or-later
#include "loopback.h"

#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

int takePort(int port, bool shared)
{
    sockaddr_in address;
    std::memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(in_port_t(port));
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = shared ? 1 : 0;
    if (::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
        ::bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return socket;
    const int error = errno;
    ::close(socket);
    errno = error;
    return -1;
}

int portOf(int socket)
{
    sockaddr_in address;
    socklen_t size = sizeof address;
    const bool known = ::getsockname(socket, reinterpret_cast<sockaddr *>(&address), &size) == 0;
    return known ? ntohs(address.sin_port) : 0;
}
