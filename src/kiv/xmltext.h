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

/** Whether an element's name is @a expected, which most often is decided by the first letter. */
inline bool is(const XmlText &name, const char *expected)
{
    for (const QChar *c = name.data(), *const end = c + name.size(); c != end; ++c, ++expected) {
        if (c->unicode() != uchar(*expected))
            return false;
    }
    return *expected == 0;
}

/** Whether the reader's current element is called @a name. */
inline bool isNamed(const QXmlStreamReader &xml, const char *name)
{
    return is(xml.name(), name);
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

/** Removes the characters that are special in XML: & < > " ' */
void removeSpecialCharacters(QString &text);

/**
 * Reads on up to the end tag of a data element and appends its content as markup: start and end
 * tags without attributes, prefixes or the short form of empty elements, text without special
 * characters. Other tokens leave no trace.
 * @return false if the body is over before that, or could not be read from the outset
 */
bool appendData(QString &markup, QXmlStreamReader &xml);

} // namespace qvcommon

#endif
