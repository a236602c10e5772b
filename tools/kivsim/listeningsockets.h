// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_LISTENINGSOCKETS_H
#define KIVSIM_LISTENINGSOCKETS_H

#include "kivsim/filelock.h"

#include <QtCore/QtGlobal>

#include <string>
#include <sys/types.h>

namespace kivsim
{

/** The socket file and the TCP port that clients connect to. */
class ListeningSockets
{
public:
    ListeningSockets();
    ~ListeningSockets();

    /**
     * Opens the sockets. A dead socket file is replaced; a live one, any other file, and one that
     * another kivsim has locked, is left alone. The lock is kept until the object is destroyed.
     * @param path of the socket file, or empty
     * @param port TCP port, or 0 for any that is free; after the first time it is the same again
     * @return whether all are open; if not, none is, and error says why in one line
     */
    bool open(const std::string &path, int port, std::string &error);
    /**
     * Closes both and removes the socket file. The port stays reserved: clients look for the
     * daemon where they found it before.
     */
    void close();

    /** @return the descriptor, or -1 */
    int unixSocket() const { return unixDescriptor; }
    int tcpSocket() const { return tcpDescriptor; }
    /** @return the TCP port, or 0 if there has not been one yet */
    int port() const;

private:
    Q_DISABLE_COPY(ListeningSockets)

    bool openTcp(int port, std::string &error);
    bool listenOnTcp(int port);
    bool lockPath(const std::string &path, std::string &error);
    bool openUnix(const std::string &path, std::string &error);

    FileLock lock; ///< beside the socket file: of several that start at once one gets it
    int unixDescriptor;
    int tcpDescriptor;
    int portHolder;      ///< bound to the port, without listening
    std::string ownPath; ///< of the socket file while there is one
    dev_t device;        ///< and what tells it from another one under the same name
    ino_t inode;
};

} // namespace kivsim

#endif
