// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/markup.h"

#include <algorithm>

namespace qvcommon
{

namespace
{

const Size leastRoom = 16384;
const Size mostUnused = 256; // characters that a text may keep as unused room

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

inline QChar *writeNameAndBracket(QChar *out, const XmlText &name)
{
    for (const QChar character : name)
        *out++ = character;
    *out++ = QLatin1Char('>');
    return out;
}

/**
 * Appends markup to a text. The room for it doubles when it is used up, but to no more than what is
 * left to read: the data of a huge reply takes about as much memory as the reply.
 */
class MarkupAppender
{
public:
    MarkupAppender(QString &text, const TokenReader &xml)
        : text(text)
        , xml(xml)
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

    void makeRoom(Size count)
    {
        if (end - out < count)
            grow(count);
    }
    void grow(Size count);

    QString &text;
    const TokenReader &xml;
    QChar *out; ///< where the next character goes; null before the first
    QChar *end; ///< of the room
};

MarkupAppender::~MarkupAppender()
{
    if (!out)
        return; // Nothing was appended: a null text stays null.
    const Size unused = Size(end - out);
    const Size size = text.size() - unused;
    text.resize(size);
    if (unused > mostUnused && unused > size / 8)
        text.squeeze();
}

void MarkupAppender::grow(Size count)
{
    const Size used = out ? Size(out - text.constData()) : text.size();
    const Size size = used + count + std::min(used + leastRoom, xml.charactersLeft());
    text.reserve(size); // resize() alone makes room for more
    text.resize(size);
    out = text.data() + used;
    end = text.data() + text.size();
}

inline void MarkupAppender::startTag(const XmlText &name)
{
    makeRoom(name.size() + 2);
    // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): there is no room without memory
    *out++ = QLatin1Char('<');
    out = writeNameAndBracket(out, name);
}

inline void MarkupAppender::endTag(const XmlText &name)
{
    makeRoom(name.size() + 3);
    // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): the same
    *out++ = QLatin1Char('<');
    *out++ = QLatin1Char('/');
    out = writeNameAndBracket(out, name);
}

inline void MarkupAppender::characters(const XmlText &content)
{
    makeRoom(content.size() + 1); // also for none, which makes a null text an empty one
    out = std::remove_copy_if(content.begin(), content.end(), out, isSpecial);
}

} // namespace

void removeSpecialCharacters(QString &text)
{
    if (text.isEmpty())
        return; // a null text stays null
    QChar *const begin = text.data();
    text.truncate(Size(std::remove_if(begin, begin + text.size(), isSpecial) - begin));
}

bool appendData(QString &markup, TokenReader &xml)
{
    if (isFinished(xml))
        return false;
    MarkupAppender appender(markup, xml);
    for (;;) {
        switch (xml.readNext()) {
        case QXmlStreamReader::StartElement:
            appender.startTag(xml.name());
            break;
        case QXmlStreamReader::EndElement: {
            const XmlText name = xml.name();
            if (name.size() == 4 && is(name, "data"))
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
    }
}

} // namespace qvcommon
