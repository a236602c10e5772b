// SPDX-License-Identifier: LGPL-2.1-or-later
#include "program.h"

#include "emulator.h"

#include <QtCore/QFile>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

Program::Program(const char *file, const QStringList &arguments)
{
    QList<QByteArray> texts = commandFor(file);
    for (const QString &argument : arguments)
        texts << QFile::encodeName(argument);
    std::vector<char *> argv;
    for (QByteArray &text : texts)
        argv.push_back(text.data());
    argv.push_back(nullptr);

    int ends[2];
    if (pipe2(ends, O_CLOEXEC))
        qFatal("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    const int error = posix_spawn(&id, argv.front(), &actions, nullptr, argv.data(), environ);
    if (error)
        qFatal("cannot run %s: %s", file, std::strerror(error));
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    output = ends[0];
}

Program::~Program()
{
    if (id > 0) {
        signal(SIGKILL);
        wait();
    }
    close(output);
}

QByteArray Program::readLine()
{
    QByteArray line;
    char character;
    while (TEMP_FAILURE_RETRY(read(output, &character, 1)) == 1 && character != '\n')
        line += character;
    return line;
}

void Program::signal(int number)
{
    kill(id, number);
}

int Program::wait()
{
    int status = 0;
    // Qt 4 handles the signal of a child's end, which interrupts calls.
    if (TEMP_FAILURE_RETRY(waitpid(id, &status, 0)) != id)
        qFatal("the program is not there");
    id = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
