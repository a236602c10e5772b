// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_FAILURE_H
#define KIVCTL_FAILURE_H

#include <stdexcept>
#include <string>

namespace kivctl
{

/** How the program ends. */
enum Status {
    Done = 0,
    DaemonError = 1,
    Usage = 2,
    NoConnection = 3,
    Timeout = 4,
    ConnectionLost = 5,
    Different = 6
};

/** What ends a command before its time. */
class Failure : public std::runtime_error
{
public:
    Failure(Status status, const std::string &message)
        : std::runtime_error(message)
        , failureStatus(status)
    {
    }
    Status status() const { return failureStatus; }
    /** What to add for people. */
    virtual const char *hint() const { return failureStatus == Usage ? " (try --help)" : ""; }

private:
    Status failureStatus;
};

/** A file that cannot be read or written: the command line was right, so help does not help. */
class FileFailure : public Failure
{
public:
    explicit FileFailure(const std::string &message)
        : Failure(Usage, message)
    {
    }
    const char *hint() const override { return ""; }
};

} // namespace kivctl

#endif
