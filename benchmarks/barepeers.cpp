// SPDX-License-Identifier: LGPL-2.1-or-later
#include "barepeers.h"

static const char separator[] = "\f\n";

BareSocket::BareSocket(const QString &path)
    : complete(false)
{
    connect(&socket, SIGNAL(readyRead()), SLOT(read()));
    socket.connectToServer(path);
}

QByteArray BareSocket::takeMessage()
{
    if (!complete)
        return QByteArray();
    const QByteArray message = received;
    received = QByteArray();
    complete = false;
    return message;
}

void BareSocket::send(const QByteArray &bytes)
{
    socket.write(bytes);
    socket.flush();
}

void BareSocket::read()
{
    received += socket.readAll();
    complete = received.endsWith(separator);
}

Responder::Responder()
    : client(nullptr)
{
    connect(&server, SIGNAL(newConnection()), SLOT(accept()));
    if (!server.listen(path()))
        qFatal("%s", qPrintable(server.errorString()));
}

QString Responder::path() const
{
    return folder.filePath(QLatin1String("kivd"));
}

void Responder::accept()
{
    client = server.nextPendingConnection();
    connect(client, SIGNAL(readyRead()), SLOT(read()));
    read();
}

void Responder::read()
{
    received += client->readAll();
    if (!received.endsWith(separator))
        return;
    message = received;
    received.clear();
    if (answer.isEmpty())
        return;
    client->write(answer);
    client->flush();
}
