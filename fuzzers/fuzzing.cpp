// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fuzzing.h"

#include <QtCore/QCoreApplication>

#include <cstdio>
#include <stdint.h>
#include <stdlib.h>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // The same everywhere.
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("TZ", "UTC0", 1);
    static const QCoreApplication application(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz(QByteArray(reinterpret_cast<const char *>(data), int(size)));
    return 0;
}

namespace
{

/** How many bytes behind a first byte belong to it. */
int continuationsOf(uint byte)
{
    return byte >= 0xf8 ? 0 : byte >= 0xf0 ? 3 : byte >= 0xe0 ? 2 : byte >= 0xc0 ? 1 : 0;
}

} // namespace

QString textOf(const QByteArray &bytes)
{
    QString text;
    for (int i = 0; i < bytes.size(); ++i) {
        const uint first = uchar(bytes.at(i));
        const int count = continuationsOf(first);
        uint code = count > 0 ? first & (0x3fU >> count) : first;
        int taken = 0;
        while (taken < count && i + taken + 1 < bytes.size() &&
               (uchar(bytes.at(i + taken + 1)) & 0xc0) == 0x80) {
            code = code << 6 | (uchar(bytes.at(i + taken + 1)) & 0x3fU);
            ++taken;
        }
        if (taken < count || code > 0x10ffff) {
            text += QChar(first);
            continue;
        }
        i += taken;
        if (code > 0xffff)
            text += QChar(QChar::highSurrogate(code));
        text += QChar(code > 0xffff ? QChar::lowSurrogate(code) : ushort(code));
    }
    return text;
}

QString takeLine(QString &text)
{
    const int end = int(text.indexOf(QLatin1Char('\n')));
    const QString line = text.left(end);
    text = end < 0 ? QString() : text.mid(end + 1);
    return line;
}

void requireNone(const QByteArray &difference)
{
    if (difference.isEmpty())
        return;
    std::fprintf(stderr, "%s", difference.constData());
    abort();
}
