// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_TEXTSOURCE_H
#define QVCOMMON_TEXTSOURCE_H

#include "qtcompat.h"

#include <memory>

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
    TextSource(QXmlStreamReader &xml, const QString &text);
    ~TextSource();

private:
    Q_DISABLE_COPY(TextSource)

    const QString text; ///< stays as it is whatever the owner does to his while it is read
    std::unique_ptr<QIODevice> device;
};

} // namespace qvcommon

#endif
