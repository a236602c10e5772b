// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/entities.h"

#include "qtcompat/size.h"

#include <algorithm>

namespace qvcommon
{

namespace
{

/** What later versions of Qt let an entity grow to. */
const Size longestEntity = 4096;

bool isQuote(QChar character)
{
    return character == QLatin1Char('"') || character == QLatin1Char('\'');
}

/** Whether the "&" at a place begins a reference to a character that begins no reference itself. */
bool refersToOtherCharacter(const QString &value, Size at)
{
    const Size end = value.indexOf(QLatin1Char(';'), at);
    if (end < 0 || value.at(at + 1) != QLatin1Char('#'))
        return false;
    const bool isHexadecimal = value.at(at + 2) == QLatin1Char('x');
    const Size digits = at + 2 + (isHexadecimal ? 1 : 0);
    bool isNumber = false;
    const uint code = value.mid(digits, end - digits).toUInt(&isNumber, isHexadecimal ? 16 : 10);
    return isNumber && code != '&' && code != '%';
}

/** Whether there is something in a value that may be replaced by something longer. */
bool hasReferences(const QString &value)
{
    for (Size at = 0; at < value.size(); ++at) {
        const QChar character = value.at(at);
        if (character == QLatin1Char('%') ||
            (character == QLatin1Char('&') && !refersToOtherCharacter(value, at)))
            return true;
    }
    return false;
}

/** Whether a text has characters that Qt 4 may drop: NULs and surrogates. */
bool hasDroppable(const QString &text)
{
    for (const QChar character : text) {
        const ushort code = character.unicode();
        if (code == 0 || (code >= 0xd800 && code <= 0xdfff))
            return true;
    }
    return false;
}

/**
 * A text as the reader of Qt 4 sees it. Its UTF-8 is without halves of surrogate pairs, and the reader
 * passes over NULs: either could stand within a word that is looked for.
 */
QString asRead(const QString &text)
{
    if (!hasDroppable(text))
        return text;
    const QByteArray bytes = text.toUtf8();
    QString seen = QString::fromUtf8(bytes.constData(), bytes.size());
    seen.remove(QChar(0));
    return seen;
}

/** Whether the declaration that goes on at a place may be one of an entity that grows. */
bool mayGrow(const QString &xml, Size at)
{
    const Size last = std::min(xml.size(), at + longestEntity);
    while (at < last && !isQuote(xml.at(at)))
        ++at;
    if (at == last)
        return at < xml.size();
    QString value = xml.mid(at + 1, longestEntity + 1);
    const Size size = value.indexOf(xml.at(at));
    if (size >= 0)
        value.truncate(size);
    else if (value.size() > longestEntity)
        return true;
    return hasReferences(value);
}

} // namespace

// The value of an entity is the first thing in quotes behind the word. Declarations may also stand
// in another entity's value, so the search goes on behind the word and not behind the value.
bool hasGrowingEntities(const QString &text)
{
    const QString xml = asRead(text);
    const QString word = QLatin1String("<!ENTITY");
    Size at = xml.indexOf(QLatin1String("<!DOCTYPE"));
    if (at < 0)
        return false;
    while ((at = xml.indexOf(word, at)) >= 0) {
        at += word.size();
        if (mayGrow(xml, at))
            return true;
    }
    return false;
}

} // namespace qvcommon
