// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "debugline.h"
#include "frames.h"
#include "kivlog.h"

#include <QtNetwork/QTcpSocket>

#include <algorithm>

using namespace qvcommon;

namespace
{

/** All that has come in, in memory of that size; readAll() would begin with 16 kB. */
QByteArray readAvailable(QIODevice &socket)
{
    QByteArray bytes;
    bytes.resize(Size(socket.bytesAvailable()));
    const qint64 count = socket.read(bytes.data(), bytes.size());
    bytes.truncate(Size(std::max<qint64>(count, 0)));
    return bytes;
}

/** Takes a frame apart: what is left of it is the body. */
void deliver(KivInterface &kiv, QString &frame)
{
    if (frame.isEmpty())
        return;
    const Size bodyStart = frame.indexOf(QLatin1Char('<'));
    if (bodyStart < 0) {
        kiv.handleHeader(frame);
        return;
    }
    QString header = frame.left(bodyStart);
    frame.remove(0, bodyStart);
    kiv.handleHeader(header);
    kiv.handleKivMsgBody(frame);
}

void deliver(KivInterface &kiv, QStringList &frames)
{
    for (Size i = 0; i < frames.size(); ++i)
        deliver(kiv, frames[i]);
}

} // namespace

// The slots take all frames out of the buffer before they handle the first one: whatever the
// application does in its slots, a reconnection included, finds the buffer in order.

void KivInterface::dataFromKivDomainTcpSlot()
{
    if (!domainKivSocket)
        return;
    QString &buffer = rcvDomainFrameBuffer;
    const Size kept = buffer.length();
    Reception reception = receive(buffer, readAvailable(*domainKivSocket));
    if (enableDebugPrint) {
        DebugLine() << "Rcv tcp pkg" << reception.received << "Prev incomplete tcp pkg" << kept;
        if (reception.filtered > 0)
            DebugLine() << "Prev + new pkg filtered" << reception.filtered << "# frames"
                        << reception.frames.size() + (reception.unfinished ? 1 : 0);
        if (reception.unfinished) {
            DebugLine() << "Incomplete Rcv Doamin tcp package size : " << buffer.length();
            DebugLine() << "Last 20 bytes" << buffer.right(30);
        }
    }
    deliver(*this, reception.frames);
}

void KivInterface::dataFromKivLocalUnixSlot()
{
    if (!localKivSocket)
        return;
    QString &buffer = rcvLocalFrameBuffer;
    Reception reception = receive(buffer, readAvailable(*localKivSocket));
    if (enableDebugPrint) {
        DebugLine() << "Rcv LocalUnix package size : " << reception.filtered;
        if (reception.unfinished) {
            DebugLine() << "Incomplete Rcv LocalUnix package - size : " << buffer.length();
            DebugLine() << "Last 20 bytes" << buffer.right(30);
        }
    }
    deliver(*this, reception.frames);
}

void KivInterface::handleFrame(QString &frame)
{
    QString taken = frame;
    deliver(*this, taken);
}

void KivInterface::handleHeader(QString &header)
{
    const bool known =
        header.startsWith(QLatin1String("errbody:")) || header.startsWith(QLatin1String("ack:"));
    if (known && enableDebugPrint)
        kivSource.log(DebugLevel, "handleHeader", header);
}

QString &KivInterface::getCurrentKivMsgCrc32Value()
{
    return crc32;
}
