// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_QTCOMPAT_SOCKETS_H
#define QVCOMMON_QTCOMPAT_SOCKETS_H

#include <QtCore/QObject>

/** The signal by which a socket reports errors of a type, for connect(). */
#if QT_VERSION < QT_VERSION_CHECK(5, 15, 0)
#    define QVCOMMON_SOCKET_ERROR_SIGNAL(errorType) SIGNAL(error(errorType))
#else
#    define QVCOMMON_SOCKET_ERROR_SIGNAL(errorType) SIGNAL(errorOccurred(errorType))
#endif

#endif
