// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "debugline.h"
#include "frames.h"
#include "kivlog.h"

#include <QtNetwork/QTcpSocket>

using namespace qvcommon;

// The slots take all frames out of the buffer before they handle the first one: whatever the
// application does in its slots, a reconnection included, finds the buffer in order.

void KivInterface::dataFromKivDomainTcpSlot()
{
    if (!domainKivSocket)
        return;
    const QString text = fromCString(domainKivSocket->readAll());
    QString &buffer = rcvDomainFrameBuffer;
    const Size kept = buffer.length();
    if (enableDebugPrint)
        DebugLine() << "Rcv tcp pkg" << text.length() << "Prev incomplete tcp pkg" << kept;
    appendCleaned(buffer, text);
    if (buffer.isEmpty())
        return;

    const Size received = buffer.length();
    FrameCut cut = takeFrames(buffer, kept);
    if (enableDebugPrint) {
        DebugLine() << "Prev + new pkg filtered" << received << "# frames"
                    << cut.frames.size() + (cut.unfinished ? 1 : 0);
        if (cut.unfinished) {
            DebugLine() << "Incomplete Rcv Doamin tcp package size : " << buffer.length();
            DebugLine() << "Last 20 bytes" << buffer.right(30);
        }
    }
    for (Size i = 0; i < cut.frames.size(); ++i)
        handleFrame(cut.frames[i]);
}

void KivInterface::dataFromKivLocalUnixSlot()
{
    if (!localKivSocket)
        return;
    const QString text = fromCString(localKivSocket->readAll());
    QString &buffer = rcvLocalFrameBuffer;
    const Size kept = buffer.length();
    appendCleaned(buffer, text);
    if (enableDebugPrint)
        DebugLine() << "Rcv LocalUnix package size : " << buffer.length();
    if (buffer.isEmpty())
        return;

    FrameCut cut = takeFrames(buffer, kept);
    if (enableDebugPrint && cut.unfinished) {
        DebugLine() << "Incomplete Rcv LocalUnix package - size : " << buffer.length();
        DebugLine() << "Last 20 bytes" << buffer.right(30);
    }
    for (Size i = 0; i < cut.frames.size(); ++i)
        handleFrame(cut.frames[i]);
}

void KivInterface::handleFrame(QString &frame)
{
    if (frame.isEmpty())
        return;
    const Size bodyStart = frame.indexOf(QLatin1Char('<'));
    if (bodyStart < 0) {
        QString header = frame;
        handleHeader(header);
        return;
    }
    QString header = frame.left(bodyStart);
    QString body = frame.mid(bodyStart);
    handleHeader(header);
    handleKivMsgBody(body);
}

void KivInterface::handleHeader(QString &header)
{
    const bool known =
        header.startsWith(QLatin1String("errbody:")) || header.startsWith(QLatin1String("ack:"));
    if (known && enableDebugPrint)
        logKiv(DebugLevel, "handleHeader", header);
}

QString &KivInterface::getCurrentKivMsgCrc32Value()
{
    return crc32;
}
