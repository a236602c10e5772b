// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_LOOPBACK_H
#define TESTS_LOOPBACK_H

/**
 * Takes a TCP port of the loopback address without listening on it.
 * @param port which, or 0 for any that is free
 * @param shared whether others who say so, too, may listen on it
 * @return the socket, or -1 with the reason in errno
 */
int takePort(int port, bool shared);

/** The port of a socket of the loopback address. */
int portOf(int socket);

#endif
