// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_ASCIITEXT_H
#define QVCOMMON_ASCIITEXT_H

#include "qtcompat.h"

namespace qvcommon
{

/** A number below 0x80 or 0x100 for a character of ASCII or Latin-1, but not for NUL. */
inline unsigned rangeOf(QChar character)
{
    const ushort code = character.unicode();
    return code | ushort(code - 1);
}

/** Narrows ASCII characters to bytes; returns false, leaving rubbish, if there are others. */
inline bool narrow(char *out, const QChar *from, Size count)
{
    unsigned range = 0;
    for (Size i = 0; i < count; ++i) { // all of them, so that compilers can do several at once
        range |= rangeOf(from[i]);
        out[i] = char(from[i].unicode());
    }
    return range < 0x80;
}

} // namespace qvcommon

#endif
