// SPDX-License-Identifier: LGPL-2.1-or-later

// Bytes that arrive over the sockets to both daemons, in any pieces. Of the input's first byte, one
// bit chooses the socket to begin with, and one the diagnostic output. In the rest the byte 0xff ends
// a piece, and 0xfe one behind which the other socket goes on. Frames and what is left of the next
// one are compared with the plain formulation of cleaning and cutting; all that is said of the frames
// with the plain formulation of handling a body.
//
// Covers: src/kiv/frames.cpp src/kiv/dispatch.cpp

#include "differential.h"
#include "fuzzing.h"
#include "kiv/frames.h"
#include "plainreceiver.h"
#include "scripteddaemon.h"

#include <QtCore/QCoreApplication>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>

#include <poll.h>

namespace
{

enum Transport { Local, Domain };

/** What arrives in one read. */
struct Piece {
    Transport transport;
    QByteArray bytes;
};

const char endOfPiece = '\xff';
const char changeOfSocket = '\xfe';

QList<Piece> piecesOf(const QByteArray &input)
{
    Piece piece = {input.at(0) & 1 ? Domain : Local, QByteArray()};
    QList<Piece> pieces;
    for (const char c : input.mid(1) + endOfPiece) {
        if (c != endOfPiece && c != changeOfSocket) {
            piece.bytes += c;
            continue;
        }
        if (!piece.bytes.isEmpty())
            pieces << piece;
        piece.bytes.clear();
        if (c == changeOfSocket)
            piece.transport = piece.transport == Local ? Domain : Local;
    }
    // So that nothing is left for the next input.
    const QByteArray last = "x\f\n";
    return pieces << Piece{Local, last} << Piece{Domain, last};
}

/** What of a read is not as the plain formulation has it. */
QByteArray receptionProblem(const QList<Piece> &pieces)
{
    QString buffers[2];
    PlainReceiver plains[2];
    for (const Piece &piece : pieces) {
        QString &buffer = buffers[piece.transport];
        PlainReceiver &plain = plains[piece.transport];
        const qvcommon::Reception reception = qvcommon::receive(buffer, piece.bytes);
        const QString text = QString::fromLatin1(piece.bytes.constData()); // up to a NUL
        const QStringList frames = plain.read(text);
        const QByteArray problem = QByteArray() + (reception.frames == frames ? "" : "frames ") +
                                   (buffer == plain.buffer ? "" : "buffer ") +
                                   (reception.received == text.size() ? "" : "received ") +
                                   (reception.filtered == plain.filtered ? "" : "filtered ") +
                                   (reception.unfinished == plain.unfinished ? "" : "unfinished ");
        if (!problem.isEmpty())
            return problem;
    }
    return QByteArray();
}

QStringList plainFrames(const QList<Piece> &pieces)
{
    PlainReceiver plains[2];
    QStringList frames;
    for (const Piece &piece : pieces)
        frames << plains[piece.transport].read(QString::fromLatin1(piece.bytes.constData()));
    return frames;
}

/** The client with a connection to each daemon. */
class Connections
{
public:
    Connections()
        : local(ScriptedDaemon::Local)
        , domain(ScriptedDaemon::Tcp)
    {
        KivInterface &kiv = differential.client();
        kiv.connectToLocalKivSocketSlot();
        KivInterface::updateDomainServerIpAddress(QLatin1String("127.0.0.1"), domain.port());
        KivInterface::domainServerActivateTcpConnection(true);
        kiv.connectToDomainKivSocketSlot();
        while (local.lastReceived().isEmpty() || domain.lastReceived().isEmpty())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        descriptors[Local] = int(kiv.findChild<QLocalSocket *>()->socketDescriptor());
        descriptors[Domain] = int(kiv.findChild<QTcpSocket *>()->socketDescriptor());
    }

    QByteArray problem(const QList<Piece> &pieces, bool debug)
    {
        return differential.arrival(
            [&] {
                for (const Piece &piece : pieces)
                    arrive(piece);
            },
            plainFrames(pieces), debug);
    }

private:
    void arrive(const Piece &piece)
    {
        const int patience = 10000; // ms
        (piece.transport == Local ? local : domain).send(piece.bytes);
        pollfd arrived = {descriptors[piece.transport], POLLIN, 0};
        if (poll(&arrived, 1, patience) != 1)
            qFatal("nothing arrives");
        while (poll(&arrived, 1, 0) == 1)
            QCoreApplication::processEvents();
    }

    Differential differential;
    ScriptedDaemon local;
    ScriptedDaemon domain;
    int descriptors[2];
};

} // namespace

void fuzz(const QByteArray &input)
{
    static Connections connections;
    if (input.isEmpty())
        return;
    const QList<Piece> pieces = piecesOf(input);
    requireNone(receptionProblem(pieces));
    requireNone(connections.problem(pieces, input.at(0) & 2));
}
