// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_FILELOCK_H
#define KIVSIM_FILELOCK_H

#include <QtCore/QtGlobal>

#include <string>

namespace kivsim
{

/** A file that one process at a time has locked; the system frees the lock of one that dies. */
class FileLock
{
public:
    FileLock();
    /** Removes the file if the lock is held. */
    ~FileLock();

    /**
     * Creates the file if need be and locks it, or does nothing if this object holds the lock. A
     * file with something in it is nobody's lock, and is left alone.
     * @return 0, EWOULDBLOCK if another process holds the lock, or another error number
     */
    int take(const std::string &path);

private:
    Q_DISABLE_COPY(FileLock)

    bool tryToTake(const std::string &path, int &error);

    int descriptor;
    std::string lockedPath;
};

} // namespace kivsim

#endif
