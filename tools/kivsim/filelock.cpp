// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/filelock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kivsim
{

namespace
{

// Not created and opened in one call: in a folder like /tmp the system refuses that to root for the
// file that a user's kivsim has left.
int openOrCreate(const char *path)
{
    const int flags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const int descriptor = open(path, flags);
    if (descriptor >= 0 || errno != ENOENT)
        return descriptor;
    return open(path, flags | O_CREAT | O_EXCL, 0600);
}

bool isEmptyFile(int descriptor)
{
    struct stat status;
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0;
}

/** Whether a descriptor's file still is the one with that name. */
bool hasName(int descriptor, const char *path)
{
    struct stat opened;
    struct stat named;
    return fstat(descriptor, &opened) == 0 && lstat(path, &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

} // namespace

FileLock::FileLock()
    : descriptor(-1)
{
}

FileLock::~FileLock()
{
    if (descriptor < 0)
        return;
    // The name goes first. A process that has opened the file gets a lock without a name then, and
    // tries again.
    unlink(lockedPath.c_str());
    close(descriptor);
}

int FileLock::take(const std::string &path)
{
    int error = 0;
    while (descriptor < 0 && !tryToTake(path, error)) {
    }
    return error;
}

/** @return false if another process has created or removed the file meanwhile */
bool FileLock::tryToTake(const std::string &path, int &error)
{
    const int opened = openOrCreate(path.c_str());
    if (opened < 0) {
        error = errno;
        return error != EEXIST;
    }
    error = isEmptyFile(opened) ? 0 : EEXIST;
    if (error == 0 && flock(opened, LOCK_EX | LOCK_NB) != 0)
        error = errno;
    if (error != 0 || !hasName(opened, path.c_str())) {
        close(opened);
        return error != 0;
    }
    descriptor = opened;
    lockedPath = path;
    return true;
}

} // namespace kivsim
