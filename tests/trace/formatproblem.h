// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_FORMATPROBLEM_H
#define TESTS_FORMATPROBLEM_H

#include <QtCore/QByteArray>

#include <cstddef>
#include <printf.h>

/** What the C library's own parser says about a format, against the arguments there are. */
inline QByteArray formatProblem(const QByteArray &format)
{
    int types[64];
    const std::size_t count = parse_printf_format(format.constData(), 64, types);
    if (count > 8)
        return "too many arguments";
    for (std::size_t i = 0; i < count; ++i) {
        if ((types[i] & ~PA_FLAG_MASK) == PA_WSTRING || (types[i] & ~PA_FLAG_MASK) == PA_WCHAR)
            return "wide";
    }
    return QByteArray();
}

#endif
