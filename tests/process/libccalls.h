// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_LIBCCALLS_H
#define TESTS_LIBCCALLS_H

#include <QtCore/QStringList>

#include <functional>

/**
 * Records the process's calls of open, fopen, fdopen, flock, fprintf, fflush, fclose, close, kill
 * and unlink while the object lives, and makes them fail. There is one at a time.
 */
class LibcCalls
{
public:
    LibcCalls();
    ~LibcCalls();

    /** The calls so far, for example "flock(LOCK_UN)"; empties the record. */
    QStringList take();
    /** Lets a call, named as it is recorded, fail with @a error and this result. */
    void fail(const char *call, int error, int result = -1);

    /** If set, it is called before each call, with its name. */
    std::function<void(const QString &call)> before;

private:
    Q_DISABLE_COPY(LibcCalls)
};

#endif
