// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_QTCOMPAT_TIME_H
#define QVCOMMON_QTCOMPAT_TIME_H

#include <QtCore/QDateTime>

namespace qvcommon
{

/**
 * Seconds since 1970-01-01 00:00 UTC, as Qt 4's QDateTime::toTime_t() gives them: the largest uint
 * stands for times before that and from 2106-02-07 06:28:15 UTC on.
 */
inline uint secondsSinceEpoch(const QDateTime &time)
{
    const qint64 milliseconds = time.toMSecsSinceEpoch();
    const qint64 seconds = milliseconds / 1000;
    const uint outOfRange = ~0U;
    return milliseconds < 0 || seconds > qint64(outOfRange) ? outOfRange : uint(seconds);
}

} // namespace qvcommon

#endif
