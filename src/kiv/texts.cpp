// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/texts.h"

namespace qvcommon
{

bool isSimpleText(const QString &text)
{
    for (const QChar character : text) {
        const ushort code = character.unicode();
        if (code >= 0x0590 && (code <= 0x10ff || code >= 0xfb10))
            return false;
    }
    return true;
}

} // namespace qvcommon
