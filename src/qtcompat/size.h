// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_QTCOMPAT_SIZE_H
#define QVCOMMON_QTCOMPAT_SIZE_H

#include <QtCore/QString>

namespace qvcommon
{

/** The type of lengths and indexes: int up to Qt 5, 64 bits wide on 64-bit machines with Qt 6. */
using Size = decltype(QString().size());

} // namespace qvcommon

#endif
