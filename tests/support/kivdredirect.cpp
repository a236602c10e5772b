// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivdredirect.h"

#include <QtCore/QByteArray>
#include <QtCore/QFile>

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace
{

const char daemonPath[] = "/tmp/kivd";
char redirectedPath[sizeof(sockaddr_un().sun_path)] = "/nonexistent/kivd";
int forcedError = 0;
int attempts = 0;

bool isDaemonAddress(const sockaddr *address, socklen_t length)
{
    if (length <= sizeof(sa_family_t) || address->sa_family != AF_UNIX)
        return false;
    const char *const path = reinterpret_cast<const sockaddr_un *>(address)->sun_path;
    return std::strncmp(path, daemonPath, length - sizeof(sa_family_t)) == 0;
}

} // namespace

void redirectKivd(const QString &socketPath)
{
    qstrncpy(redirectedPath, QFile::encodeName(socketPath).constData(), sizeof redirectedPath);
}

void failKivdConnections(int error)
{
    forcedError = error;
}

int kivdAttempts()
{
    return attempts;
}

// The executable's own definition comes before the C library's, for QtNetwork too.
extern "C" __attribute__((visibility("default"))) int
connect(int descriptor, const sockaddr *address, socklen_t length)
{
    typedef int (*Connect)(int, const sockaddr *, socklen_t);
    static const Connect systemConnect = reinterpret_cast<Connect>(dlsym(RTLD_NEXT, "connect"));
    if (!isDaemonAddress(address, length))
        return systemConnect(descriptor, address, length);
    ++attempts;
    if (forcedError) {
        errno = forcedError;
        return -1;
    }
    sockaddr_un redirected;
    std::memset(&redirected, 0, sizeof redirected);
    redirected.sun_family = AF_UNIX;
    std::memcpy(redirected.sun_path, redirectedPath, sizeof redirectedPath);
    return systemConnect(descriptor, reinterpret_cast<const sockaddr *>(&redirected),
                         sizeof redirected);
}
