// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_HOUR_H
#define BENCHMARKS_HOUR_H

#include "documenttexts.h"

class Feeder;
class ConnectedClient;

/**
 * The traffic of an application, second by second as it would come, but without the waiting in
 * between: each second two log lines and a notification of 1 kB with a look-up in it, every ten
 * seconds a get with a reply of 16 kB, every minute one with 250 kB.
 */
class Traffic
{
public:
    Traffic(Feeder &feeder, ConnectedClient &client);

    /** @return whether every signal has come and every look-up was right */
    bool runMinute();
    /** The daemon goes away and comes back. @return whether the client has noticed */
    bool restartDaemon();

private:
    bool get(const Document &answer);
    bool deliver(const Document &document);
    bool lookUp();

    Feeder &feeder;
    ConnectedClient &client;
    const Document change;
    const Document reply;
    const Document largeReply;
};

#endif
