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
    return value.contains(QLatin1Char('&')) || value.contains(QLatin1Char('%'));
}

} // namespace

// The value of an entity is the first thing in quotes behind the word. Declarations may also stand
// in another entity's value, so the search goes on behind the word and not behind the value.
bool hasGrowingEntities(const QString &xml)
{
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
