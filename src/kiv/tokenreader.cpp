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

const uint asciiEnd = 0x80;

/**
 * The classes of the characters of ASCII: 1 for ordinary ones, 3 for those that are in names too, 7
 * for those that names may begin with. A table, as it is asked for each character of a text.
 */
const uchar classes[asciiEnd + 1] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, // tabulator and line feed
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, //
    1, 1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 1, 1, 3, 3, 1, // all but &
    3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 1, 1, 0, 1, 0, 1, // all but < and >
    1, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, //
    7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 1, 1, 1, 1, 7, //
    1, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, //
    7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 1, 1, 1, 1, 1, //
    0,                                              // all others
};

inline bool isSpace(uint code)
{
    return code == ' ' || code == '\r' || code == '\n' || code == '\t';
}

inline bool isAscii(uint code, CharacterClass wanted)
{
    return (classes[std::min(code, asciiEnd)] & wanted) != 0;
}

inline bool isWithin(uint code, uint first, uint last)
{
    return code - first <= last - first;
}

/** Qt's reader gets surrogates, and all from U+FDD0 on: Qt 4 replaces some of those. */
inline bool isOrdinaryBeyondAscii(uint code)
{
    return isWithin(code, asciiEnd, 0xd7ff) || isWithin(code, 0xe000, 0xfdcf);
}

// All texts here end with a NUL, which stops each of these.

inline const QChar *skipSpace(const QChar *at)
{
    while (isSpace(at->unicode()))
        ++at;
    return at;
}

inline const QChar *skipInName(const QChar *at)
{
    while (isAscii(at->unicode(), InName))
        ++at;
    return at;
}

inline const QChar *skipOrdinary(const QChar *at)
{
    while (isAscii(at->unicode(), Ordinary))
        ++at;
    return at;
}

inline const QChar *skipBeyondAscii(const QChar *at)
{
    while (isOrdinaryBeyondAscii(at->unicode()))
        ++at;
    return at;
}

/** Half a surrogate pair does not count as the following character: Qt drops it while decoding. */
inline bool isPlainBehindTag(QChar character)
{
    return isWithin(character.unicode(), 1, 0xd7ff);
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
    const bool isUsual = code >= ' ' ? code < 0xd800 : isSpace(code);
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
    , place(BeforeRoot)
    , depth(0)
    , handedOut(0)
    , needsResolving(false)
    , tagName()
    , characters()
    , qtReader(nullptr)
{
}

TokenReader::TokenReader(QXmlStreamReader &xml)
    : next(nullptr)
    , end(nullptr)
    , type(Qxml::NoToken)
    , place(WithQt)
    , depth(0)
    , handedOut(0)
    , needsResolving(false)
    , tagName()
    , characters()
    , qtReader(&xml)
{
}

TokenReader::TokenType TokenReader::readNext()
{
    if (place != InElement)
        return readElsewhere();
    if (!is(*next, '<'))
        return readText();
    return is(next[1], '/') ? readEndTag() : readStartTag();
}

inline TokenReader::TokenType TokenReader::handOut(TokenType token)
{
    ++handedOut;
    return type = token;
}

TokenReader::TokenType TokenReader::readElsewhere()
{
    switch (place) {
    case BeforeRoot:
        return readFirst();
    case AtRoot:
        place = depth == 0 ? InEmptyElement : InElement;
        return handOut(Qxml::StartElement);
    case InEmptyElement:
        place = depth == 0 ? BehindRoot : InElement;
        return handOut(Qxml::EndElement);
    case BehindRoot:
        return readLast();
    default:
        return qtReader->readNext();
    }
}

/** Without a root Qt's reader does not even hand out the beginning of the document. */
TokenReader::TokenType TokenReader::readFirst()
{
    next = skipSpace(next);
    if (!is(*next, '<') || !scanStartTag())
        return readWithQt();
    place = AtRoot;
    return handOut(Qxml::StartDocument);
}

TokenReader::TokenType TokenReader::readLast()
{
    next = skipSpace(next);
    const bool isLast = next == end && type == Qxml::EndElement;
    return isLast ? handOut(Qxml::EndDocument) : readWithQt();
}

inline TokenReader::TokenType TokenReader::readStartTag()
{
    return scanStartTag() ? handOut(Qxml::StartElement) : readWithQt();
}

inline TokenReader::TokenType TokenReader::readEndTag()
{
    return scanEndTag() ? handOut(Qxml::EndElement) : readWithQt();
}

/** Lets Qt's reader take over from the token that this one has reached. */
TokenReader::TokenType TokenReader::readWithQt()
{
    place = WithQt;
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
    if (!isAscii(begin->unicode(), NameStart))
        return false;
    const QChar *const behind = skipInName(begin + 1);
    if (behind - begin > longestPlainName || depth == DeepestPlain)
        return false;
    const QChar *at = skipSpace(behind);
    const bool isEmpty = is(*at, '/');
    if (isEmpty)
        ++at;
    if (!is(*at, '>') || (!isPlainBehindTag(at[1]) && !(isEmpty && depth == 0)))
        return false;
    next = at + 1;
    tagName = XmlText(begin, behind);
    if (isEmpty)
        place = InEmptyElement;
    else
        open[depth++] = XmlText(begin, behind);
    return true;
}

/** Scans an end tag, which begins here with "</". */
inline bool TokenReader::scanEndTag()
{
    const XmlText name = open[--depth];
    const QChar *at = next + 2;
    for (const QChar character : name) {
        if (*at != character)
            return false;
        ++at;
    }
    tagName = name;
    at = skipSpace(at);
    if (depth == 0)
        place = BehindRoot;
    next = at + 1;
    return is(*at, '>') && (isPlainBehindTag(*next) || depth == 0);
}

/** Reads a text up to the next "<". */
inline TokenReader::TokenType TokenReader::readText()
{
    const QChar *const begin = next;
    next = skipOrdinary(begin);
    characters = XmlText(begin, next);
    needsResolving = false;
    return is(*next, '<') ? handOut(Qxml::Characters) : readOnText();
}

/** Reads on in a text in which not all is ordinary. */
TokenReader::TokenType TokenReader::readOnText()
{
    const QChar *at = next;
    for (; !is(*at, '<'); at = skipOrdinary(at)) {
        const QChar *const begin = at;
        switch (at->unicode()) {
        case '&':
            if (!resolveReference(at))
                return readWithQt();
            needsResolving = true;
            break;
        case '\r':
            ++at;
            needsResolving = true;
            break;
        case '>':
            if (is(at[-1], ']')) // behind two of them it is an error
                return readWithQt();
            ++at;
            break;
        default:
            at = skipBeyondAscii(at);
            if (at == begin)
                return readWithQt();
        }
    }
    next = at;
    characters = XmlText(characters.begin(), at);
    return handOut(Qxml::Characters);
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
