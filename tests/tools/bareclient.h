// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_BARECLIENT_H
#define TESTS_BARECLIENT_H

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>

class SimulatorProcess;

/** A socket connected to a kivsim, for talking to it byte by byte, without the library. */
class BareClient : public QObject
{
    Q_OBJECT
public:
    enum Transport { Local, Tcp };

    BareClient(Transport transport, const SimulatorProcess &simulator);

    bool isConnected() const;
    void send(const QByteArray &bytes);
    /** Says that nothing more will be sent; TCP only. */
    void finish();

    /** Waits for the next frame. @return it with its separator, or what there is if none comes */
    QByteArray frame();
    /** Waits for so many bytes and takes them. */
    QByteArray bytes(int count);
    /**
     * Sends requests and one more, and waits for the answer of that one.
     * @return all that came before it
     */
    QByteArray exchange(const QByteArray &requests);
    /** Takes what has arrived by now. */
    QByteArray arrived();
    /** Waits until the other side hangs up. @return all that came, or "still connected" */
    QByteArray untilClosed();

    /** Where each read has ended, counted from the last call of this. */
    QList<int> takeReadEnds();

private Q_SLOTS:
    void read();

private:
    QByteArray take(int count);

    QLocalSocket localSocket;
    QTcpSocket tcpSocket;
    QIODevice *socket;
    QByteArray received;
    int readSoFar;
    QList<int> readEnds;
};

#endif
