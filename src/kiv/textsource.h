// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_TEXTSOURCE_H
#define QVCOMMON_TEXTSOURCE_H

#include "qtcompat.h"

#include <QtCore/QScopedPointer>

class QIODevice;

namespace qvcommon
{

/**
 * What an XML reader reads a text from, with the tokens and errors that addData() of the text
 * would give. For that the reader would convert all of the text to bytes and back before the first
 * token; a long text is handed to it a few kilobytes at a time instead, and only as far as it
 * reads.
 */
class TextSource
{
public:
    /** @param text must stay as it is while the reader reads */
    TextSource(QXmlStreamReader &xml, const QString &text);
    ~TextSource();

private:
    Q_DISABLE_COPY(TextSource)

    QScopedPointer<QIODevice> device;
};

} // namespace qvcommon

#endif
