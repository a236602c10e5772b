// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/foldermonitor.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace qvlog
{

namespace
{

// A folder may be replaced, or lie on a server that reports nothing.
const int longWait = 1000; // ms
const int shortWait = 200;

} // namespace

FolderMonitor::FolderMonitor()
    : descriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
    , watchesAll(descriptor >= 0)
{
}

FolderMonitor::~FolderMonitor()
{
    if (descriptor >= 0)
        ::close(descriptor);
}

void FolderMonitor::add(const std::string &folder)
{
    const unsigned int events = IN_MODIFY | IN_CREATE | IN_MOVED_TO;
    watchesAll = descriptor >= 0 && ::inotify_add_watch(descriptor, folder.c_str(), events) >= 0 &&
                 watchesAll;
}

void FolderMonitor::wait()
{
    pollfd events = {descriptor, POLLIN, 0};
    if (::poll(&events, 1, watchesAll ? longWait : shortWait) <= 0)
        return;
    char buffer[4096];
    while (::read(descriptor, buffer, sizeof buffer) > 0) {
    }
}

} // namespace qvlog
