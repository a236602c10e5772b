// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_SCRIPTEDDAEMON_H
#define TESTS_SCRIPTEDDAEMON_H

#include "temporaryfolder.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtNetwork/QLocalServer>
#include <QtNetwork/QTcpServer>

class QIODevice;
class QLocalSocket;
class QTcpSocket;

/**
 * A daemon inside the test: it records every byte it gets and says what the test tells it to.
 * The local one is where redirectKivd() sends this process's connections while the object lives.
 */
class ScriptedDaemon : public QObject
{
    Q_OBJECT
public:
    enum Transport { Local, Tcp };

    explicit ScriptedDaemon(Transport transport);
    ~ScriptedDaemon();

    /** The port of a TCP daemon; it stays the same over stop() and start(). */
    quint16 port() const { return tcpPort; }

    /** Drops all connections and listens no more. */
    void stop();
    void start();

    /** The connections since the daemon was constructed, oldest first. */
    int connections() const { return int(received.size()); }
    /** What has come in over a connection. */
    QByteArray receivedBy(int connection) const { return received.at(connection); }
    /** What has come in over the latest connection; empty if there was none. */
    QByteArray lastReceived() const;
    /** Forgets the bytes received so far. */
    void forget();

    /** Sends bytes over the latest connection, and pushes them out. */
    void send(const QByteArray &bytes);
    /** Closes the latest connection once everything is sent. */
    void hangUp();
    /** Cuts the latest connection off, losing what is not sent. */
    void cut();

private Q_SLOTS:
    void accept();
    void read();

private:
    void add(QIODevice *socket);

    Transport transport;
    TemporaryFolder folder;
    QLocalServer localServer;
    QTcpServer tcpServer;
    int portHolder; ///< a socket with the port, lest another process be given it after stop()
    quint16 tcpPort;
    QList<QIODevice *> sockets;
    QList<QByteArray> received;
};

/** What a client sends on each connection before anything else. */
extern const char handshake[];

#endif
