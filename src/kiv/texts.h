// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_TEXTS_H
#define QVCOMMON_TEXTS_H

#include <QtCore/QString>

namespace qvcommon
{

/**
 * Whether a text has no character of the scripts that need complex layout: signals carry no others.
 * Qt's own function of that name gives different answers on different versions.
 */
bool isSimpleText(const QString &text);

} // namespace qvcommon

#endif
