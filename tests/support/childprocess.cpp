// SPDX-License-Identifier: LGPL-2.1-or-later
#include "childprocess.h"

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

ChildProcess::ChildProcess(const std::function<int(ChildProcess &)> &work)
{
    int down[2];
    int up[2];
    if (pipe2(down, O_CLOEXEC) || pipe2(up, O_CLOEXEC))
        qFatal("no pipe");
    id = fork();
    if (id == -1)
        qFatal("no process");
    const bool inChild = id == 0;
    readEnd = inChild ? down[0] : up[0];
    writeEnd = inChild ? up[1] : down[1];
    close(inChild ? down[1] : down[0]);
    close(inChild ? up[0] : up[1]);
    if (inChild)
        _exit(work(*this));
}

ChildProcess::~ChildProcess()
{
    if (id > 0) {
        kill();
        wait();
    }
    close(readEnd);
    close(writeEnd);
}

void ChildProcess::signal()
{
    if (write(writeEnd, "", 1) != 1)
        qFatal("the other process does not listen");
}

void ChildProcess::await()
{
    char byte;
    if (read(readEnd, &byte, 1) < 0)
        qFatal("cannot wait for the other process");
}

void ChildProcess::kill()
{
    ::kill(id, SIGKILL);
}

int ChildProcess::wait()
{
    int status = 0;
    if (waitpid(id, &status, 0) != id)
        qFatal("the child is not there");
    id = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
