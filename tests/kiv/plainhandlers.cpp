// SPDX-License-Identifier: LGPL-2.1-or-later
#include "plainhandlers.h"

#include <QtCore/QXmlStreamReader>

namespace
{

bool named(const QXmlStreamReader &xml, const char *name)
{
    return xml.name().toString() == QLatin1String(name);
}

bool over(const QXmlStreamReader &xml)
{
    return xml.tokenType() == QXmlStreamReader::Invalid ||
           xml.tokenType() == QXmlStreamReader::EndDocument;
}

bool cutOff(const QXmlStreamReader &xml)
{
    return xml.tokenType() == QXmlStreamReader::Invalid &&
           xml.error() == QXmlStreamReader::PrematureEndOfDocumentError;
}

bool stopped(const QXmlStreamReader &xml)
{
    return xml.atEnd() || xml.hasError();
}

void textInto(QString &value, QXmlStreamReader &xml)
{
    if (xml.readNext() == QXmlStreamReader::Characters)
        value = xml.text().toString();
}

bool simple(const QString &text)
{
    for (int i = 0; i < int(text.length()); ++i) {
        const ushort c = text.at(i).unicode();
        if ((c >= 0x0590 && c <= 0x10ff) || c >= 0xfb10)
            return false;
    }
    return true;
}

/** Appends a token of a data element as text. */
void serialize(QString &result, const QXmlStreamReader &xml)
{
    if (xml.isStartElement()) {
        result.append(QLatin1String("<") + xml.name().toString() + QLatin1String(">"));
    } else if (xml.isEndElement()) {
        result.append(QLatin1String("</") + xml.name().toString() + QLatin1String(">"));
    } else if (xml.isCharacters()) {
        QString copy = xml.text().toString();
        for (const char c : {'&', '<', '>', '"', '\''})
            copy.remove(QLatin1Char(c));
        result.append(copy);
    }
}

/** What Qt 4's debug stream makes of words and a quoted text. */
QString debugLine(const char *words, const QString &quoted)
{
    return QLatin1String(words) + QLatin1String(" \"") + quoted + QLatin1String("\" ");
}

QString changeLine(const char *words, const QXmlStreamReader &xml)
{
    return QLatin1String("handleNotifyEventChange ") + debugLine(words, xml.name().toString());
}

} // namespace

void PlainHandlers::report(const QString &body)
{
    log("reportKivParsingErr", QLatin1String("Kiv meg frame error"));
    if (debug)
        log("reportKivParsingErr", body);
}

void PlainHandlers::debugNode(const QXmlStreamReader &xml)
{
    if (xml.isStartElement())
        log("debugXmlNode", QString::fromLatin1("xmlStartNode: <%1>").arg(xml.name().toString()));
    else if (xml.isCharacters())
        log("debugXmlNode", QString::fromLatin1("xmlTextNode: %1").arg(xml.text().toString()));
    else if (xml.isEndElement())
        log("debugXmlNode", QString::fromLatin1("xmlEndNode: %1").arg(xml.name().toString()));
    else if (xml.isEndDocument())
        log("debugXmlNode", QString::fromLatin1("xmlEndDoc: %1").arg(xml.name().toString()));
}

/** Where a body is cut off counts as its end. */
void PlainHandlers::debugEnd(const QXmlStreamReader &xml)
{
    if (cutOff(xml))
        log("debugXmlNode", QLatin1String("xmlEndDoc: "));
    else if (xml.isEndDocument())
        debugNode(xml);
}

void PlainHandlers::handleHeader(const QString &header)
{
    if (!debug)
        return;
    if (header.startsWith(QLatin1String("errbody:")) || header.startsWith(QLatin1String("ack:")))
        log("handleHeader", header);
}

void PlainHandlers::handleBody(const QString &body)
{
    if (body.isEmpty())
        return;
    if (debug)
        log("handleKivMsgBody", body);
    QXmlStreamReader xml;
    xml.addData(body);
    while (!xml.atEnd() && !xml.hasError()) {
        switch (xml.readNext()) {
        case QXmlStreamReader::StartDocument:
        case QXmlStreamReader::EndDocument:
        case QXmlStreamReader::EndElement:
        case QXmlStreamReader::Characters:
            break;
        case QXmlStreamReader::StartElement:
            if (named(xml, "notify")) {
                if (!notify(xml))
                    report(body);
            } else if (named(xml, "reply")) {
                if (!reply(xml))
                    report(body);
            } else if (named(xml, "request")) {
                if (request())
                    report(body);
            }
            break;
        case QXmlStreamReader::Invalid:
            report(body);
            break;
        default:
            debugOutput(
                debugLine("handleKivMsgBody  NOt existing xml.tokenString", xml.tokenString()));
        }
    }
}

bool PlainHandlers::request()
{
    log("handleRequest",
        QLatin1String("KivInterface::handleRequest() - No support for request handling!!!!!"));
    return false;
}

bool PlainHandlers::reply(QXmlStreamReader &xml)
{
    QString ref;
    while (!stopped(xml)) {
        xml.readNext();
        if (over(xml))
            return false;
        if (xml.isStartElement() && named(xml, "ref"))
            textInto(ref, xml);
        else if (xml.isStartElement() && named(xml, "out")) {
            if (!replyOut(xml, ref))
                return false;
        } else if (xml.isEndElement() && named(xml, "reply"))
            return true;
    }
    return false;
}

bool PlainHandlers::replyOut(QXmlStreamReader &xml, const QString &ref)
{
    while (!stopped(xml)) {
        xml.readNext();
        if (over(xml))
            return false;
        if (xml.isStartElement() && named(xml, "edit")) {
            if (simple(ref) && !okInside(xml, ref, "edit"))
                return false;
        } else if (xml.isStartElement() && named(xml, "get")) {
            if (simple(ref) && !get(xml, ref))
                return false;
        } else if (xml.isStartElement() && named(xml, "error")) {
            if (simple(ref) && !error(xml, ref))
                return false;
        } else if (xml.isStartElement() && named(xml, "session_info")) {
            if (simple(ref) && !okInside(xml, ref, "session_info"))
                return false;
        } else if (xml.isEndElement() && named(xml, "out")) {
            return true;
        }
    }
    return false;
}

bool PlainHandlers::okInside(QXmlStreamReader &xml, const QString &ref, const char *name)
{
    while (!stopped(xml)) {
        xml.readNext();
        if (over(xml))
            return false;
        if (xml.isStartElement() && named(xml, "ok"))
            signal("ok", QStringList(ref));
        else if (xml.isEndElement() && named(xml, name))
            return true;
    }
    return false;
}

bool PlainHandlers::error(QXmlStreamReader &xml, const QString &ref)
{
    QString type;
    QString message;
    while (!stopped(xml)) {
        xml.readNext();
        if (over(xml))
            return false;
        if (xml.isStartElement() && named(xml, "type"))
            textInto(type, xml);
        else if (xml.isStartElement() && named(xml, "message"))
            textInto(message, xml);
        else if (xml.isEndElement() && named(xml, "error")) {
            if (!simple(type) || !simple(message) || !simple(ref))
                return false;
            signal("error", QStringList() << ref << type << message);
            return true;
        }
    }
    return false;
}

bool PlainHandlers::get(QXmlStreamReader &xml, const QString &ref)
{
    while (!stopped(xml)) {
        xml.readNext();
        if (over(xml))
            return false;
        QString unused;
        if (xml.isStartElement() && named(xml, "path"))
            textInto(unused, xml);
        else if (xml.isStartElement() && named(xml, "data")) {
            if (!getData(xml, ref))
                return false;
        } else if (xml.isStartElement() && named(xml, "crc32"))
            textInto(crc32, xml);
        else if (xml.isEndElement() && named(xml, "get"))
            return true;
    }
    return false;
}

bool PlainHandlers::getData(QXmlStreamReader &xml, const QString &ref)
{
    QString result;
    while (!stopped(xml)) {
        xml.readNext();
        debugEnd(xml);
        if (over(xml))
            return false;
        if (xml.isEndElement() && named(xml, "data")) {
            signal("get", QStringList() << ref << result);
            return true;
        }
        serialize(result, xml);
    }
    return false;
}

bool PlainHandlers::notify(QXmlStreamReader &xml)
{
    QString ref;
    while (!stopped(xml)) {
        xml.readNext();
        if (over(xml))
            return false;
        if (xml.isStartElement() && named(xml, "ref"))
            textInto(ref, xml);
        else if (xml.isStartElement() && named(xml, "event")) {
            if (simple(ref) && !event(xml, ref))
                return false;
        } else if (xml.isEndElement() && named(xml, "notify"))
            return true;
    }
    return false;
}

bool PlainHandlers::event(QXmlStreamReader &xml, const QString &ref)
{
    while (!stopped(xml)) {
        xml.readNext();
        debugEnd(xml);
        if (over(xml))
            return false;
        if (xml.isStartElement() && named(xml, "change")) {
            if (!change(xml, ref))
                return false;
        } else if (xml.isEndElement() && named(xml, "event"))
            return true;
    }
    return false;
}

bool PlainHandlers::change(QXmlStreamReader &xml, const QString &ref)
{
    QString op;
    QString spath;
    QString rpath;
    QString data;
    for (;;) {
        if (stopped(xml)) {
            if (xml.atEnd())
                debugOutput(changeLine("xml.atEnd xml.name", xml));
            if (xml.hasError())
                debugOutput(changeLine("xml.hasError xml.name", xml));
            return false;
        }
        xml.readNext();
        if (cutOff(xml))
            continue;
        if (over(xml))
            return false;
        if (xml.isStartElement() && named(xml, "op"))
            textInto(op, xml);
        else if (xml.isStartElement() && named(xml, "spath"))
            textInto(spath, xml);
        else if (xml.isStartElement() && named(xml, "rpath"))
            textInto(rpath, xml);
        else if (xml.isStartElement() && named(xml, "data")) {
            if (!changeData(xml, data))
                return false;
        } else if (xml.isStartElement() && named(xml, "crc32"))
            textInto(crc32, xml);
        else if (xml.isEndElement() && named(xml, "change")) {
            if (!simple(op) || !simple(rpath) || !simple(spath))
                return false;
            signal("notify", QStringList() << ref << op << rpath << spath << data);
            return true;
        } else if (xml.isEndElement() && (named(xml, "event") || named(xml, "notify"))) {
            debugOutput(changeLine("Incomplete notify kiv message : xml.name", xml));
            return false;
        }
    }
}

bool PlainHandlers::changeData(QXmlStreamReader &xml, QString &data)
{
    while (!stopped(xml)) {
        xml.readNext();
        if (over(xml))
            return false;
        if (xml.isEndElement() && named(xml, "data"))
            return true;
        serialize(data, xml);
    }
    return false;
}
