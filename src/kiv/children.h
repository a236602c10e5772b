// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_CHILDREN_H
#define QVCOMMON_CHILDREN_H

#include "kiv/tokenreader.h"

namespace qvcommon
{

/**
 * Walks over the start tags inside an element, at any depth. What the caller reads in between is
 * left out.
 */
class Children
{
public:
    /**
     * @param element the walk ends at its end tag
     * @param around, outermost elements around it whose end tags end the walk too, or null
     */
    Children(TokenReader &xml, const char *element, const char *around = nullptr,
             const char *outermost = nullptr)
        : xml(xml)
        , ends{element, around, outermost}
        , last(QXmlStreamReader::NoToken)
    {
    }

    /** Reads up to the next start tag; false if there is none. */
    bool next();

    /** Whether the walk has ended at the element's own end tag. */
    bool closed() const;

    /** The token that has ended the walk, or NoToken if nothing was left to read. */
    TokenReader::TokenType lastToken() const { return last; }

private:
    Q_DISABLE_COPY(Children)

    bool isEnd(const XmlText &name) const;

    TokenReader &xml;
    const char *const ends[3];
    TokenReader::TokenType last;
};

} // namespace qvcommon

#endif
