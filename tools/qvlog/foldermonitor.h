// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_FOLDERMONITOR_H
#define QVLOG_FOLDERMONITOR_H

#include <string>

namespace qvlog
{

/** Waits for changes in folders. Where the system does not report them, it just waits a while. */
class FolderMonitor
{
public:
    FolderMonitor();
    ~FolderMonitor();

    void add(const std::string &folder);
    /** Returns when something may have changed since the last call. */
    void wait();

private:
    FolderMonitor(const FolderMonitor &) = delete;
    FolderMonitor &operator=(const FolderMonitor &) = delete;

    int descriptor;
    bool watchesAll;
};

} // namespace qvlog

#endif
