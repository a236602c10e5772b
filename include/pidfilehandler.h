// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVCOMMON_PIDFILEHANDLER_H
#define QVCOMMON_PIDFILEHANDLER_H

/** @file
 *  @brief The class PidFileHandler. */

#include "qvcommonexport.h"

/**
 * @brief One PID file, by which a daemon finds out whether it is already running.
 *
 * @code
 * PidFileHandler pidFile("/var/run/pumpd.pid");
 * if (pidFile.checkPid() != 0 || pidFile.writePid() == 0)
 *     std::_Exit(1);                   // another one runs: its file must stay
 *
 * const int status = application.exec();
 * return status;                       // the destructor removes the file
 * @endcode
 *
 * The file holds the process id in decimal and a newline. It is created with mode 0644, less the
 * umask, and never truncated: behind a shorter id the end of a longer one is left, which no reader
 * of the first number minds.
 *
 * **What it does not promise.** The lock on the file is held only while the id is written; after
 * that only the id speaks for the daemon. Two daemons that start at the same moment may both find
 * no other one and then write one after the other. An id that the system has given to another
 * process since the daemon died counts as a running daemon.
 *
 * **Destruction always removes the file**, also one that another process has written.
 *
 * **Errors** of writePid() are logged through Trace in group 8, level 2; nothing else is logged.
 *
 * **Threads.** An object belongs to one thread at a time. Objects share nothing but the file.
 */
class QVCOMMON_EXPORT PidFileHandler
{
public:
    /**
     * Takes note of the file; does not touch it.
     * @param path the name of the file; the text is not copied and must outlive the object
     */
    explicit PidFileHandler(const char *path);

    /** Removes the file, whoever wrote it. */
    ~PidFileHandler();

    /** The number that the file begins with; 0 if there is none, or no file. */
    int readPid();

    /**
     * Finds out whether another daemon runs. A process that may not be signalled, because it
     * belongs to another user, counts as running.
     * @return the process id in the file if such a process exists and is not the caller; or 0
     */
    int checkPid();

    /**
     * Writes the caller's process id, unless another process is writing its own at this moment.
     * Creates the file, but not its folder.
     *
     * A file system that is full goes unnoticed: the file is then empty or holds old text. Ask
     * readPid() where that matters. If there is no memory for a stream, the opened descriptor
     * stays open; no program that is executed later inherits it.
     * @return the caller's process id; 0 if it could not be written
     */
    int writePid();

    /**
     * Deletes the file.
     * @return 0, or -1 with the reason in errno
     */
    int removePid();

private:
    Q_DISABLE_COPY(PidFileHandler)

    const char *pidFilePath;
};

#endif
