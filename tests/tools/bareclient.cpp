// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bareclient.h"

#include "kivfixture.h"
#include "simulatorprocess.h"
#include "waiting.h"
#include "wiremessages.h"

#include <QtCore/QCoreApplication>

#include <sys/socket.h>

BareClient::BareClient(Transport transport, const SimulatorProcess &simulator)
    : readSoFar(0)
{
    if (transport == Local) {
        socket = &localSocket;
        localSocket.connectToServer(simulator.socketPath());
        localSocket.waitForConnected(patience);
    } else {
        socket = &tcpSocket;
        tcpSocket.connectToHost(QLatin1String("127.0.0.1"), simulator.port());
        tcpSocket.waitForConnected(patience);
    }
    connect(socket, SIGNAL(readyRead()), SLOT(read()));
}

bool BareClient::isConnected() const
{
    return localSocket.state() == QLocalSocket::ConnectedState ||
           tcpSocket.state() == QAbstractSocket::ConnectedState;
}

void BareClient::send(const QByteArray &bytes)
{
    socket->write(bytes);
    localSocket.flush();
    tcpSocket.flush();
}

void BareClient::finish()
{
    ::shutdown(int(tcpSocket.socketDescriptor()), SHUT_WR);
}

void BareClient::read()
{
    const QByteArray bytes = socket->readAll();
    received += bytes;
    readSoFar += int(bytes.size());
    readEnds << readSoFar;
}

QByteArray BareClient::take(int count)
{
    const QByteArray taken = received.left(count);
    received.remove(0, count);
    return taken;
}

QByteArray BareClient::frame()
{
    const char separator[] = "\f\n";
    spinUntil([&]() { return received.contains(separator) || !isConnected(); });
    const int end = int(received.indexOf(separator));
    return take(end < 0 ? int(received.size()) : end + 2);
}

QByteArray BareClient::bytes(int count)
{
    spinUntil([&]() { return int(received.size()) >= count || !isConnected(); });
    return take(count);
}

QByteArray BareClient::exchange(const QByteArray &requests)
{
    const QByteArray answer = errorAnswer("the last", "protocol", "unknown operation: sentinel");
    send(requests + request("the last", "<sentinel/>"));
    spinUntil([&]() { return received.endsWith(answer) || !isConnected(); });
    const QByteArray all = take(int(received.size()));
    return all.endsWith(answer) ? all.left(all.size() - answer.size()) : all + "(no end)";
}

QByteArray BareClient::arrived()
{
    QCoreApplication::processEvents();
    return take(int(received.size()));
}

QByteArray BareClient::untilClosed()
{
    if (!spinUntil([&]() { return !isConnected(); }))
        return "still connected";
    read();
    return take(int(received.size()));
}

QList<int> BareClient::takeReadEnds()
{
    QList<int> taken;
    taken.swap(readEnds);
    readSoFar = 0;
    return taken;
}
