// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_TEXTS_H
#define TESTS_TEXTS_H

#include <QtCore/QString>

/** The text that a C string means, the same on every Qt. */
inline QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

/** The text in which each byte is one character, whatever the bytes are. */
inline QString latin1(const char *bytes)
{
    return QString::fromLatin1(bytes);
}

#endif
