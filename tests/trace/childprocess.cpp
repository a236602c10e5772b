// SPDX-License-Identifier: LGPL-2.1-or-later
#include "childprocess.h"

#include "emulator.h"

#include <QtCore/QFile>

#include <cerrno>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

pid_t startSelf(const char *role, const QString &argument)
{
    QList<QByteArray> texts = commandFor("/proc/self/exe");
    texts << role << QFile::encodeName(argument);
    std::vector<char *> arguments;
    for (QByteArray &text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);
    pid_t process = -1;
    if (posix_spawn(&process, arguments.front(), nullptr, nullptr, arguments.data(), environ) != 0)
        qFatal("cannot start this program again");
    return process;
}

int waitForExit(pid_t process)
{
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR)
            qFatal("cannot wait for a process");
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
