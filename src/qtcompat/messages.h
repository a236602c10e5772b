// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_QTCOMPAT_MESSAGES_H
#define QVCOMMON_QTCOMPAT_MESSAGES_H

#include <QtCore/QString>
#include <QtCore/QtGlobal>

namespace qvcommon
{

/** Hands a finished line to Qt's message handler, with the category that qDebug() has. */
inline void messageOutput(QtMsgType type, const QString &line)
{
#if QT_VERSION < QT_VERSION_CHECK(5, 0, 0)
    qt_message_output(type, line.toLocal8Bit().constData());
#else
    qt_message_output(type, QMessageLogContext(nullptr, 0, nullptr, "default"), line);
#endif
}

} // namespace qvcommon

#endif
