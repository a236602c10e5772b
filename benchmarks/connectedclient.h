// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_CONNECTEDCLIENT_H
#define BENCHMARKS_CONNECTEDCLIENT_H

#include "kivinterface.h"
#include "signalcounter.h"

/** A client that is connected to a socket, without the delay of its first attempt. */
class ConnectedClient
{
public:
    explicit ConnectedClient(const QString &path);

    QLocalSocket *socket() { return kiv.findChild<QLocalSocket *>(); }

    KivInterface kiv;
    SignalCounter counter;
};

#endif
