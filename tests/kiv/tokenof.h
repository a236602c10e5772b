// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_TOKENOF_H
#define TESTS_TOKENOF_H

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QXmlStreamReader>

/** All that can be seen of the token that the reader stands at. */
inline QString tokenOf(const QXmlStreamReader &xml)
{
    QStringList fields;
    fields << xml.tokenString() << xml.name().toString() << xml.namespaceUri().toString()
           << xml.qualifiedName().toString() << xml.text().toString()
           << xml.processingInstructionTarget().toString()
           << xml.processingInstructionData().toString() << xml.dtdName().toString()
           << QString::number(xml.error()) << QString::number(xml.lineNumber())
           << QString::number(xml.columnNumber()) << QString::number(xml.characterOffset())
           << QString::number(xml.atEnd() + 2 * xml.hasError() + 4 * xml.isWhitespace());
    if (xml.hasError())
        fields << xml.errorString();
    if (xml.isStartDocument())
        fields << xml.documentEncoding().toString();
    const QXmlStreamAttributes attributes = xml.attributes();
    for (int i = 0; i < int(attributes.size()); ++i)
        fields << attributes.at(i).qualifiedName().toString()
               << attributes.at(i).value().toString();
    return fields.join(QLatin1String("|"));
}

#endif
