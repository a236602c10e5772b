// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/children.h"

namespace qvcommon
{

bool Children::next()
{
    last = QXmlStreamReader::NoToken;
    if (isFinished(xml))
        return false;
    for (;;) {
        last = xml.readNext();
        if (last == QXmlStreamReader::StartElement)
            return true;
        if (isOver(last) || (last == QXmlStreamReader::EndElement && isEnd(xml.name())))
            return false;
    }
}

bool Children::closed() const
{
    return last == QXmlStreamReader::EndElement && is(xml.name(), ends[0]);
}

bool Children::isEnd(const XmlText &name) const
{
    for (const char *const end : ends) {
        if (end && is(name, end))
            return true;
    }
    return false;
}

} // namespace qvcommon
