// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_QTCOMPAT_H
#define QVCOMMON_QTCOMPAT_H

#include "atomics.h"

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QtGlobal>
#include <QtCore/QTimer>
#include <QtCore/QXmlStreamReader>
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
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

/** A piece of text inside an XML reader, without a copy of its own. */
using XmlText = decltype(QXmlStreamReader().name());

/**
 * The text in received bytes, up to the first NUL byte: in Latin-1, or on Qt 4 in the codec that
 * the application has installed for C strings.
 */
inline QString fromCString(const QByteArray &bytes)
{
    const Size length = Size(qstrnlen(bytes.constData(), uint(bytes.size())));
#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
    return QString::fromAscii(bytes.constData(), length);
#else
    return QString::fromLatin1(bytes.constData(), length);
#endif
}

/** Whether the application has installed a codec for C strings, which it can on Qt 4 only. */
inline bool hasCodecForCStrings()
{
#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
    return QTextCodec::codecForCStrings() != nullptr;
#else
    return false;
#endif
}

/**
 * Whether ASCII characters are bytes of the same value in the local 8-bit encoding, which the
 * application can choose up to Qt 5.
 */
inline bool isLocal8BitAscii()
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    const QTextCodec *const codec = QTextCodec::codecForLocale();
    static const QTextCodec *known; // to be so
    if (codec == load(known))
        return true;
    char ascii[0x80];
    for (int i = 0; i < 0x80; ++i)
        ascii[i] = char(i + 1);
    ascii[0x7f] = '\0';
    if (codec && codec->fromUnicode(QString::fromLatin1(ascii)) != ascii)
        return false;
    store(known, codec);
#endif
    return true;
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
