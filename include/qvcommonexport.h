// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMONEXPORT_H
#define QVCOMMONEXPORT_H

#include <QtCore/qglobal.h>

/**
 * @file
 * Marks what libqvcommon offers to its users; everything else stays hidden in the library.
 */

/**
 * @def QVCOMMON_EXPORT
 * Stands before every class, function and variable of the interface.
 */
#if defined(QVCOMMON_LIBRARY)
#    define QVCOMMON_EXPORT Q_DECL_EXPORT
#else
#    define QVCOMMON_EXPORT Q_DECL_IMPORT
#endif

#endif
