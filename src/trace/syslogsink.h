// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_SYSLOGSINK_H
#define QVCOMMON_SYSLOGSINK_H

#include <QtCore/QString>

namespace qvcommon
{

/** Opens syslog under a name; the bytes of the name are kept as long as syslog needs them. */
void openSyslog(const QString &ident);

void closeSyslog();

/** Sends a message of levels 2 to 5 to syslog, with the priority of its level. */
void writeToSyslog(int level, const QString &message);

} // namespace qvcommon

#endif
