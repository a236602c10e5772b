// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_BODYREADER_H
#define QVCOMMON_BODYREADER_H

#include "textsource.h"

namespace qvcommon
{

/**
 * The XML reader of one body. Making a reader takes a quarter of the time of a typical reply, so
 * that the last one is kept for the next body if nothing can be left in it of what it has read.
 */
class BodyReader
{
public:
    explicit BodyReader(const QString &body);
    ~BodyReader();

    QXmlStreamReader &xml() { return *reader; }

    /** Frees the reader that is kept, if there is one. */
    static void forget();

private:
    Q_DISABLE_COPY(BodyReader)

    bool isAsGoodAsNew() const;

    const QString body;
    std::unique_ptr<QXmlStreamReader> reader;
    const TextSource source;
};

} // namespace qvcommon

#endif
