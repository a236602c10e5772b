// SPDX-License-Identifier: LGPL-2.1-or-later
#include "filecalls.h"

#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace
{

// The test's own thread has one; threads of Qt and of QtTest call the functions below too.
thread_local FileCalls *record = nullptr;

/** The C library's own function of a name. */
template <typename Function>
Function systemCall(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

int systemOpen(const char *name, const char *path, int flags, mode_t mode)
{
    typedef int (*Open)(const char *, int, ...);
    int descriptor = systemCall<Open>(name)(path, flags, mode);
    if (record)
        record->opened(path, flags, descriptor);
    return descriptor;
}

int systemClose(int descriptor)
{
    typedef int (*Close)(int);
    static const Close close = systemCall<Close>("close");
    return close(descriptor);
}

/** Bytes as they are, but NUL bytes as "\0". */
QByteArray visible(const void *bytes, size_t size)
{
    return QByteArray(static_cast<const char *>(bytes), int(size)).replace('\0', "\\0");
}

QByteArray nameOf(int flags)
{
    QByteArray name = (flags & O_ACCMODE) == O_RDONLY   ? "O_RDONLY"
                      : (flags & O_ACCMODE) == O_WRONLY ? "O_WRONLY"
                                                        : "O_RDWR";
    if (flags & O_CLOEXEC)
        name += "|O_CLOEXEC";
    const int others = flags & ~(O_ACCMODE | O_CLOEXEC);
    if (others)
        name += "|" + QByteArray::number(others);
    return name;
}

} // namespace

FileCalls::FileCalls()
{
    record = this;
}

FileCalls::~FileCalls()
{
    record = nullptr;
}

QStringList FileCalls::take()
{
    QStringList taken;
    taken.swap(entries);
    return taken;
}

void FileCalls::opened(const char *path, int flags, int &descriptor)
{
    const bool failed = descriptor < 0;
    if (!failed && descriptors.contains(path)) {
        const int wanted = descriptors.value(path);
        if (descriptor != wanted) {
            dup3(descriptor, wanted, flags & O_CLOEXEC);
            systemClose(descriptor);
            descriptor = wanted;
        }
    }
    if (!failed)
        names.insert(descriptor, path);
    entries += QString::fromLatin1("open " + QByteArray(path) + " " + nameOf(flags) +
                                   (failed ? " failed" : ""));
}

bool FileCalls::concerns(int descriptor) const
{
    return descriptor < 0 || names.contains(descriptor);
}

void FileCalls::add(int descriptor, const char *call, const QByteArray &rest)
{
    entries += QString::fromLatin1(QByteArray(call) + " " +
                                   names.value(descriptor, QByteArray::number(descriptor)) + rest);
}

const int *FileCalls::answerFor(int descriptor) const
{
    const QHash<QByteArray, int>::const_iterator found = answers.constFind(names.value(descriptor));
    return found == answers.constEnd() ? nullptr : &found.value();
}

/** Who records the calls with a descriptor, if anyone does. */
static FileCalls *recordOf(int descriptor)
{
    return record && record->concerns(descriptor) ? record : nullptr;
}

// The executable's own definitions come before the C library's.

EXPORTED int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return systemOpen("open", path, flags, mode);
}

EXPORTED int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = flags & O_CREAT ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return systemOpen("open64", path, flags, mode);
}

EXPORTED ssize_t read(int descriptor, void *buffer, size_t size)
{
    typedef ssize_t (*Read)(int, void *, size_t);
    static const Read systemRead = systemCall<Read>("read");
    FileCalls *const calls = recordOf(descriptor);
    if (!calls)
        return systemRead(descriptor, buffer, size);
    calls->add(descriptor, "read", " " + QByteArray::number(qulonglong(size)));
    if (const int *const answer = calls->answerFor(descriptor)) {
        errno = EIO;
        return *answer;
    }
    return systemRead(descriptor, buffer, size);
}

EXPORTED ssize_t write(int descriptor, const void *buffer, size_t size)
{
    typedef ssize_t (*Write)(int, const void *, size_t);
    static const Write systemWrite = systemCall<Write>("write");
    FileCalls *const calls = recordOf(descriptor);
    if (!calls)
        return systemWrite(descriptor, buffer, size);
    calls->add(descriptor, "write", " " + visible(buffer, size));
    if (const int *const answer = calls->answerFor(descriptor)) {
        errno = EIO;
        return *answer;
    }
    return systemWrite(descriptor, buffer, size);
}

static void addSeek(int descriptor, long long offset, int whence)
{
    if (FileCalls *const calls = recordOf(descriptor))
        calls->add(descriptor, "lseek",
                   " " + QByteArray::number(offset) +
                       (whence == SEEK_SET ? " SEEK_SET" : " elsewhere"));
}

EXPORTED off_t lseek(int descriptor, off_t offset, int whence) noexcept
{
    typedef off_t (*Seek)(int, off_t, int);
    static const Seek systemSeek = systemCall<Seek>("lseek");
    addSeek(descriptor, offset, whence);
    return systemSeek(descriptor, offset, whence);
}

EXPORTED off64_t lseek64(int descriptor, off64_t offset, int whence) noexcept
{
    typedef off64_t (*Seek)(int, off64_t, int);
    static const Seek systemSeek = systemCall<Seek>("lseek64");
    addSeek(descriptor, offset, whence);
    return systemSeek(descriptor, offset, whence);
}

EXPORTED int close(int descriptor)
{
    if (FileCalls *const calls = recordOf(descriptor)) {
        calls->add(descriptor, "close", QByteArray());
        calls->closed(descriptor);
    }
    return systemClose(descriptor);
}
