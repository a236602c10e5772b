// SPDX-License-Identifier: LGPL-2.1-or-later
#include "toolprocess.h"

#include "emulator.h"
#include "waiting.h"

#include <QtCore/QFile>
#include <QtCore/QList>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

QByteArray contentOf(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

int create(const QString &name)
{
    const QByteArray path = QFile::encodeName(name);
    const int mode = O_CREAT | O_TRUNC | O_RDWR | O_APPEND | O_CLOEXEC;
    const int descriptor = ::open(path.constData(), mode, 0600);
    if (descriptor < 0)
        qFatal("cannot create %s", path.constData());
    return descriptor;
}

QString output(const TemporaryFolder &folder)
{
    return folder.filePath(QLatin1String("output"));
}

QString errors(const TemporaryFolder &folder)
{
    return folder.filePath(QLatin1String("errors"));
}

} // namespace

ToolProcess::ToolProcess(const char *name)
    : program(name)
    , process(-1)
    , inputEnd(-1)
    , closedStream(-1)
{
}

ToolProcess::~ToolProcess()
{
    kill();
    closeInput();
}

void ToolProcess::launch(const QStringList &arguments, int input, int outputDescriptor)
{
    kill();
    ending.clear();
    QList<QByteArray> texts = commandFor(program);
    for (const QString &argument : arguments)
        texts << argument.toUtf8();
    std::vector<char *> pointers;
    for (QByteArray &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    const int errorDescriptor = create(::errors(folder));
    process = ::fork();
    if (process == 0) {
        // A test that crashes must not leave it behind.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::setenv("TERM", "xterm", 1);
        ::dup2(input, STDIN_FILENO);
        ::dup2(outputDescriptor, STDOUT_FILENO);
        ::dup2(errorDescriptor, STDERR_FILENO);
        if (closedStream >= 0)
            ::close(closedStream);
        ::execv(pointers.front(), pointers.data());
        ::_exit(127);
    }
    ::close(input);
    ::close(outputDescriptor);
    ::close(errorDescriptor);
}

QByteArray ToolProcess::run(const QStringList &arguments, const QByteArray &input)
{
    const int file = create(folder.filePath(QLatin1String("input")));
    if (::write(file, input.constData(), std::size_t(input.size())) != ssize_t(input.size()) ||
        ::lseek(file, 0, SEEK_SET) != 0)
        qFatal("cannot write the input");
    launch(arguments, file, create(::output(folder)));
    return end();
}

QByteArray ToolProcess::runFrom(const QString &input, const QStringList &arguments)
{
    const QByteArray name = QFile::encodeName(input);
    const int descriptor = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        qFatal("cannot open %s", name.constData());
    launch(arguments, descriptor, create(::output(folder)));
    return end();
}

QByteArray ToolProcess::runWithout(int stream, const QStringList &arguments)
{
    closedStream = stream;
    const QByteArray result = run(arguments);
    closedStream = -1;
    return result;
}

QByteArray ToolProcess::runOnFullDisk(const QStringList &arguments)
{
    launch(arguments, ::open("/dev/null", O_RDONLY | O_CLOEXEC),
           ::open("/dev/full", O_WRONLY | O_CLOEXEC));
    return end();
}

QByteArray ToolProcess::runOnTerminal(const QStringList &arguments)
{
    const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0)
        qFatal("no terminal");
    const int terminal = ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    launch(arguments, ::open("/dev/null", O_RDONLY | O_CLOEXEC), terminal);
    terminalOutput = readTerminal(master);
    ::close(master);
    create(::output(folder));
    QFile file(::output(folder));
    if (!file.open(QIODevice::WriteOnly) || file.write(terminalOutput) < 0)
        qFatal("cannot keep the output");
    return end();
}

/** Reads until the process has ended, as a terminal with nobody there has no more to say. */
QByteArray ToolProcess::readTerminal(int master)
{
    QByteArray all;
    waitFor([&]() {
        const bool ended = hasEnded();
        char buffer[4096];
        ssize_t length = 0;
        while ((length = ::read(master, buffer, sizeof buffer)) > 0)
            all.append(buffer, int(length));
        return ended;
    });
    return all.replace("\r\n", "\n");
}

void ToolProcess::start(const QStringList &arguments)
{
    closeInput();
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        qFatal("no pipe");
    inputEnd = ends[1];
    launch(arguments, ends[0], create(::output(folder)));
}

void ToolProcess::writeInput(const QByteArray &bytes)
{
    if (::write(inputEnd, bytes.constData(), std::size_t(bytes.size())) != ssize_t(bytes.size()))
        qFatal("cannot write the input");
}

void ToolProcess::closeInput()
{
    if (inputEnd >= 0)
        ::close(inputEnd);
    inputEnd = -1;
}

bool ToolProcess::waitForOutput(const QByteArray &text)
{
    return waitFor([&]() { return output().contains(text); });
}

bool ToolProcess::waitForErrors(const QByteArray &text)
{
    return waitFor([&]() { return errors().contains(text); });
}

void ToolProcess::send(int signal)
{
    if (!hasEnded())
        ::kill(process, signal);
}

bool ToolProcess::hasEnded()
{
    if (process < 0)
        return true;
    int status = 0;
    const pid_t result = ::waitpid(process, &status, WNOHANG);
    if (result == 0 || (result < 0 && errno == EINTR))
        return false;
    process = -1;
    ending = WIFEXITED(status) ? "exit " + QByteArray::number(WEXITSTATUS(status))
                               : "signal " + QByteArray::number(WTERMSIG(status));
    return true;
}

QByteArray ToolProcess::end()
{
    return waitFor([&]() { return hasEnded(); }) ? ending : QByteArray("still running");
}

void ToolProcess::kill()
{
    send(SIGKILL);
    // Nothing may happen before it is gone: the kernel closes its connections before its servers,
    // and a client that is told of that in between would connect to a server that is dying.
    siginfo_t gone;
    while (process > 0 && ::waitid(P_PID, id_t(process), &gone, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR)
        continue;
    end();
}

QByteArray ToolProcess::output() const
{
    return contentOf(::output(folder));
}

QByteArray ToolProcess::errors() const
{
    return contentOf(::errors(folder));
}

QByteArray joined(const QList<QByteArray> &texts, char separator)
{
    QByteArray all;
    for (int i = 0; i < int(texts.size()); ++i)
        all += (i > 0 ? QByteArray(1, separator) : QByteArray()) + texts.at(i);
    return all;
}

QStringList words(const char *text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '));
}
