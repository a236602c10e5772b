// SPDX-License-Identifier: LGPL-2.1-or-later
#include "scripteddaemon.h"

#include "kivdredirect.h"
#include "loopback.h"

#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>

#include <unistd.h>

const char handshake[] = "\f\nencode:xml\r\n\r\n\f\n";

ScriptedDaemon::ScriptedDaemon(Transport transport)
    : transport(transport)
    , portHolder(-1)
    , tcpPort(0)
{
    if (transport == Tcp) {
        portHolder = takePort(0, true); // as Qt's servers share theirs
        tcpPort = quint16(portOf(portHolder));
        if (tcpPort == 0)
            qFatal("no port for a daemon");
    }
    connect(&localServer, SIGNAL(newConnection()), SLOT(accept()));
    connect(&tcpServer, SIGNAL(newConnection()), SLOT(accept()));
    start();
}

ScriptedDaemon::~ScriptedDaemon()
{
    stop();
    if (transport == Local)
        redirectKivd(QLatin1String("/nonexistent/kivd"));
    else
        ::close(portHolder);
}

void ScriptedDaemon::start()
{
    if (transport == Local) {
        const QString path = folder.filePath(QLatin1String("kivd"));
        QLocalServer::removeServer(path);
        if (!localServer.listen(path))
            qFatal("%s", qPrintable(localServer.errorString()));
        redirectKivd(path);
    } else {
        if (!tcpServer.listen(QHostAddress::LocalHost, tcpPort))
            qFatal("%s", qPrintable(tcpServer.errorString()));
    }
}

void ScriptedDaemon::stop()
{
    localServer.close();
    tcpServer.close();
    while (!sockets.isEmpty()) {
        QIODevice *const socket = sockets.takeLast();
        if (socket) // there is none for connections before an earlier stop()
            socket->disconnect(this);
        delete socket;
    }
}

void ScriptedDaemon::accept()
{
    while (localServer.hasPendingConnections())
        add(localServer.nextPendingConnection());
    while (tcpServer.hasPendingConnections())
        add(tcpServer.nextPendingConnection());
}

void ScriptedDaemon::add(QIODevice *socket)
{
    // The daemon keeps the sockets itself, so that stop() can delete them in order.
    socket->setParent(nullptr);
    connect(socket, SIGNAL(readyRead()), SLOT(read()));
    while (sockets.size() < received.size())
        sockets.append(nullptr);
    sockets.append(socket);
    received.append(QByteArray());
    read();
}

void ScriptedDaemon::read()
{
    for (int i = 0; i < int(sockets.size()); ++i) {
        if (sockets.at(i))
            received[i] += sockets.at(i)->readAll();
    }
}

QByteArray ScriptedDaemon::lastReceived() const
{
    return received.isEmpty() ? QByteArray() : received.last();
}

void ScriptedDaemon::forget()
{
    for (QByteArray &bytes : received)
        bytes.clear();
}

void ScriptedDaemon::send(const QByteArray &bytes)
{
    QIODevice *const socket = sockets.isEmpty() ? nullptr : sockets.last();
    if (!socket)
        qFatal("nobody is connected");
    socket->write(bytes);
    if (transport == Local)
        static_cast<QLocalSocket *>(socket)->flush();
    else
        static_cast<QTcpSocket *>(socket)->flush();
}

void ScriptedDaemon::hangUp()
{
    if (transport == Local)
        static_cast<QLocalSocket *>(sockets.last())->disconnectFromServer();
    else
        static_cast<QTcpSocket *>(sockets.last())->disconnectFromHost();
}

void ScriptedDaemon::cut()
{
    if (transport == Local)
        static_cast<QLocalSocket *>(sockets.last())->abort();
    else
        static_cast<QTcpSocket *>(sockets.last())->abort();
}
