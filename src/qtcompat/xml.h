// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_QTCOMPAT_XML_H
#define QVCOMMON_QTCOMPAT_XML_H

#include <QtCore/QtGlobal>

namespace qvcommon
{

/** Whether XML readers refuse entities that grow too long when they are replaced. */
inline bool limitsEntities()
{
    return QT_VERSION >= QT_VERSION_CHECK(5, 15, 0);
}

} // namespace qvcommon

#endif
