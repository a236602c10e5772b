// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_SOCKETSLOTS_H
#define QVCOMMON_SOCKETSLOTS_H

#include <QtCore/QObject>

namespace qvcommon
{

/**
 * Stands in each slot on a signal of a socket. Qt works on with a socket when its slots have returned,
 * so a socket must not be deleted by one of them, nor by an event loop that one of them runs.
 */
class SocketSlot
{
public:
    SocketSlot() { ++running; }
    ~SocketSlot();

    /**
     * Deletes a socket of a client that goes. If a slot is running, it is taken from its parent, and
     * is left to the event loop to which the outermost slot returns.
     */
    static void deleteSocket(QObject *socket);

private:
    Q_DISABLE_COPY(SocketSlot)

    static int running;
    static QObject *leftOver; // the parent of sockets that have lost theirs, or null
};

} // namespace qvcommon

#endif
