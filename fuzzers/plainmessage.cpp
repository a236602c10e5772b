// SPDX-License-Identifier: LGPL-2.1-or-later
#include "plainmessage.h"

#include <QtCore/QList>
#include <QtCore/QXmlStreamReader>

using kivctl::Change;
using kivctl::Message;

namespace
{

/** An element as Qt's reader sees it. */
struct Element {
    QString name;
    QString text;        ///< all its own
    QString content;     ///< all that is in it, token by token
    bool isPlain = true; ///< whether there is nothing but text in it
    QList<Element> children;

    const Element *find(const char *wanted) const
    {
        for (const Element &child : children) {
            if (child.name == QLatin1String(wanted))
                return &child;
        }
        return nullptr;
    }
};

QString startTag(const QXmlStreamReader &xml)
{
    QString tag = QLatin1Char('<') + xml.qualifiedName().toString();
    for (const QXmlStreamAttribute &attribute : xml.attributes())
        tag += QLatin1Char(' ') + attribute.qualifiedName().toString() + QLatin1Char('=') +
               attribute.value().toString();
    return tag + QLatin1Char('>');
}

/** Reads on to the end of an element. */
Element readElement(QXmlStreamReader &xml)
{
    Element element;
    element.name = xml.qualifiedName().toString();
    while (!xml.atEnd() && xml.readNext() != QXmlStreamReader::EndElement) {
        if (xml.isCharacters()) {
            element.text += xml.text().toString();
            element.content += xml.text().toString();
            element.isPlain = element.isPlain && !xml.isCDATA();
            continue;
        }
        element.isPlain = false;
        if (!xml.isStartElement())
            continue;
        element.content += startTag(xml);
        element.children << readElement(xml);
        element.content += element.children.last().content + QLatin1String("</>");
    }
    return element;
}

/** @return whether Qt's reader accepts a text that has no declarations of a document type */
bool readRoot(const QString &text, Element &root)
{
    QXmlStreamReader xml(text);
    xml.setNamespaceProcessing(false);
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement)
            root = readElement(xml);
        if (xml.isDTD())
            return false;
    }
    return !xml.hasError();
}

QString text(const std::string &utf8)
{
    return QString::fromUtf8(utf8.data(), int(utf8.size()));
}

/** Whether a text is that of an element; one of more than text is shown as it came. */
bool isValue(const Element &parent, const char *name, const std::string &value)
{
    const Element *const element = parent.find(name);
    return !element ? value.empty() : !element->isPlain || element->text == text(value);
}

/** Whether data is all that is in an element, as it came. */
bool isContent(const Element &parent, const char *name, const std::string &data)
{
    const Element *const element = parent.find(name);
    if (!element)
        return data.empty();
    Element again;
    return readRoot(QLatin1String("<d>") + text(data) + QLatin1String("</d>"), again) &&
           again.content == element->content;
}

bool isReply(const Element &root, const Message &message)
{
    const Element *const out = root.find("out");
    if (!out)
        return message.kind == Message::Unknown;
    if (const Element *const error = out->find("error"))
        return message.kind == Message::Error && isValue(*error, "type", message.type) &&
               isValue(*error, "message", message.text);
    if (const Element *const get = out->find("get"))
        return message.kind == Message::Data && isContent(*get, "data", message.data) &&
               isValue(*get, "crc32", message.crc);
    const bool isOk = !out->children.isEmpty() && out->children.first().find("ok");
    return message.kind == (isOk ? Message::Ok : Message::Unknown);
}

bool isChange(const Element &element, const Change &change)
{
    return isValue(element, "op", change.op) && isValue(element, "spath", change.subscribedPath) &&
           isValue(element, "rpath", change.path) && isContent(element, "data", change.data) &&
           isValue(element, "crc32", change.crc);
}

bool isNotification(const Element &root, const Message &message)
{
    std::size_t count = 0;
    for (const Element &event : root.children) {
        if (event.name != QLatin1String("event"))
            continue;
        for (const Element &change : event.children) {
            if (change.name != QLatin1String("change"))
                continue;
            if (count == message.changes.size() || !isChange(change, message.changes[count]))
                return false;
            ++count;
        }
    }
    return message.kind == Message::Notification && count == message.changes.size();
}

} // namespace

QByteArray messageDifference(const QByteArray &frame, const Message &message)
{
    const QByteArray body = frame.mid(int(frame.indexOf('<')));
    const QString text = QString::fromUtf8(body);
    Element root;
    // Of a line's end Qt makes a line feed; kivctl shows data as it came.
    if (!frame.contains('<') || body.contains('\r') || text.toUtf8() != body ||
        !readRoot(text, root))
        return QByteArray();
    const bool isReplyName = root.name == QLatin1String("reply");
    const bool isNotifyName = root.name == QLatin1String("notify");
    const bool same =
        isValue(root, "ref", message.ref) && (isReplyName    ? isReply(root, message)
                                              : isNotifyName ? isNotification(root, message)
                                                             : message.kind == Message::Unknown);
    return same ? "" : "another message: " + body + '\n';
}
