// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef BENCHMARKS_BAREPEERS_H
#define BENCHMARKS_BAREPEERS_H

#include "temporaryfolder.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtNetwork/QLocalServer>
#include <QtNetwork/QLocalSocket>

/** A bare local socket that is drained until a message is complete. */
class BareSocket : public QObject
{
    Q_OBJECT
public:
    /** Connects. */
    explicit BareSocket(const QString &path);

    /** Takes the message that has come, which is empty if it is not complete. */
    QByteArray takeMessage();
    bool isComplete() const { return complete; }
    void send(const QByteArray &bytes);

private Q_SLOTS:
    void read();

private:
    QLocalSocket socket;
    QByteArray received;
    bool complete;
};

/** Answers each message that it receives, on a local socket, with the same bytes. */
class Responder : public QObject
{
    Q_OBJECT
public:
    /** Listens. */
    Responder();

    QString path() const;
    /** The latest message. */
    QByteArray lastMessage() const { return message; }
    /** The answer from now on; nothing is answered if it is empty. */
    void setAnswer(const QByteArray &bytes) { answer = bytes; }

private Q_SLOTS:
    void accept();
    void read();

private:
    TemporaryFolder folder;
    QLocalServer server;
    QLocalSocket *client;
    QByteArray received;
    QByteArray message;
    QByteArray answer;
};

#endif
