// SPDX-License-Identifier: LGPL-2.1-or-later
#include "xmltext.h"

namespace qvcommon
{

namespace
{

bool isSpecial(QChar character)
{
    switch (character.unicode()) {
    case '&':
    case '<':
    case '>':
    case '"':
    case '\'':
        return true;
    default:
        return false;
    }
}

void appendTag(QString &markup, QLatin1String opening, const XmlText &name)
{
    markup += opening;
    markup += name;
    markup += QLatin1Char('>');
}

} // namespace

bool isSimpleText(const QString &text)
{
    for (const QChar *c = text.constData(), *const end = c + text.size(); c != end; ++c) {
        const ushort code = c->unicode();
        if (code >= 0x0590 && (code <= 0x10ff || code >= 0xfb10))
            return false;
    }
    return true;
}

void readFollowingText(QXmlStreamReader &xml, QString &value)
{
    if (xml.readNext() == QXmlStreamReader::Characters)
        value = xml.text().toString();
}

void removeSpecialCharacters(QString &text, Size from)
{
    QChar *out = text.data() + from;
    const QChar *const end = text.data() + text.size();
    for (const QChar *c = out; c != end; ++c) {
        if (!isSpecial(*c))
            *out++ = *c;
    }
    text.truncate(Size(out - text.constData()));
}

void appendMarkup(QString &markup, const QXmlStreamReader &xml)
{
    switch (xml.tokenType()) {
    case QXmlStreamReader::StartElement:
        appendTag(markup, QLatin1String("<"), xml.name());
        break;
    case QXmlStreamReader::EndElement:
        appendTag(markup, QLatin1String("</"), xml.name());
        break;
    case QXmlStreamReader::Characters: {
        const Size before = markup.size();
        markup += xml.text();
        removeSpecialCharacters(markup, before);
        break;
    }
    default:
        break;
    }
}

} // namespace qvcommon
