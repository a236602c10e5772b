// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_BODIES_H
#define TESTS_BODIES_H

#include <QtCore/QByteArray>
#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QStringList>

class KivFixture;
class Random;

/** What the client logs of a body that it cannot understand. */
QString reported();

/** Record of a signal: signalled("ok", "7") is "signal: ok(7)". */
QString signalled(const char *name, const QString &arguments);

/**
 * Handles a body without and with the debug output and compares what is said, and the checksum
 * text that is left behind.
 * @return whether all of it was as expected; differences are printed
 */
bool saysOf(KivFixture &fixture, const QString &body, const QStringList &expected,
            const QString &crc32 = QString());

/** The same, against the plain formulation. */
bool likePlain(KivFixture &fixture, const QString &body);

/**
 * Handles a body cut off behind each of its characters: what is said must be as the plain
 * formulation has it, with one report each, and no signal that the whole body does not bring.
 */
bool survivesCuts(KivFixture &fixture, const QString &body);

/** The columns of a test with what is sent as data and what the client makes of it, and rows. */
void addRowsOfData();
void addRowOfData(const char *sent, const char *received);

/** A well-formed or not so well-formed body, by chance. */
QString randomBody(Random &random, bool notification);

#endif
