// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_ENTITIES_H
#define QVCOMMON_ENTITIES_H

#include <QtCore/QString>

namespace qvcommon
{

/**
 * Whether the document type of a text declares entities that may grow without end when they are
 * replaced: those of more than 4096 characters, and those with a reference in them. References to
 * characters do not count, unless to one that begins a reference: & or %.
 */
bool hasGrowingEntities(const QString &text);

} // namespace qvcommon

#endif
