// SPDX-License-Identifier: LGPL-2.1-or-later
#include "childprocess.h"

#include <QtCore/QFile>

#include <cerrno>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

pid_t startSelf(const char *role, const QString &argument)
{
    const QByteArray name("test");
    const QByteArray first(role);
    const QByteArray second = QFile::encodeName(argument);
    char *const arguments[] = {const_cast<char *>(name.constData()),
                               const_cast<char *>(first.constData()),
                               const_cast<char *>(second.constData()), nullptr};
    pid_t process = -1;
    if (posix_spawn(&process, "/proc/self/exe", nullptr, nullptr, arguments, environ) != 0)
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
