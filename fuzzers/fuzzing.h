// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef FUZZ_FUZZING_H
#define FUZZ_FUZZING_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

/** Feeds what is fuzzed with some bytes. Each fuzzer defines it; there is an application by then. */
void fuzz(const QByteArray &bytes);

/**
 * Any text at all can come of bytes: they are UTF-8, but three bytes may also stand for half of a
 * surrogate pair, and bytes that do not fit in are Latin-1.
 */
QString textOf(const QByteArray &bytes);

/** Takes the first line off a text. */
QString takeLine(QString &text);

/** Ends the fuzzer, which keeps the input, if there is a difference. */
void requireNone(const QByteArray &difference);

#endif
