// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_ENTITIES_H
#define QVCOMMON_ENTITIES_H

#include <QtCore/QString>

namespace qvcommon
{

/**
 * Whether the document type of a text declares entities that may grow without end when they are
 * replaced: those with a reference of any kind in them, and those of more than 4096 characters.
 */
bool hasGrowingEntities(const QString &xml);

} // namespace qvcommon

#endif
