// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivinterface.h"

#include "debugline.h"
#include "kivlog.h"
#include "textreader.h"
#include "xmltext.h"

using namespace qvcommon;

void KivInterface::handleKivMsgBody(QString &body)
{
    if (body.isEmpty())
        return;
    if (enableDebugPrint)
        kivSource.log(DebugLevel, "handleKivMsgBody", body);

    TextReader reader(body);
    QXmlStreamReader &xml = reader.xml();
    while (!isFinished(xml)) {
        switch (xml.readNext()) {
        case QXmlStreamReader::StartElement: {
            const XmlText name = xml.name();
            const bool failed = is(name, "notify")    ? !handleNotify(xml)
                                : is(name, "reply")   ? !handleReply(xml)
                                : is(name, "request") ? handleRequest(xml)
                                                      : false;
            if (failed)
                reportKivParsingErr(body);
            break;
        }
        case QXmlStreamReader::Invalid:
            reportKivParsingErr(body);
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

bool KivInterface::handleReply(QXmlStreamReader &xml)
{
    QString ref;
    while (!isFinished(xml)) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::StartElement) {
            const XmlText name = xml.name();
            if (is(name, "ref"))
                readFollowingText(xml, ref);
            else if (is(name, "out") && !handleReplyOut(xml, ref))
                return false;
        } else if (token == QXmlStreamReader::EndElement && isNamed(xml, "reply")) {
            return true;
        }
    }
    return false;
}

bool KivInterface::handleReplyOut(QXmlStreamReader &xml, QString &ref)
{
    struct Child {
        const char *name;
        bool (KivInterface::*handle)(QXmlStreamReader &, QString &);
    };
    static const Child children[] = {{"edit", &KivInterface::handleReplyOutEdit},
                                     {"get", &KivInterface::handleReplyOutGet},
                                     {"error", &KivInterface::handleReplyOutError},
                                     {"session_info", &KivInterface::handleReplyOutSessionInfo}};
    while (!isFinished(xml)) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::EndElement && isNamed(xml, "out"))
            return true;
        if (token != QXmlStreamReader::StartElement)
            continue;
        const XmlText name = xml.name();
        for (const Child &child : children) {
            if (!is(name, child.name))
                continue;
            if (isSimpleText(ref) && !(this->*child.handle)(xml, ref))
                return false;
            break;
        }
    }
    return false;
}

/**
 * Reads up to the next "ok" inside an element. If there is none, @a closed tells whether the
 * element was closed properly.
 */
static bool readToOk(QXmlStreamReader &xml, const char *elementName, bool &closed)
{
    closed = false;
    while (!isFinished(xml)) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::StartElement && isNamed(xml, "ok"))
            return true;
        closed = token == QXmlStreamReader::EndElement && isNamed(xml, elementName);
        if (closed)
            return false;
    }
    return false;
}

bool KivInterface::handleReplyOutEdit(QXmlStreamReader &xml, QString &ref)
{
    bool closed;
    while (readToOk(xml, "edit", closed))
        Q_EMIT kivOkSignal(ref);
    return closed;
}

bool KivInterface::handleReplyOutSessionInfo(QXmlStreamReader &xml, QString &ref)
{
    bool closed;
    while (readToOk(xml, "session_info", closed))
        Q_EMIT kivOkSignal(ref);
    return closed;
}

bool KivInterface::handleReplyOutError(QXmlStreamReader &xml, QString &ref)
{
    QString type;
    QString message;
    while (!isFinished(xml)) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::StartElement) {
            const XmlText name = xml.name();
            if (is(name, "type"))
                readFollowingText(xml, type);
            else if (is(name, "message"))
                readFollowingText(xml, message);
        } else if (token == QXmlStreamReader::EndElement && isNamed(xml, "error")) {
            if (!isSimpleText(type) || !isSimpleText(message) || !isSimpleText(ref))
                return false;
            Q_EMIT kivErrorSignal(ref, type, message);
            return true;
        }
    }
    return false;
}

bool KivInterface::handleReplyOutGet(QXmlStreamReader &xml, QString &ref)
{
    while (!isFinished(xml)) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (isOver(token))
            return false;
        if (token == QXmlStreamReader::StartElement) {
            const XmlText name = xml.name();
            if (is(name, "path"))
                xml.readNext(); // the path is not used
            else if (is(name, "crc32"))
                readFollowingText(xml, crc32);
            else if (is(name, "data") && !handleReplyOutGetData(xml, ref))
                return false;
        } else if (token == QXmlStreamReader::EndElement && isNamed(xml, "get")) {
            return true;
        }
    }
    return false;
}

bool KivInterface::handleReplyOutGetData(QXmlStreamReader &xml, QString &ref)
{
    if (isFinished(xml))
        return false;
    QString data;
    if (appendData(data, xml)) {
        Q_EMIT kivGetSignal(ref, data);
        return true;
    }
    if (xml.tokenType() == QXmlStreamReader::EndDocument)
        debugXmlNode(xml);
    else if (isCutOff(xml))
        logEndOfDocument();
    return false;
}

void KivInterface::removeXmlEscapeCharacters(QString &text)
{
    removeSpecialCharacters(text);
}

bool KivInterface::handleRequest(QXmlStreamReader &xml)
{
    Q_UNUSED(xml)
    kivSource.log(DebugLevel, "handleRequest",
                  "KivInterface::handleRequest() - No support for request handling!!!!!");
    return false;
}

void KivInterface::reportKivParsingErr(QString body)
{
    kivSource.log(DebugLevel, "reportKivParsingErr", "Kiv meg frame error");
    if (enableDebugPrint)
        kivSource.log(DebugLevel, "reportKivParsingErr", body);
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
