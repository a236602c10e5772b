// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_TRACELINE_H
#define QVCOMMON_TRACELINE_H

#include "qtcompat/size.h"

#include <cstring>

namespace qvcommon
{

/** The name of a class or function: a QString, or in Latin-1. It must outlive this object. */
class TraceName
{
public:
    TraceName(const QString &text)
        : utf16(text.constData())
        , latin1(nullptr)
        , length(text.size())
    {
    }

    TraceName(const char *text)
        : utf16(nullptr)
        , latin1(text)
        , length(Size(std::strlen(text)))
    {
    }

    Size size() const { return length; }
    QString toString() const;
    /** Copies the name to @a out. @return the end of the copy */
    QChar *write(QChar *out) const;

private:
    const QChar *utf16;
    const char *latin1;
    Size length;
};

/** What a trace line is made of. */
struct TraceFields {
    int number;
    TraceName className;
    TraceName functionName;
    const QString &message;
    int threadOrdinal;
    const char *timestamp;
};

/**
 * Builds the line for @a fields in one pass, in memory of the right size. The chain of QString::arg()
 * calls that it stands for takes twenty times as long.
 */
QString buildTraceLine(const TraceFields &fields);

/**
 * The same line, filled in by one replacement after the other as QString::arg() does it: what is
 * filled in takes part in the next replacement, so texts with placeholders in them need this one.
 */
QString traceLineByArg(const TraceFields &fields);

/**
 * QString::simplified() with the white space that Qt 4 knows; later versions also take U+0085 for
 * white space, but no longer U+180E.
 */
QString simplified(const QString &text);

} // namespace qvcommon

#endif
