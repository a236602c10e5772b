// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_WIRE_H
#define TESTS_WIRE_H

#include "kivfixture.h"
#include "plainreceiver.h"
#include "scripteddaemon.h"

/** A client and its daemon, and the plain formulation of what the client has to make of it all. */
class Wire
{
public:
    explicit Wire(bool local);

    /** Sends a piece so that the client reads it at once and alone; wants the debug output on. */
    bool deliver(const QByteArray &piece);

    /** What the client has said at the deliveries since the last call. */
    QStringList takeSaid();

    /** Works out what the client has to say at the delivery of a piece. */
    QStringList expect(const QByteArray &piece);

    void reconnect();

    template <typename Socket>
    Socket *socket() const
    {
        return fixture.kiv->findChild<Socket *>();
    }

    const bool local;
    ScriptedDaemon daemon;
    KivFixture fixture;
    PlainReceiver plain;
    bool connected;

private:
    QStringList said;
};

QByteArray getReply(const QByteArray &ref, const QByteArray &data);

/** The line of a signal that carries data. */
QString got(const char *ref, const char *data);

/** The rows of a test that is about both daemons. */
void transports();

#endif
