// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bodyreader.h"

#include <QtCore/QAtomicPointer>

namespace qvcommon
{

namespace
{

/** Behind a longer body a reader may hold on to much memory, and has taken long anyway. */
const Size longestBody = 4096;

/** A reader that waits for a body, or null. While it is in use a slot may handle another body. */
QBasicAtomicPointer<QXmlStreamReader> spare = Q_BASIC_ATOMIC_INITIALIZER(nullptr);

QXmlStreamReader *takeReader()
{
    QXmlStreamReader *const kept = spare.fetchAndStoreOrdered(nullptr);
    return kept ? kept : new QXmlStreamReader;
}

} // namespace

BodyReader::BodyReader(const QString &body)
    : body(body)
    , reader(takeReader())
    , source(*reader, body)
{
}

BodyReader::~BodyReader()
{
    if (!isAsGoodAsNew())
        return;
    reader->clear();
    delete spare.fetchAndStoreOrdered(reader.release());
}

// clear() leaves behind what elements that are still open have declared, and the entities of a
// document type. All elements are closed at the end of a document, and a document type needs a "!".
bool BodyReader::isAsGoodAsNew() const
{
    return reader->tokenType() == QXmlStreamReader::EndDocument && !reader->hasError() &&
           body.size() <= longestBody && !body.contains(QLatin1Char('!'));
}

void BodyReader::forget()
{
    delete spare.fetchAndStoreOrdered(nullptr);
}

} // namespace qvcommon
