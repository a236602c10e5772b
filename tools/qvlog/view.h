// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_VIEW_H
#define QVLOG_VIEW_H

#include "qvlog/logreader.h"
#include "qvlog/options.h"

#include <functional>
#include <memory>
#include <vector>

namespace qvlog
{

typedef std::vector<std::unique_ptr<LogReader>> LogReaders;
/** Takes an entry; @return whether to go on */
typedef std::function<bool(const Entry &)> EntryTaker;

/**
 * Hands on the entries that there are now: log by log, or sorted by time.
 * @return whether it was not stopped
 */
bool handOnEntries(const LogReaders &readers, bool byTime, const EntryTaker &take);

} // namespace qvlog

#endif
