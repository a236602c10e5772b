// SPDX-License-Identifier: LGPL-2.1-or-later
#include "pidfilehandler.h"

#include "qtcompat/text.h"
#include "trace/logsource.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/file.h>
#include <unistd.h>

using namespace qvcommon;

namespace
{

/** A failure that writePid() reports; @a format takes the @a arguments one after the other. */
void logFailure(const char *format, const QStringList &arguments)
{
    QString message = QString::fromLatin1(format);
    for (const QString &argument : arguments)
        message = message.arg(argument);
    LogSource{DeviceGroup, "PidFileHandler"}.log(InfoLevel, "writePid", message);
}

QString errorText(int error)
{
    return fromCString(std::strerror(error));
}

int readNumber(FILE *stream)
{
    int number = 0;
    // NOLINTNEXTLINE(cert-err34-c): whatever comes out, only a living process counts
    return std::fscanf(stream, "%d", &number) == 1 ? number : 0;
}

/**
 * Closes a stream's descriptor and frees the stream. What a full file system has left in its
 * buffer is thrown away: it must not be written when the lock is no longer held.
 */
void closeUnwritten(FILE *stream)
{
    __fpurge(stream);
    std::fclose(stream);
}

} // namespace

PidFileHandler::PidFileHandler(const char *path)
    : pidFilePath(path)
{
}

PidFileHandler::~PidFileHandler()
{
    removePid();
}

int PidFileHandler::readPid()
{
    FILE *const stream = std::fopen(pidFilePath, "re");
    if (!stream)
        return 0;
    const int pid = readNumber(stream);
    std::fclose(stream);
    return pid;
}

int PidFileHandler::checkPid()
{
    const int pid = readPid();
    if (pid == 0 || pid == getpid())
        return 0;
    // Any error but "no such process" means that there is one, for example of another user.
    return kill(pid, 0) == -1 && errno == ESRCH ? 0 : pid;
}

int PidFileHandler::writePid()
{
    const QString path = fromCString(pidFilePath);
    const char cannotOpen[] = "Can not open or create [%1]";
    const char cannotWrite[] = "Can not write pid [%1]";

    const int descriptor = open(pidFilePath, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor == -1) {
        logFailure(cannotOpen, QStringList(path));
        return 0;
    }
    FILE *const stream = fdopen(descriptor, "r+");
    if (!stream) {
        logFailure(cannotOpen, QStringList(path));
        return 0; // the descriptor stays open, as documented
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) == -1) {
        const int error = errno;
        readNumber(stream); // read and no more: the file is the other process's now
        std::fclose(stream);
        logFailure(cannotWrite, QStringList(errorText(error)));
        return 0;
    }

    const int pid = getpid();
    // Only "nothing printed" counts: whether the text reaches the file shows later, if at all.
    if (std::fprintf(stream, "%d\n", pid) == 0) {
        logFailure(cannotWrite, QStringList(errorText(errno)));
        closeUnwritten(stream);
        return 0;
    }
    std::fflush(stream);
    if (flock(descriptor, LOCK_UN) == -1) {
        const int error = errno;
        logFailure("Can not unlock pidfile [%1], [%2]", QStringList(path) << errorText(error));
        closeUnwritten(stream);
        return 0;
    }
    closeUnwritten(stream);
    return pid;
}

int PidFileHandler::removePid()
{
    return unlink(pidFilePath);
}
