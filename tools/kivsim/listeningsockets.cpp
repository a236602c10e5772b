// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/listeningsockets.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace kivsim
{

namespace
{

const int backlog = 128;

enum FileState { NoFile, DeadSocket, Unusable };

std::string lastError()
{
    return std::strerror(errno);
}

sockaddr_un unixAddress(const std::string &path)
{
    sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return address;
}

int connectTo(const std::string &path)
{
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0)
        return errno;
    const sockaddr_un address = unixAddress(path);
    const int result =
        connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    const int error = result == 0 ? 0 : errno;
    close(descriptor);
    return error;
}

/** Finds out what stands under the path; only a socket nobody listens on may be replaced. */
FileState inspect(const std::string &path, std::string &error)
{
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT)
            return NoFile;
        error = "cannot use " + path + ": " + lastError();
        return Unusable;
    }
    if (!S_ISSOCK(status.st_mode)) {
        error = path + " is not a socket; it is left as it is";
        return Unusable;
    }
    const int failure = connectTo(path);
    if (failure == ECONNREFUSED)
        return DeadSocket;
    // A full queue of connections is a sign of life, too.
    if (failure == 0 || failure == EAGAIN)
        error = "a live daemon is listening on " + path + "; it is left as it is";
    else
        error = "cannot tell whether " + path + " is in use: " + std::strerror(failure);
    return Unusable;
}

/** @return a socket that has the port, or any if that is 0; without it -1 */
int socketWithPort(int port)
{
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    // Connections of an earlier run that are still winding down must not keep the port.
    const int on = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address;
    std::memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(in_port_t(port));
    if (bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return descriptor;
    const int error = errno;
    close(descriptor);
    errno = error;
    return -1;
}

void closeDescriptor(int &descriptor)
{
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}

} // namespace

ListeningSockets::ListeningSockets()
    : unixDescriptor(-1)
    , tcpDescriptor(-1)
    , portHolder(-1)
    , device(0)
    , inode(0)
{
}

ListeningSockets::~ListeningSockets()
{
    close();
    closeDescriptor(portHolder);
}

bool ListeningSockets::open(const std::string &path, int port, std::string &error)
{
    const bool opened =
        path.empty() ? openTcp(port, error)
                     : lockPath(path, error) && openTcp(port, error) && openUnix(path, error);
    if (!opened)
        close();
    return opened;
}

bool ListeningSockets::lockPath(const std::string &path, std::string &error)
{
    // Nothing is put beside a file that is not ours.
    if (inspect(path, error) == Unusable)
        return false;
    const std::string lockName = path + ".lock";
    const int failure = lock.take(lockName);
    if (failure == EWOULDBLOCK)
        error = "another kivsim holds " + lockName + "; " + path + " is left as it is";
    else if (failure != 0)
        error = "cannot lock " + lockName + ": " + std::strerror(failure);
    return failure == 0;
}

bool ListeningSockets::openTcp(int port, std::string &error)
{
    if (listenOnTcp(port))
        return true;
    const std::string reason = lastError();
    const int wanted = portHolder < 0 ? port : this->port();
    error = "cannot listen on 127.0.0.1:" + std::to_string(wanted) + ": " + reason;
    return false;
}

bool ListeningSockets::listenOnTcp(int port)
{
    if (portHolder < 0)
        portHolder = socketWithPort(port);
    if (portHolder < 0)
        return false;
    tcpDescriptor = socketWithPort(this->port());
    return tcpDescriptor >= 0 && listen(tcpDescriptor, backlog) == 0;
}

int ListeningSockets::port() const
{
    sockaddr_in address;
    socklen_t size = sizeof address;
    const bool known = getsockname(portHolder, reinterpret_cast<sockaddr *>(&address), &size) == 0;
    return known ? ntohs(address.sin_port) : 0;
}

bool ListeningSockets::openUnix(const std::string &path, std::string &error)
{
    // Another kivsim may have come and gone before the lock was taken.
    const FileState state = inspect(path, error);
    if (state == Unusable)
        return false;
    const bool replace = state == DeadSocket;
    const sockaddr_un address = unixAddress(path);
    unixDescriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    struct stat status;
    if ((replace && unlink(path.c_str()) != 0) ||
        bind(unixDescriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(unixDescriptor, backlog) != 0 || lstat(path.c_str(), &status) != 0) {
        error = "cannot listen on " + path + ": " + lastError();
        return false;
    }
    ownPath = path;
    device = status.st_dev;
    inode = status.st_ino;
    return true;
}

void ListeningSockets::close()
{
    struct stat status;
    // Somebody may have put a socket of their own in the place of ours.
    if (!ownPath.empty() && lstat(ownPath.c_str(), &status) == 0 && status.st_dev == device &&
        status.st_ino == inode)
        unlink(ownPath.c_str());
    ownPath.clear();
    closeDescriptor(unixDescriptor);
    closeDescriptor(tcpDescriptor);
}

} // namespace kivsim
