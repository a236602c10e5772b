// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/tokenreader.h"

#include "kiv/entities.h"
#include "qtcompat/xml.h"

#include <algorithm>
#include <limits>

namespace qvcommon
{

namespace
{

/** Later versions of Qt refuse longer names. */
const Size longestPlainName = 4096;

/** The longest that is plain, without "&" and ";". Eight characters hold no number beyond 32 bits. */
const int longestReference = 8;

/** What a character may be a part of; "ordinary" ones stand for themselves in a text. */
enum CharacterClass { Ordinary = 1, InName = 2, NameStart = 4 };

const int asciiEnd = 0x80;

/**
 * The classes of the characters of ASCII: 1 for ordinary ones, 3 for those that are in names too, 7
 * for those that names may begin with. A table, as it is asked for each character of a text.
 */
const uchar classes[asciiEnd] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, // tabulator and line feed
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
    1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 1, 1, 3, 3, 1, // all but &
    3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 1, 1, 0, 1, 0, 1, // all but < and >
    1, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, //
    7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 1, 1, 1, 1, 7, //
    1, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, //
    7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 1, 1, 1, 1, 1, //
};

inline bool isSpace(ushort code)
{
    return code == ' ' || code == '\r' || code == '\n' || code == '\t';
}

inline bool isAscii(ushort code, CharacterClass wanted)
{
    return code < asciiEnd && (classes[code] & wanted) != 0;
}

inline bool isWithin(ushort code, ushort first, ushort last)
{
    return ushort(code - first) <= last - first;
}

/** Qt's reader gets surrogates, and all from U+FDD0 on: Qt 4 replaces some of those. */
inline bool isOrdinary(ushort code)
{
    return code < asciiEnd ? (classes[code] & Ordinary) != 0
                           : code < 0xd800 || (code >= 0xe000 && code < 0xfdd0);
}

// All texts here end with a NUL, which stops each of these.

inline const QChar *skipSpace(const QChar *at)
{
    while (isSpace(at->unicode()))
        ++at;
    return at;
}

inline const QChar *skipName(const QChar *at)
{
    if (!isAscii(at->unicode(), NameStart))
        return at;
    do
        ++at;
    while (isAscii(at->unicode(), InName));
    return at;
}

inline const QChar *skipOrdinary(const QChar *at)
{
    while (isOrdinary(at->unicode()))
        ++at;
    return at;
}

inline bool is(QChar character, char expected)
{
    return character.unicode() == uchar(expected);
}

/** The value of a digit, or a large number for another character. */
uint digitValue(ushort code)
{
    if (code >= '0' && code <= '9')
        return code - uint('0');
    const uint letter = code | 0x20U;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : 1000;
}

/** The character of a number, such as 65 or x41, or 0 if it is not one of the usual characters. */
uint referredCharacter(const QChar *begin, const QChar *end)
{
    const bool isHexadecimal = is(*begin, 'x');
    const uint base = isHexadecimal ? 16 : 10;
    uint code = 0;
    for (const QChar *digit = begin + isHexadecimal; digit != end; ++digit) {
        const uint value = digitValue(digit->unicode());
        if (value >= base)
            return 0;
        code = code * base + value;
    }
    const bool isUsual = code >= ' ' ? code < 0xd800 : isSpace(ushort(code));
    return isUsual ? code : 0;
}

/** The character that a predefined entity stands for, or 0. */
uint predefinedEntity(const XmlText &name)
{
    return is(name, "amp")    ? '&'
           : is(name, "lt")   ? '<'
           : is(name, "gt")   ? '>'
           : is(name, "quot") ? '"'
           : is(name, "apos") ? '\''
                              : 0U;
}

} // namespace

bool is(const XmlText &text, const char *expected)
{
    for (const QChar character : text) {
        if (character.unicode() != uchar(*expected))
            return false;
        ++expected;
    }
    return *expected == 0;
}

TokenReader::TokenReader(const QString &xml)
    : source(xml)
    , next(reinterpret_cast<const QChar *>(source.utf16())) // with a NUL behind it
    , end(next + source.size())
    , type(Qxml::NoToken)
    , handedOut(0)
    , isEmptyElement(false)
    , needsResolving(false)
    , qtReader(nullptr)
{
}

TokenReader::TokenReader(QXmlStreamReader &xml)
    : next(nullptr)
    , end(nullptr)
    , type(Qxml::NoToken)
    , handedOut(0)
    , isEmptyElement(false)
    , needsResolving(false)
    , qtReader(&xml)
{
}

TokenReader::TokenType TokenReader::readNext()
{
    if (qtReader)
        return qtReader->readNext();
    if (isEmptyElement) {
        isEmptyElement = false;
        return handOut(Qxml::EndElement);
    }
    if (open.isEmpty())
        return readOutside();
    if (!is(*next, '<'))
        return readText();
    return is(next[1], '/') ? readEndTag() : readStartTag();
}

inline TokenReader::TokenType TokenReader::handOut(TokenType token)
{
    ++handedOut;
    return type = token;
}

/** Reads what is not inside of the root. */
TokenReader::TokenType TokenReader::readOutside()
{
    switch (type) {
    case Qxml::NoToken:
        return readFirst();
    case Qxml::StartDocument:
        return readStartTag();
    case Qxml::EndElement:
        next = skipSpace(next);
        return next == end ? handOut(Qxml::EndDocument) : readWithQt();
    default:
        return readWithQt();
    }
}

/** Without a root Qt's reader does not even hand out the beginning of the document. */
TokenReader::TokenType TokenReader::readFirst()
{
    const QChar *const root = skipSpace(next);
    next = root;
    if (!is(*root, '<') || !scanStartTag())
        return readWithQt();
    next = root;
    isEmptyElement = false;
    open.clear();
    return handOut(Qxml::StartDocument);
}

inline TokenReader::TokenType TokenReader::readStartTag()
{
    return scanStartTag() ? handOut(Qxml::StartElement) : readWithQt();
}

inline TokenReader::TokenType TokenReader::readEndTag()
{
    return scanEndTag() ? handOut(Qxml::EndElement) : readWithQt();
}

inline TokenReader::TokenType TokenReader::readText()
{
    return scanText() ? handOut(Qxml::Characters) : readWithQt();
}

/** Lets Qt's reader take over from the token that this one has reached. */
TokenReader::TokenType TokenReader::readWithQt()
{
    own.reset(new QXmlStreamReader);
    qtReader = own.get();
    if (!limitsEntities() && hasGrowingEntities(source)) {
        qtReader->raiseError();
        return qtReader->tokenType();
    }
    qtReader->addData(source);
    for (; handedOut > 0; --handedOut)
        qtReader->readNext();
    return qtReader->readNext();
}

/** Scans a start tag, which begins here with "<". */
bool TokenReader::scanStartTag()
{
    const QChar *const begin = next + 1;
    const QChar *at = skipName(begin);
    if (at == begin || at - begin > longestPlainName)
        return false;
    tagName = XmlText(begin, at);
    at = skipSpace(at);
    isEmptyElement = is(*at, '/');
    at += isEmptyElement;
    if (!isEmptyElement)
        open.append(tagName);
    return scanTagEnd(at);
}

/** Scans an end tag, which begins here with "</". */
inline bool TokenReader::scanEndTag()
{
    const QChar *const begin = next + 2;
    const XmlText opened = open[open.size() - 1];
    open.removeLast();
    if (end - begin < opened.size() || !std::equal(opened.begin(), opened.end(), begin))
        return false;
    tagName = XmlText(begin, begin + opened.size());
    return scanTagEnd(skipSpace(tagName.end()));
}

/** Half a surrogate pair does not count as the following character: Qt drops it while decoding. */
inline bool TokenReader::scanTagEnd(const QChar *at)
{
    next = at + 1;
    return is(*at, '>') && (isWithin(next->unicode(), 1, 0xd7ff) || open.isEmpty());
}

/** Scans a text up to the next "<". */
inline bool TokenReader::scanText()
{
    const QChar *const begin = next;
    needsResolving = false;
    for (;;) {
        next = skipOrdinary(next);
        switch (next->unicode()) {
        case '<':
            characters = XmlText(begin, next);
            return true;
        case '&':
            if (!resolveReference(next))
                return false;
            needsResolving = true;
            break;
        case '\r':
            ++next;
            needsResolving = true;
            break;
        case '>':
            if (is(next[-1], ']')) // behind two of them it is an error
                return false;
            ++next;
            break;
        default:
            return false;
        }
    }
}

/** Goes on over a reference and returns the character that it stands for, or 0 if not plain. */
uint TokenReader::resolveReference(const QChar *&at)
{
    const QChar *const begin = at + 1;
    const QChar *behind = begin;
    while (isAscii(behind->unicode(), InName) || is(*behind, '#'))
        ++behind;
    if (!is(*behind, ';') || behind - begin > longestReference)
        return 0;
    at = behind + 1;
    return is(*begin, '#') ? referredCharacter(begin + 1, behind)
                           : predefinedEntity(XmlText(begin, behind));
}

/** Replaces the references in the text, and its line ends. */
void TokenReader::resolveCharacters()
{
    needsResolving = false;
    resolved.resize(characters.size());
    QChar *const begin = resolved.data();
    QChar *out = begin;
    for (const QChar *at = characters.begin(); at != characters.end();) {
        uint code = at->unicode();
        if (code == '&') {
            code = resolveReference(at);
        } else if (code == '\r') {
            code = '\n';
            at += is(at[1], '\n') ? 2 : 1;
        } else {
            ++at;
        }
        *out++ = QChar(ushort(code));
    }
    characters = XmlText(begin, out);
}

XmlText TokenReader::nameFromQt() const
{
    const auto piece = qtReader->name();
    return XmlText(piece.data(), piece.data() + piece.size());
}

XmlText TokenReader::textFromQt() const
{
    const auto piece = qtReader->text();
    return XmlText(piece.data(), piece.data() + piece.size());
}

Size TokenReader::charactersLeft() const
{
    return qtReader ? std::numeric_limits<Size>::max() : Size(end - next);
}

void readFollowingText(TokenReader &xml, QString &value)
{
    if (xml.readNext() == QXmlStreamReader::Characters)
        value = xml.text().toString();
}

} // namespace qvcommon
