// SPDX-License-Identifier: LGPL-2.1-or-later
#include "libcfaults.h"

#include <QtCore/QFile>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <mutex>
#include <sys/types.h>
#include <unistd.h>

namespace
{

struct Fault {
    char pathEnd[256];
    int error;
    int times;
};

// No constructors: calls come in before and after those of this file would run.
std::mutex mutex;
Fault faults[3];
int writeError = 0;
int nextWriteSize = -1;
bool recording = false;
QList<QByteArray> *writes = nullptr;

template <typename Function>
Function systemCall(const char *name, Function)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}
#define SYSTEM_CALL(name) systemCall(#name, &name)

bool fails(FaultyCall call, const char *path)
{
    std::lock_guard<std::mutex> guard(mutex);
    Fault &fault = faults[call];
    if (fault.times <= 0)
        return false;
    const size_t length = std::strlen(path);
    const size_t endLength = std::strlen(fault.pathEnd);
    if (length < endLength || std::strcmp(path + length - endLength, fault.pathEnd) != 0)
        return false;
    --fault.times;
    errno = fault.error;
    return true;
}

bool isLogFile(int descriptor)
{
    char link[64];
    char path[4096];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    const ssize_t length = readlink(link, path, sizeof path - 1);
    if (length < 4)
        return false;
    path[length] = '\0';
    return std::strcmp(path + length - 4, ".log") == 0 || std::strstr(path, ".log (deleted)");
}

mode_t modeArgument(int flags, va_list arguments)
{
    return flags & O_CREAT ? mode_t(va_arg(arguments, int)) : 0;
}

} // namespace

void failCalls(FaultyCall call, const QString &pathEnd, int error, int times)
{
    std::lock_guard<std::mutex> guard(mutex);
    Fault &fault = faults[call];
    qstrncpy(fault.pathEnd, QFile::encodeName(pathEnd).constData(), sizeof fault.pathEnd);
    fault.error = error;
    fault.times = times;
}

void failWrites(int error)
{
    std::lock_guard<std::mutex> guard(mutex);
    writeError = error;
}

void cutNextWrite(int bytes)
{
    std::lock_guard<std::mutex> guard(mutex);
    nextWriteSize = bytes;
}

void clearFaults()
{
    std::lock_guard<std::mutex> guard(mutex);
    std::memset(faults, 0, sizeof faults);
    writeError = 0;
    nextWriteSize = -1;
}

QList<QByteArray> takeWrites()
{
    std::lock_guard<std::mutex> guard(mutex);
    static QList<QByteArray> recorded;
    writes = &recorded;
    recording = true;
    const QList<QByteArray> taken = recorded;
    recorded.clear();
    return taken;
}

QList<int> logDescriptors()
{
    QList<int> result;
    DIR *const directory = opendir("/proc/self/fd");
    while (const dirent *const entry = readdir(directory)) {
        const int descriptor = std::atoi(entry->d_name);
        if (entry->d_name[0] != '.' && isLogFile(descriptor))
            result << descriptor;
    }
    closedir(directory);
    return result;
}

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED int rename(const char *from, const char *to) noexcept
{
    static const auto call = SYSTEM_CALL(rename);
    return fails(RenameCall, from) ? -1 : call(from, to);
}

EXPORTED int unlink(const char *path) noexcept
{
    static const auto call = SYSTEM_CALL(unlink);
    return fails(UnlinkCall, path) ? -1 : call(path);
}

EXPORTED int open(const char *path, int flags, ...)
{
    static const auto call = SYSTEM_CALL(open);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeArgument(flags, arguments);
    va_end(arguments);
    return fails(OpenCall, path) ? -1 : call(path, flags, mode);
}

EXPORTED int open64(const char *path, int flags, ...)
{
    static const auto call = SYSTEM_CALL(open64);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeArgument(flags, arguments);
    va_end(arguments);
    return fails(OpenCall, path) ? -1 : call(path, flags, mode);
}

EXPORTED ssize_t write(int descriptor, const void *bytes, size_t size)
{
    static const auto call = SYSTEM_CALL(write);
    std::unique_lock<std::mutex> guard(mutex);
    if ((recording || writeError || nextWriteSize >= 0) && isLogFile(descriptor)) {
        if (writeError) {
            errno = writeError;
            return -1;
        }
        if (nextWriteSize >= 0 && size_t(nextWriteSize) < size)
            size = size_t(nextWriteSize);
        nextWriteSize = -1;
        if (recording)
            writes->append(QByteArray(static_cast<const char *>(bytes), int(size)));
    }
    guard.unlock();
    return call(descriptor, bytes, size);
}
