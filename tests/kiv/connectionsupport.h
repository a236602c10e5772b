// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_CONNECTIONSUPPORT_H
#define TESTS_CONNECTIONSUPPORT_H

#include "temporaryfolder.h"

#include <QtCore/QList>
#include <QtCore/QStringList>

class KivFixture;
class QLocalSocket;
class QTcpSocket;

extern const QString loopback;

QLocalSocket *localSocket(const KivFixture &fixture);
QTcpSocket *domainSocket(const KivFixture &fixture);

/** Puts a TCP socket into any state. */
void setState(QTcpSocket *socket, int state);

/** Lets the client's periodic timer run out. */
void tick(KivFixture &fixture);

/** Lets connections to the local daemon go nowhere, as they do when the test program starts. */
void resetKivd();

/**
 * A local daemon that listens but accepts nothing, and whose queue of connections is full. The
 * client's connections go to it while the object lives.
 */
class BusyDaemon
{
public:
    BusyDaemon();
    ~BusyDaemon();

    /** Dies without removing its socket file. */
    void close();
    /** Takes the oldest connection out of the queue, which makes room for one more. */
    void accept();
    /** Accepts all connections. @return what has come in over them */
    QByteArray receive();

private:
    Q_DISABLE_COPY(BusyDaemon)

    TemporaryFolder folder;
    QList<int> descriptors;
};

// What the record shows.

extern const char localRestarted[];
extern const char unknownAddress[];
extern const char refusedText[];
extern const char peerClosedText[];
extern const char notFoundText[];
extern const char accessText[];

/** Of an error of the TCP socket. */
QStringList domainError();
/** Of an error of the local socket; @a text is the line that names it. */
QStringList localError(const QString &text);

#endif
