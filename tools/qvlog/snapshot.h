// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_SNAPSHOT_H
#define QVLOG_SNAPSHOT_H

#include "qvlog/logfiles.h"

#include <string>
#include <vector>

namespace qvlog
{

/**
 * Copies all files of the logs, as they are, into an archive.
 * @param target the name of the archive; "-" for the standard output
 * @return whether it is complete; if not, error says why in one line
 */
bool writeSnapshot(const std::vector<LogName> &logs, const std::string &target, std::string &error);

} // namespace qvlog

#endif
