// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_QTCOMPAT_H
#define QVCOMMON_QTCOMPAT_H

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QtGlobal>
#include <QtCore/QTimer>
#include <QtCore/QXmlStreamReader>
#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
#    include <QtCore/QTextCodec>
#endif

/**
 * @file
 * All that differs between Qt 4, 5 and 6. What can be observed from outside comes out on each of
 * them as it does on Qt 4.
 */
namespace qvcommon
{

/** The type of lengths and indexes: int up to Qt 5, 64 bits wide on 64-bit machines with Qt 6. */
using Size = decltype(QString().size());

/** Whether XML readers refuse entities that grow too long when they are replaced. */
inline bool limitsEntities()
{
    return QT_VERSION >= QT_VERSION_CHECK(5, 15, 0);
}

/**
 * The text in received bytes, up to the first NUL byte: in Latin-1, or on Qt 4 in the codec that
 * the application has installed for C strings.
 */
inline QString fromCString(const QByteArray &bytes)
{
#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
    return QString::fromAscii(bytes.constData());
#else
    return QString::fromLatin1(bytes.constData());
#endif
}

/** Splits a text, leaving out empty pieces. */
inline QStringList splitNonEmpty(const QString &text, QChar separator)
{
#if QT_VERSION < QT_VERSION_CHECK(5, 14, 0)
    return text.split(separator, QString::SkipEmptyParts);
#else
    return text.split(separator, Qt::SkipEmptyParts);
#endif
}

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

/** Hands a finished line to Qt's message handler, with the category that qDebug() has. */
inline void messageOutput(QtMsgType type, const QString &line)
{
#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
    qt_message_output(type, line.toLocal8Bit().constData());
#else
    qt_message_output(type, QMessageLogContext(nullptr, 0, nullptr, "default"), line);
#endif
}

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

/** The signal by which a socket of class @a error reports errors, for connect(). */
#if QT_VERSION < QT_VERSION_CHECK(5, 15, 0)
#    define QVCOMMON_SOCKET_ERROR_SIGNAL(errorType) SIGNAL(error(errorType))
#else
#    define QVCOMMON_SOCKET_ERROR_SIGNAL(errorType) SIGNAL(errorOccurred(errorType))
#endif

} // namespace qvcommon

#endif
