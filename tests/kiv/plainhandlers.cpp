// SPDX-License-Identifier: LGPL-2.1-or-later
#include "plainhandlers.h"

#include "kivfixture.h"

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

QString debugLine(const char *text, const QXmlStreamReader &xml)
{
    return QLatin1String("debug: handleNotifyEventChange ") + QLatin1String(text) +
           QLatin1String(" \"") + xml.name().toString() + QLatin1String("\" ");
}

} // namespace

void PlainHandlers::signal(const char *name, const QStringList &arguments)
{
    record << QLatin1String("signal: ") + QLatin1String(name) + QLatin1Char('(') +
                  arguments.join(QLatin1String(", ")) + QLatin1Char(')');
}

void PlainHandlers::report(const QString &body)
{
    record << traced("reportKivParsingErr", "Kiv meg frame error");
    if (debug)
        record << traced("reportKivParsingErr", body);
}

void PlainHandlers::handleBody(const QString &body)
{
    if (body.isEmpty())
        return;
    if (debug)
        record << traced("handleKivMsgBody", body);
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
                record << traced(
                    "handleRequest",
                    "KivInterface::handleRequest() - No support for request handling!!!!!");
            }
            break;
        case QXmlStreamReader::Invalid:
            report(body);
            break;
        default:
            record << QLatin1String("debug: handleKivMsgBody  NOt existing xml.tokenString \"") +
                          xml.tokenString() + QLatin1String("\" ");
        }
    }
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
        if (xml.isEndDocument() || cutOff(xml))
            record << traced("debugXmlNode", "xmlEndDoc: ");
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
        if (xml.isEndDocument() || cutOff(xml))
            record << traced("debugXmlNode", "xmlEndDoc: ");
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
                record << debugLine("xml.atEnd xml.name", xml);
            if (xml.hasError())
                record << debugLine("xml.hasError xml.name", xml);
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
            record << debugLine("Incomplete notify kiv message : xml.name", xml);
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

QStringList underDebug(const QString &body, const QStringList &record)
{
    if (body.isEmpty())
        return record;
    const QString report = traced("reportKivParsingErr", "Kiv meg frame error");
    QStringList result(traced("handleKivMsgBody", body));
    for (const QString &entry : record) {
        result << entry;
        if (entry == report)
            result << traced("reportKivParsingErr", body);
    }
    return result;
}
