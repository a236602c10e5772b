// SPDX-License-Identifier: LGPL-2.1-or-later
#include "textreader.h"

#include "xmltext.h"

#include <QtCore/QAtomicPointer>

namespace qvcommon
{

namespace
{

/** Behind a longer text a reader may hold on to much memory, and has taken long anyway. */
const Size longestText = 4096;

/** What is read to the end for the sake of the reader: it takes less time than making another. */
const Size shortRest = 48;

/** A reader that waits for a text, or null. While it is in use a slot may need another one. */
QBasicAtomicPointer<QXmlStreamReader> spare = Q_BASIC_ATOMIC_INITIALIZER(nullptr);

QXmlStreamReader *takeReader()
{
    QXmlStreamReader *const kept = spare.fetchAndStoreOrdered(nullptr);
    return kept ? kept : new QXmlStreamReader;
}

} // namespace

TextReader::TextReader(const QString &text)
    : text(text)
    , reader(takeReader())
    , source(*reader, text)
{
}

TextReader::~TextReader()
{
    if (!becomesAsGoodAsNew())
        return;
    reader->clear();
    delete spare.fetchAndStoreOrdered(reader.release());
}

// clear() leaves behind what elements that are still open have declared, and the entities of a
// document type. All elements are closed at the end of a document, and a document type needs a "!".
bool TextReader::becomesAsGoodAsNew()
{
    if (text.size() > longestText || text.contains(QLatin1Char('!')))
        return false;
    if (text.size() - reader->characterOffset() <= shortRest) {
        while (!isFinished(*reader))
            reader->readNext();
    }
    return reader->tokenType() == QXmlStreamReader::EndDocument && !reader->hasError();
}

void TextReader::forget()
{
    delete spare.fetchAndStoreOrdered(nullptr);
}

} // namespace qvcommon
