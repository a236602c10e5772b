// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "common/debugline.h"
#include "kiv/frames.h"
#include "kiv/kivlog.h"
#include "kiv/notifications.h"
#include "kiv/replies.h"
#include "kiv/socketslots.h"

#include <QtNetwork/QTcpSocket>

using namespace qvcommon;

namespace
{

/** All that has come in. Qt 5 and 6 print a warning if one asks a closed socket. */
QByteArray readAllOf(QIODevice &socket)
{
    return socket.isOpen() ? socket.readAll() : QByteArray();
}

bool hasMore(const QIODevice &socket)
{
    return socket.isOpen() && socket.bytesAvailable() > 0;
}

void logHeader(const QString &header)
{
    const bool known =
        header.startsWith(QLatin1String("errbody:")) || header.startsWith(QLatin1String("ack:"));
    if (known && KivInterface::enableDebugPrint)
        kivSource.log(DebugLevel, "handleHeader", header);
}

void logRequest()
{
    kivSource.log(DebugLevel, "handleRequest",
                  "KivInterface::handleRequest() - No support for request handling!!!!!");
}

void logParsingError(const QString &body)
{
    kivSource.log(DebugLevel, "reportKivParsingErr", "Kiv meg frame error");
    if (KivInterface::enableDebugPrint)
        kivSource.log(DebugLevel, "reportKivParsingErr", body);
}

/** Hands an element to whom it is for; false if it could not be read. */
bool readElement(const SignalEmitter &emitter, TokenReader &xml)
{
    const XmlText name = xml.name();
    if (is(name, "notify"))
        return readNotification(emitter, xml);
    if (is(name, "reply"))
        return readReply(emitter, xml);
    if (is(name, "request"))
        logRequest();
    return true;
}

void readBody(const SignalEmitter &emitter, const QString &body)
{
    if (body.isEmpty())
        return;
    if (KivInterface::enableDebugPrint)
        kivSource.log(DebugLevel, "handleKivMsgBody", body);

    TokenReader xml(body);
    while (!isFinished(xml)) {
        switch (xml.readNext()) {
        case QXmlStreamReader::StartElement:
            if (!readElement(emitter, xml))
                logParsingError(body);
            break;
        case QXmlStreamReader::Invalid:
            logParsingError(body);
            break;
        case QXmlStreamReader::StartDocument:
        case QXmlStreamReader::EndDocument:
        case QXmlStreamReader::EndElement:
        case QXmlStreamReader::Characters:
            break;
        default:
            DebugLine() << "handleKivMsgBody"
                        << " NOt existing xml.tokenString" << xml.tokenString();
        }
    }
}

/** Takes a frame apart: what is left of it is the body. */
void deliver(const SignalEmitter &emitter, QString &frame)
{
    const Size bodyStart = frame.indexOf(QLatin1Char('<'));
    if (bodyStart < 0) {
        logHeader(frame);
        return;
    }
    logHeader(frame.left(bodyStart));
    frame.remove(0, bodyStart);
    readBody(emitter, frame);
}

void deliver(const SignalEmitter &emitter, QStringList &frames)
{
    for (Size i = 0; i < frames.size() && emitter.hasClient(); ++i)
        deliver(emitter, frames[i]);
}

/** Tells on Qt's debug output of the beginning of a frame that is kept. */
void reportUnfinished(const char *text, const QString &buffer)
{
    DebugLine() << text << buffer.length();
    DebugLine() << "Last 20 bytes" << buffer.right(30);
}

void reportLocal(const Reception &reception, const QString &buffer)
{
    DebugLine() << "Rcv LocalUnix package size : " << reception.filtered;
    if (reception.unfinished)
        reportUnfinished("Incomplete Rcv LocalUnix package - size : ", buffer);
}

void reportDomain(const Reception &reception, const QString &buffer, Size kept)
{
    DebugLine() << "Rcv tcp pkg" << reception.received << "Prev incomplete tcp pkg" << kept;
    if (reception.filtered > 0)
        DebugLine() << "Prev + new pkg filtered" << reception.filtered << "# frames"
                    << reception.frames.size() + (reception.unfinished ? 1 : 0);
    if (reception.unfinished)
        reportUnfinished("Incomplete Rcv Doamin tcp package size : ", buffer);
}

} // namespace

// The slots take all frames out of the buffer before they handle the first one: whatever the
// application does in its slots, a reconnection included, finds the buffer in order. Qt does not
// tell of what comes in while one of those runs an event loop, so the slots look once more; the client
// may be gone by then.

void KivInterface::dataFromKivDomainTcpSlot()
{
    const SignalEmitter emitter(*this);
    const SocketSlot slot;
    Q_UNUSED(slot)
    if (!domainKivSocket)
        return;
    do {
        QString &buffer = rcvDomainFrameBuffer;
        const Size kept = buffer.length();
        Reception reception = receive(buffer, readAllOf(*domainKivSocket));
        if (enableDebugPrint)
            reportDomain(reception, buffer, kept);
        deliver(emitter, reception.frames);
    } while (emitter.hasClient() && hasMore(*domainKivSocket));
}

void KivInterface::dataFromKivLocalUnixSlot()
{
    const SignalEmitter emitter(*this);
    const SocketSlot slot;
    Q_UNUSED(slot)
    if (!localKivSocket)
        return;
    do {
        QString &buffer = rcvLocalFrameBuffer;
        Reception reception = receive(buffer, readAllOf(*localKivSocket));
        if (enableDebugPrint)
            reportLocal(reception, buffer);
        deliver(emitter, reception.frames);
    } while (emitter.hasClient() && hasMore(*localKivSocket));
}

void KivInterface::handleFrame(QString &frame)
{
    QString taken = frame;
    deliver(SignalEmitter(*this), taken);
}

void KivInterface::handleHeader(QString &header)
{
    logHeader(header);
}

void KivInterface::handleKivMsgBody(QString &body)
{
    readBody(SignalEmitter(*this), body);
}

bool KivInterface::handleRequest(QXmlStreamReader &xml)
{
    Q_UNUSED(xml)
    logRequest();
    return false;
}

void KivInterface::reportKivParsingErr(QString body)
{
    logParsingError(body);
}

void KivInterface::debugXmlNode(QXmlStreamReader &xml)
{
    switch (xml.tokenType()) {
    case QXmlStreamReader::StartElement:
        logXmlNode("xmlStartNode: <%1>", xml.name().toString());
        break;
    case QXmlStreamReader::Characters:
        logXmlNode("xmlTextNode: %1", xml.text().toString());
        break;
    case QXmlStreamReader::EndElement:
        logXmlNode("xmlEndNode: %1", xml.name().toString());
        break;
    case QXmlStreamReader::EndDocument:
        logEndOfDocument(xml.name().toString());
        break;
    default:
        break;
    }
}
