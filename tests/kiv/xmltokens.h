// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_XMLTOKENS_H
#define TESTS_XMLTOKENS_H

#include "plainreceiver.h"
#include "tokenof.h"

/** Reads on to the end, and a little further: what is not there stays away. */
inline QStringList tokensOf(QXmlStreamReader &xml)
{
    QStringList tokens;
    for (int further = 3; further > 0; further -= xml.atEnd() || xml.hasError()) {
        xml.readNext();
        tokens << tokenOf(xml);
    }
    return tokens;
}

/** The first token that is not as a new reader finds it in the text, or an empty text. */
inline QByteArray differenceToNewReader(const QString &text, const QStringList &tokens)
{
    QXmlStreamReader plain;
    plain.addData(text);
    const QStringList expected = tokensOf(plain);
    for (int i = 0; i < int(expected.size()); ++i) {
        if (tokens.value(i) != expected.at(i))
            return shown(tokens.value(i).left(500)) + " instead of " +
                   shown(expected.at(i).left(500));
    }
    return tokens.size() == expected.size() ? QByteArray() : QByteArray("there are more tokens");
}

#endif
