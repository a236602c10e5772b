// SPDX-License-Identifier: LGPL-2.1-or-later

// Its checked variants of the functions below would stand in the way of their definitions.
#undef _FORTIFY_SOURCE

#include "libccalls.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace
{

// The test's own thread has one; threads of Qt and of QtTest call the functions below too.
thread_local LibcCalls *recorder = nullptr;
QStringList recorded;
QString failingCall;
int failingError = 0;
int failingResult = 0;

/** Records a call; if it is to fail, sets errno and returns true. */
bool fails(const QString &call)
{
    if (!recorder)
        return false;
    recorded << call;
    if (recorder->before) {
        LibcCalls *const active = recorder;
        recorder = nullptr; // what the test does in between is not recorded
        active->before(call);
        recorder = active;
    }
    if (call != failingCall)
        return false;
    errno = failingError;
    return true;
}

bool fails(const char *call)
{
    return fails(QString::fromLatin1(call));
}

/** The C library's own function of a name. */
template <typename Function>
Function *system(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

QString lockName(int operation)
{
    return QLatin1String(operation == (LOCK_EX | LOCK_NB) ? "flock(LOCK_EX | LOCK_NB)"
                         : operation == LOCK_UN           ? "flock(LOCK_UN)"
                                                          : "flock(?)");
}

} // namespace

LibcCalls::LibcCalls()
{
    recorded.clear();
    failingCall.clear();
    recorder = this;
}

LibcCalls::~LibcCalls()
{
    recorder = nullptr;
}

QStringList LibcCalls::take()
{
    QStringList taken;
    taken.swap(recorded);
    return taken;
}

void LibcCalls::fail(const char *call, int error, int result)
{
    failingCall = QLatin1String(call);
    failingError = error;
    failingResult = result;
}

// The executable's own definitions come before the C library's, for the library under test too.
#pragma GCC visibility push(default)
extern "C" {

int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const int mode = flags & O_CREAT ? va_arg(arguments, int) : 0;
    va_end(arguments);
    return fails("open") ? failingResult : system(open, "open")(path, flags, mode);
}

FILE *fopen(const char *path, const char *mode)
{
    return fails("fopen") ? nullptr : system(fopen, "fopen")(path, mode);
}

FILE *fdopen(int descriptor, const char *mode) noexcept
{
    typedef FILE *Fdopen(int, const char *);
    return fails("fdopen") ? nullptr
                           : system(static_cast<Fdopen *>(nullptr), "fdopen")(descriptor, mode);
}

int flock(int descriptor, int operation) noexcept
{
    typedef int Flock(int, int);
    return fails(lockName(operation))
               ? failingResult
               : system(static_cast<Flock *>(nullptr), "flock")(descriptor, operation);
}

int fprintf(FILE *stream, const char *format, ...)
{
    if (fails("fprintf"))
        return failingResult;
    va_list arguments;
    va_start(arguments, format);
    const int result = vfprintf(stream, format, arguments);
    va_end(arguments);
    return result;
}

/** What fprintf() is in programs that are built with checks. */
int __fprintf_chk(FILE *stream, int, const char *format, ...)
{
    if (fails("fprintf"))
        return failingResult;
    va_list arguments;
    va_start(arguments, format);
    const int result = vfprintf(stream, format, arguments);
    va_end(arguments);
    return result;
}

int fflush(FILE *stream)
{
    return fails("fflush") ? failingResult : system(fflush, "fflush")(stream);
}

int fclose(FILE *stream)
{
    return fails("fclose") ? failingResult : system(fclose, "fclose")(stream);
}

int close(int descriptor)
{
    return fails("close") ? failingResult : system(close, "close")(descriptor);
}

int kill(pid_t process, int signal) noexcept
{
    typedef int Kill(pid_t, int);
    return fails(QString::fromLatin1("kill(%1, %2)").arg(process).arg(signal))
               ? failingResult
               : system(static_cast<Kill *>(nullptr), "kill")(process, signal);
}

int unlink(const char *path) noexcept
{
    typedef int Unlink(const char *);
    return fails("unlink") ? failingResult : system(static_cast<Unlink *>(nullptr), "unlink")(path);
}
}
#pragma GCC visibility pop
