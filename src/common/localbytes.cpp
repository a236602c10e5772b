// SPDX-License-Identifier: LGPL-2.1-or-later
#include "localbytes.h"

#include "asciitext.h"

namespace qvcommon
{

LocalBytes::LocalBytes(const QString &text)
    : ascii(int(text.size()) + 1)
    , bytes(ascii.constData())
{
    if (isLocal8BitAscii() && narrow(ascii.data(), text.constData(), text.size())) {
        ascii[int(text.size())] = '\0';
    } else {
        converted = text.toLocal8Bit();
        bytes = converted.constData();
    }
}

} // namespace qvcommon
