// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_ODDTEXTS_H
#define TESTS_ODDTEXTS_H

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

class Random;

/** What one call logs. */
struct LogCall {
    QString className;
    QString function;
    QString message;
};

/** Messages of every length at which the form of a line changes, with every kind of white space. */
QList<LogCall> oddMessages();
/** Names that are longer than their columns, or hold white space. */
QList<LogCall> oddNames();
/** Texts with placeholders of QString::arg(), which change the line itself. */
QList<LogCall> oddPlaceholders();
/** Names and a message of any characters but placeholders. */
LogCall randomCall(Random &random);

/** A text as it stands in a line: white space simplified as on Qt 4, in Latin-1. */
QByteArray simplifiedLatin1(const QString &text);
/** A text as it stands in a file. */
QByteArray latin1(const QString &text);

#endif
