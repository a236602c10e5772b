// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TESTS_CHILDPROCESS_H
#define TESTS_CHILDPROCESS_H

#include <QtCore/QtGlobal>

#include <functional>
#include <sys/types.h>

/**
 * A copy of this process that runs one function. Parent and child can wait for each other; the
 * child is killed with the object.
 */
class ChildProcess
{
public:
    /** @param work what the child does; its result is the child's exit status, 0 to 255 */
    explicit ChildProcess(const std::function<int(ChildProcess &)> &work);
    ~ChildProcess();

    pid_t pid() const { return id; }

    /** Tells the other side to go on. */
    void signal();
    /** Waits until the other side says so, or has ended. */
    void await();

    /** Ends the child as nothing else does. */
    void kill();
    /** Waits for the end of the child. @return its exit status, or minus the signal that ended it */
    int wait();

private:
    Q_DISABLE_COPY(ChildProcess)

    pid_t id;
    int readEnd;
    int writeEnd;
};

#endif
