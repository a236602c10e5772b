// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_XMLTEXT_H
#define QVCOMMON_XMLTEXT_H

#include "qtcompat.h"

namespace qvcommon
{

/**
 * Whether a text has no character of the scripts that need complex layout. Qt's own function of
 * that name gives different answers on different versions; signals depend on this one.
 */
bool isSimpleText(const QString &text);

/** Whether the reader's current element is called @a name. */
inline bool isNamed(const QXmlStreamReader &xml, const char *name)
{
    return xml.name() == QLatin1String(name);
}

/** Reads one more token; if it is text it becomes @a value, otherwise @a value stays. */
void readFollowingText(QXmlStreamReader &xml, QString &value);

/** Whether there is nothing more to read. */
inline bool isFinished(const QXmlStreamReader &xml)
{
    return xml.atEnd() || xml.hasError();
}

/** Whether a body ends before its elements are closed, but is in order as far as it goes. */
inline bool isCutOff(const QXmlStreamReader &xml)
{
    return xml.error() == QXmlStreamReader::PrematureEndOfDocumentError;
}

/** Whether a body is over for a handler that has just read @a token. */
inline bool isOver(QXmlStreamReader::TokenType token)
{
    return token == QXmlStreamReader::Invalid || token == QXmlStreamReader::EndDocument;
}

/** Removes the characters that are special in XML, & < > " ', from @a from on. */
void removeSpecialCharacters(QString &text, Size from);

/**
 * Appends the reader's current token as markup: start and end tags without attributes, prefixes or
 * the short form of empty elements, text without special characters. Other
 * tokens leave no trace.
 */
void appendMarkup(QString &markup, const QXmlStreamReader &xml);

} // namespace qvcommon

#endif
