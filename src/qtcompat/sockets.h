// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_QTCOMPAT_SOCKETS_H
#define QVCOMMON_QTCOMPAT_SOCKETS_H

#include <QtNetwork/QLocalSocket>

#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
#    include <sys/socket.h>
#    include <unistd.h>
#endif

/** The signal by which a socket reports errors of a type, for connect(). */
#if QT_VERSION < QT_VERSION_CHECK(5, 15, 0)
#    define QVCOMMON_SOCKET_ERROR_SIGNAL(errorType) SIGNAL(error(errorType))
#else
#    define QVCOMMON_SOCKET_ERROR_SIGNAL(errorType) SIGNAL(errorOccurred(errorType))
#endif

namespace qvcommon
{

/**
 * Drops what a lost connection has left unsent. Qt 4 keeps it, and would send it ahead of the next
 * greeting. It forgets it when a connected socket is aborted, so this one is connected to nobody for
 * a moment.
 */
inline void dropUnsent(QLocalSocket &socket)
{
#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
    int ends[2];
    if (socket.bytesToWrite() == 0 || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return;
    socket.setSocketDescriptor(ends[0]);
    socket.abort();
    close(ends[1]);
#else
    Q_UNUSED(socket)
#endif
}

} // namespace qvcommon

#endif
