// SPDX-License-Identifier: LGPL-2.1-or-later
#include "xmltext.h"

#include <QtCore/QIODevice>

#include <algorithm>

namespace qvcommon
{

namespace
{

const ushort firstComplex = 0x0590; // of the characters that need complex layout

const Size leastRoom = 64;
const Size longText = 1024;
const Size readAhead = 8192;  // about as much as a reader takes in from its device at once
const Size mostUnused = 2048; // characters that a text may keep as unused room

/** 1 if a character is one of & < > " ' and otherwise 0. */
inline ushort isSpecial(ushort code)
{
    // & and ' differ in one bit, and so do < and >.
    return ushort((code == '"') | (ushort(code | 1) == '\'') | (ushort(code | 2) == '>'));
}

bool hasSpecials(const QChar *text, Size size)
{
    ushort found = 0;
    for (Size i = 0; i < size; ++i) // all of it, so that compilers can do several at once
        found |= isSpecial(text[i].unicode());
    return found;
}

/** Copies a text without its special characters; returns the end of the copy. */
QChar *copyWithoutSpecials(QChar *out, const QChar *text, Size size)
{
    if (!hasSpecials(text, size))
        return std::copy(text, text + size, out);
    for (const QChar *const end = text + size; text != end; ++text) {
        if (!isSpecial(text->unicode()))
            *out++ = *text;
    }
    return out;
}

/**
 * Appends markup to a text, with room made for more of it in ever larger steps. Once it is clear
 * that the text is not a short one, there is one step more at most: to what may still come.
 */
class MarkupAppender
{
public:
    explicit MarkupAppender(QString &text, const QIODevice *source)
        : text(text)
        , source(source)
        , out(nullptr)
        , end(nullptr)
    {
    }
    ~MarkupAppender();

    void startTag(const XmlText &name);
    void endTag(const XmlText &name);
    void characters(const XmlText &content);

private:
    Q_DISABLE_COPY(MarkupAppender)

    void nameAndBracket(const XmlText &name);
    void makeRoom(Size count)
    {
        if (!out || end - out < count)
            grow(count);
    }
    void grow(Size count);

    QString &text;
    const QIODevice *const source; ///< of the reader, or null
    QChar *out;                    ///< where the next character goes; null before the first
    QChar *end;                    ///< of the room
};

MarkupAppender::~MarkupAppender()
{
    if (!out)
        return; // nothing at all is null, other than nothing but empty pieces
    const Size unused = Size(end - out);
    const Size size = text.size() - unused;
    text.resize(size);
    if (unused > mostUnused && unused > size / 8)
        text.squeeze();
}

void MarkupAppender::grow(Size count)
{
    const Size used = out ? Size(out - text.constData()) : text.size();
    Size room = used / 2 + leastRoom;
    if (source && used >= longText) {
        const qint64 toCome = source->bytesAvailable() + readAhead;
        room = std::max(room, Size(std::min(toCome, 16 * qint64(used))));
    }
    text.reserve(used + count + room);
    text.resize(text.capacity());
    out = text.data() + used;
    end = text.data() + text.size();
}

void MarkupAppender::nameAndBracket(const XmlText &name)
{
    out = std::copy(name.data(), name.data() + name.size(), out);
    *out++ = QLatin1Char('>');
}

void MarkupAppender::startTag(const XmlText &name)
{
    makeRoom(name.size() + 2);
    *out++ = QLatin1Char('<');
    nameAndBracket(name);
}

void MarkupAppender::endTag(const XmlText &name)
{
    makeRoom(name.size() + 3);
    *out++ = QLatin1Char('<');
    *out++ = QLatin1Char('/');
    nameAndBracket(name);
}

void MarkupAppender::characters(const XmlText &content)
{
    makeRoom(content.size());
    out = copyWithoutSpecials(out, content.data(), content.size());
}

} // namespace

bool isSimpleText(const QString &text)
{
    const QChar *const end = text.constData() + text.size();
    unsigned bits = 0;
    for (const QChar *c = text.constData(); c != end; ++c)
        bits |= c->unicode();
    if (bits < firstComplex) // so is each of them: nearly always
        return true;
    for (const QChar *c = text.constData(); c != end; ++c) {
        const ushort code = c->unicode();
        if (code >= firstComplex && (code <= 0x10ff || code >= 0xfb10))
            return false;
    }
    return true;
}

void readFollowingText(QXmlStreamReader &xml, QString &value)
{
    if (xml.readNext() != QXmlStreamReader::Characters)
        return;
    // A text that takes up all of the reader's buffer must not share it: the reader would have to
    // allocate another one at the next token.
    const XmlText text = xml.text();
    value = text.isEmpty() ? text.toString() : QString(text.data(), text.size());
}

void removeSpecialCharacters(QString &text)
{
    QChar *const begin = text.data();
    text.truncate(Size(copyWithoutSpecials(begin, begin, text.size()) - begin));
}

bool appendData(QString &markup, QXmlStreamReader &xml)
{
    if (isFinished(xml))
        return false;
    MarkupAppender appender(markup, xml.device());
    do {
        switch (xml.readNext()) {
        case QXmlStreamReader::StartElement:
            appender.startTag(xml.name());
            break;
        case QXmlStreamReader::EndElement: {
            const XmlText name = xml.name();
            if (is(name, "data"))
                return true;
            appender.endTag(name);
            break;
        }
        case QXmlStreamReader::Characters:
            appender.characters(xml.text());
            break;
        case QXmlStreamReader::Invalid:
        case QXmlStreamReader::EndDocument:
            return false;
        default:
            break;
        }
    } while (!xml.hasError()); // at the end there are no other tokens than the two above
    return false;
}

} // namespace qvcommon
