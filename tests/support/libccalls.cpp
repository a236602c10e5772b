// SPDX-License-Identifier: LGPL-2.1-or-later

// Its checked variants of the functions below would stand in the way of their definitions.
#undef _FORTIFY_SOURCE

#include "libccalls.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

// The C library's own function of a name.
#define SYSTEM_CALL(name) reinterpret_cast<decltype(&(name))>(dlsym(RTLD_NEXT, #name))

namespace
{

// The test's own thread has one; threads of Qt and of QtTest call the functions below too.
thread_local LibcCalls *active = nullptr;

int systemClose(int descriptor)
{
    static const auto call = SYSTEM_CALL(close);
    return call(descriptor);
}

QByteArray number(long long value)
{
    return QByteArray::number(value);
}

/** Bytes as they are, but NUL bytes as "\0". */
QByteArray visible(const void *bytes, size_t size)
{
    return QByteArray(static_cast<const char *>(bytes), int(size)).replace('\0', "\\0");
}

QByteArray flagNames(int flags)
{
    QByteArray names = (flags & O_ACCMODE) == O_RDONLY   ? "O_RDONLY"
                       : (flags & O_ACCMODE) == O_WRONLY ? "O_WRONLY"
                                                         : "O_RDWR";
    if (flags & O_CREAT)
        names += "|O_CREAT";
    if (flags & O_CLOEXEC)
        names += "|O_CLOEXEC";
    const int others = flags & ~(O_ACCMODE | O_CREAT | O_CLOEXEC);
    return others ? names + "|" + number(others) : names;
}

QByteArray lockName(int operation)
{
    return operation == (LOCK_EX | LOCK_NB) ? "LOCK_EX|LOCK_NB"
           : operation == LOCK_UN           ? "LOCK_UN"
                                            : number(operation);
}

QByteArray whenceName(int whence)
{
    return whence == SEEK_SET ? "SEEK_SET" : number(whence);
}

} // namespace

/** What the replaced functions do with the object that is active. */
class LibcHooks
{
public:
    /** Whether a call with a descriptor is anyone's business. */
    static bool concern(int descriptor)
    {
        return active && (descriptor < 0 || active->names.contains(descriptor));
    }
    static bool concern(FILE *stream) { return active && stream && concern(fileno(stream)); }

    static QByteArray nameOf(int descriptor)
    {
        return active->names.value(descriptor, number(descriptor));
    }
    static QByteArray nameOf(FILE *stream) { return nameOf(fileno(stream)); }
    static void setName(int descriptor, const char *path) { active->names[descriptor] = path; }
    static void forget(int descriptor) { active->names.remove(descriptor); }

    /**
     * Records a call. If it is to fail, sets errno and result().
     * @param subject what the call is about, by which failures are chosen
     * @param rest what follows in the journal
     */
    static bool fails(const char *call, const QByteArray &subject = QByteArray(),
                      const QByteArray &rest = QByteArray());
    static int result() { return failureResult; }

    static int open(const char *name, const char *path, int flags, mode_t mode);
    static bool seekFails(int descriptor, long long offset, int whence);
    static size_t cutSize(size_t size);
    static int print(FILE *stream, const char *format, va_list arguments);
    static void sendToSyslog(int priority, const char *format, va_list arguments);
    static void openSyslog(const char *ident, int option, int facility);
    static bool tellStoppedTime(timeval *time);

private:
    static void record(const char *call, const QByteArray &subject, const QByteArray &rest);

    static int failureResult;
};

int LibcHooks::failureResult = 0;

LibcCalls::LibcCalls(const char *names)
    : syslogIdent(nullptr)
    , nextWriteSize(-1)
    , clockStopped(false)
    , stoppedAt()
{
    record(names);
    active = this;
}

LibcCalls::~LibcCalls()
{
    active = nullptr;
}

void LibcCalls::record(const char *names)
{
    recorded = QByteArray(names).split(' ');
}

QStringList LibcCalls::take()
{
    QStringList taken;
    taken.swap(journal);
    return taken;
}

void LibcCalls::fail(const char *pattern, int error, int result, int times)
{
    const Failure failure = {pattern, error, result, times};
    failures << failure;
}

void LibcCalls::stopFailing()
{
    failures.clear();
    nextWriteSize = -1;
}

void LibcCalls::setTimeOfDay(time_t seconds, long microseconds)
{
    clockStopped = true;
    stoppedAt.tv_sec = seconds;
    stoppedAt.tv_usec = microseconds;
}

void LibcHooks::record(const char *call, const QByteArray &subject, const QByteArray &rest)
{
    QByteArray bytes = call;
    for (const QByteArray &part : {subject, rest}) {
        if (!part.isNull())
            bytes += ' ' + part;
    }
    const QString entry = QString::fromUtf8(bytes);
    LibcCalls *const calls = active;
    calls->journal << entry;
    if (calls->before) {
        active = nullptr; // what the test does in between is not recorded
        calls->before(entry);
        active = calls;
    }
}

bool LibcHooks::fails(const char *call, const QByteArray &subject, const QByteArray &rest)
{
    if (active->recorded.contains(call))
        record(call, subject, rest);
    const QByteArray wanted = subject.isEmpty() ? QByteArray(call) : call + (' ' + subject);
    for (LibcCalls::Failure &failure : active->failures) {
        if (failure.times == 0 || fnmatch(failure.pattern.constData(), wanted.constData(), 0) != 0)
            continue;
        if (failure.times > 0)
            --failure.times;
        failureResult = failure.result;
        errno = failure.error;
        return true;
    }
    return false;
}

int LibcHooks::open(const char *name, const char *path, int flags, mode_t mode)
{
    typedef int (*Open)(const char *, int, ...);
    const Open call = reinterpret_cast<Open>(dlsym(RTLD_NEXT, name));
    if (!active)
        return call(path, flags, mode);
    const bool forbidden = fails("open", path, flagNames(flags));
    int descriptor = forbidden ? result() : call(path, flags, mode);
    if (descriptor < 0) {
        if (active->recorded.contains("open"))
            active->journal.last() += QLatin1String(" failed");
        return descriptor;
    }
    const int wanted = active->descriptors.value(path, descriptor);
    if (descriptor != wanted) {
        dup3(descriptor, wanted, flags & O_CLOEXEC);
        systemClose(descriptor);
        descriptor = wanted;
    }
    setName(descriptor, path);
    return descriptor;
}

bool LibcHooks::seekFails(int descriptor, long long offset, int whence)
{
    return concern(descriptor) &&
           fails("lseek", nameOf(descriptor), number(offset) + ' ' + whenceName(whence));
}

size_t LibcHooks::cutSize(size_t size)
{
    const int limit = active->nextWriteSize;
    active->nextWriteSize = -1;
    return limit >= 0 && size_t(limit) < size ? size_t(limit) : size;
}

int LibcHooks::print(FILE *stream, const char *format, va_list arguments)
{
    return concern(stream) && fails("fprintf", nameOf(stream))
               ? result()
               : vfprintf(stream, format, arguments);
}

void LibcHooks::sendToSyslog(int priority, const char *format, va_list arguments)
{
    char *text = nullptr;
    const bool lost = vasprintf(&text, format, arguments) < 0;
    active->syslogFormat = format;
    active->syslogText = lost ? "(lost)" : text;
    if (!lost)
        std::free(text);
    fails("syslog", number(priority), active->syslogText);
}

void LibcHooks::openSyslog(const char *ident, int option, int facility)
{
    active->syslogIdent = ident;
    fails("openlog", ident, number(option) + ' ' + number(facility));
}

bool LibcHooks::tellStoppedTime(timeval *time)
{
    if (active->clockStopped)
        *time = active->stoppedAt;
    return active->clockStopped;
}

#pragma GCC visibility push(default)
extern "C" {

int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return LibcHooks::open("open", path, flags, mode);
}

int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return LibcHooks::open("open64", path, flags, mode);
}

ssize_t read(int descriptor, void *buffer, size_t size)
{
    static const auto call = SYSTEM_CALL(read);
    if (LibcHooks::concern(descriptor) &&
        LibcHooks::fails("read", LibcHooks::nameOf(descriptor), number((long long)(size))))
        return LibcHooks::result();
    return call(descriptor, buffer, size);
}

ssize_t write(int descriptor, const void *bytes, size_t size)
{
    static const auto call = SYSTEM_CALL(write);
    if (!LibcHooks::concern(descriptor))
        return call(descriptor, bytes, size);
    size = LibcHooks::cutSize(size);
    if (LibcHooks::fails("write", LibcHooks::nameOf(descriptor), visible(bytes, size)))
        return LibcHooks::result();
    return call(descriptor, bytes, size);
}

off_t lseek(int descriptor, off_t offset, int whence) noexcept
{
    static const auto call = SYSTEM_CALL(lseek);
    return LibcHooks::seekFails(descriptor, offset, whence) ? LibcHooks::result()
                                                            : call(descriptor, offset, whence);
}

off64_t lseek64(int descriptor, off64_t offset, int whence) noexcept
{
    static const auto call = SYSTEM_CALL(lseek64);
    return LibcHooks::seekFails(descriptor, offset, whence) ? LibcHooks::result()
                                                            : call(descriptor, offset, whence);
}

int close(int descriptor)
{
    if (LibcHooks::concern(descriptor)) {
        if (LibcHooks::fails("close", LibcHooks::nameOf(descriptor)))
            return LibcHooks::result();
        LibcHooks::forget(descriptor);
    }
    return systemClose(descriptor);
}

int rename(const char *from, const char *to) noexcept
{
    static const auto call = SYSTEM_CALL(rename);
    return active && LibcHooks::fails("rename", from, to) ? LibcHooks::result() : call(from, to);
}

int unlink(const char *path) noexcept
{
    static const auto call = SYSTEM_CALL(unlink);
    return active && LibcHooks::fails("unlink", path) ? LibcHooks::result() : call(path);
}

int flock(int descriptor, int operation) noexcept
{
    static const auto call = SYSTEM_CALL(flock);
    return LibcHooks::concern(descriptor) &&
                   LibcHooks::fails("flock",
                                    LibcHooks::nameOf(descriptor) + ' ' + lockName(operation))
               ? LibcHooks::result()
               : call(descriptor, operation);
}

int kill(pid_t process, int signal) noexcept
{
    static const auto call = SYSTEM_CALL(kill);
    return active && LibcHooks::fails("kill", number(process) + ' ' + number(signal))
               ? LibcHooks::result()
               : call(process, signal);
}

FILE *fopen(const char *path, const char *mode)
{
    static const auto call = SYSTEM_CALL(fopen);
    if (!active)
        return call(path, mode);
    FILE *const stream = LibcHooks::fails("fopen", path, mode) ? nullptr : call(path, mode);
    if (stream)
        LibcHooks::setName(fileno(stream), path);
    return stream;
}

FILE *fdopen(int descriptor, const char *mode) noexcept
{
    static const auto call = SYSTEM_CALL(fdopen);
    return LibcHooks::concern(descriptor) &&
                   LibcHooks::fails("fdopen", LibcHooks::nameOf(descriptor), mode)
               ? nullptr
               : call(descriptor, mode);
}

int fprintf(FILE *stream, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = LibcHooks::print(stream, format, arguments);
    va_end(arguments);
    return result;
}

/** What fprintf() is in programs that are built with checks. */
int __fprintf_chk(FILE *stream, int, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = LibcHooks::print(stream, format, arguments);
    va_end(arguments);
    return result;
}

int fflush(FILE *stream)
{
    static const auto call = SYSTEM_CALL(fflush);
    return LibcHooks::concern(stream) && LibcHooks::fails("fflush", LibcHooks::nameOf(stream))
               ? LibcHooks::result()
               : call(stream);
}

int fclose(FILE *stream)
{
    static const auto call = SYSTEM_CALL(fclose);
    if (LibcHooks::concern(stream)) {
        if (LibcHooks::fails("fclose", LibcHooks::nameOf(stream)))
            return LibcHooks::result();
        LibcHooks::forget(fileno(stream));
    }
    return call(stream);
}

int gettimeofday(timeval *time, void *zone) noexcept
{
    static const auto call = SYSTEM_CALL(gettimeofday);
    if (active) {
        if (LibcHooks::fails("gettimeofday"))
            return LibcHooks::result();
        if (LibcHooks::tellStoppedTime(time))
            return 0;
    }
    return call(time, zone);
}

void openlog(const char *ident, int option, int facility)
{
    static const auto call = SYSTEM_CALL(openlog);
    if (active)
        LibcHooks::openSyslog(ident, option, facility);
    else
        call(ident, option, facility);
}

void syslog(int priority, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    if (active)
        LibcHooks::sendToSyslog(priority, format, arguments);
    else
        vsyslog(priority, format, arguments);
    va_end(arguments);
}

/** What syslog() is in programs that are built with checks, which refuse some formats. */
void __syslog_chk(int, int, const char *format, ...)
{
    if (active)
        LibcHooks::fails("syslog", "checked", format);
}

void closelog()
{
    static const auto call = SYSTEM_CALL(closelog);
    if (active)
        LibcHooks::fails("closelog");
    else
        call();
}
}
#pragma GCC visibility pop
