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

/**
 * @def QVCOMMON_INT_ENUM
 * Gives an enumeration the size of an int. Applications may be older than C++11, where the compiler
 * chooses the size by itself.
 */
/**
 * @def QVCOMMON_INT_ENUM_END
 * Names the last enumerator of an enumeration that has none, where it would else hold no number.
 */
#if __cplusplus >= 201103L
#    define QVCOMMON_INT_ENUM : int
#    define QVCOMMON_INT_ENUM_END(name)
#else
#    define QVCOMMON_INT_ENUM
#    define QVCOMMON_INT_ENUM_END(name) name = 0x7fffffff
#endif

#endif
