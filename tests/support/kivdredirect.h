// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_KIVDREDIRECT_H
#define TESTS_KIVDREDIRECT_H

#include <QtCore/QString>

/**
 * Lets connections of this process to /tmp/kivd go to another socket, so that tests need no rights
 * and do not meet a daemon of the machine, or each other. Until it is called they go nowhere.
 */
void redirectKivd(const QString &socketPath);

/** Lets the next connections to the daemon fail at once with this errno; 0 ends that. */
void failKivdConnections(int error);

/** How often this process has tried to connect to the daemon. */
int kivdAttempts();

#endif
