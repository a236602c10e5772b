// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_QTCOMPAT_TIMERS_H
#define QVCOMMON_QTCOMPAT_TIMERS_H

#include <QtCore/QTimer>

namespace qvcommon
{

/**
 * Timers that keep to their times. Qt 5 and 6, unlike Qt 4, by themselves let a timer be a twentieth
 * of its interval early.
 */
#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
inline void startTimerEvents(QObject *object, int milliseconds)
{
    object->startTimer(milliseconds);
}

inline void startSingleShot(int milliseconds, QObject *receiver, const char *slot)
{
    QTimer::singleShot(milliseconds, receiver, slot);
}

inline void startPrecisely(QTimer *timer, int milliseconds)
{
    timer->start(milliseconds);
}
#else
inline void startTimerEvents(QObject *object, int milliseconds)
{
    object->startTimer(milliseconds, Qt::PreciseTimer);
}

inline void startSingleShot(int milliseconds, QObject *receiver, const char *slot)
{
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, receiver, slot);
}

inline void startPrecisely(QTimer *timer, int milliseconds)
{
    timer->setTimerType(Qt::PreciseTimer);
    timer->start(milliseconds);
}
#endif

} // namespace qvcommon

#endif
