// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_QTCOMPAT_TEXT_H
#define QVCOMMON_QTCOMPAT_TEXT_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace qvcommon
{

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

/**
 * The same text, to be looked through once. Where it is always in Latin-1 it is the bytes themselves,
 * which must outlive it: a copy of each read would have the C library get and give back its memory
 * each time, and a message of a megabyte would take half as long again.
 */
#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
typedef QString TextOfBytes;
inline TextOfBytes textOf(const QByteArray &bytes)
{
    return fromCString(bytes);
}
#else
typedef QLatin1String TextOfBytes;
inline TextOfBytes textOf(const QByteArray &bytes)
{
    return TextOfBytes(bytes.constData());
}
#endif

/** Splits a text, leaving out empty pieces. */
inline QStringList splitNonEmpty(const QString &text, QChar separator)
{
#if QT_VERSION < QT_VERSION_CHECK(5, 14, 0)
    return text.split(separator, QString::SkipEmptyParts);
#else
    return text.split(separator, Qt::SkipEmptyParts);
#endif
}

} // namespace qvcommon

#endif
