// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/snapshot.h"

#include "qvlog/tarwriter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qvlog
{

namespace
{

/** Adds what a file holds now; what is written meanwhile does not count. */
bool addFile(TarWriter &tar, LogFile &file, const std::string &name)
{
    struct stat status;
    if (::fstat(file.descriptor(), &status) != 0)
        return false;
    if (!tar.begin(name, static_cast<unsigned long long>(status.st_size), status.st_mtime))
        return false;
    char buffer[1 << 16];
    off_t rest = status.st_size;
    while (rest > 0) {
        const std::size_t wanted = std::min(sizeof buffer, static_cast<std::size_t>(rest));
        const ssize_t length = file.read(buffer, wanted);
        if (length < 0)
            return false;
        if (length == 0) // emptied meanwhile, but the archive says how long it is
            std::memset(buffer, 0, wanted);
        const std::size_t part = length > 0 ? static_cast<std::size_t>(length) : wanted;
        if (!tar.write(buffer, part))
            return false;
        rest -= static_cast<off_t>(part);
    }
    return tar.end();
}

/** Removes an archive that is not complete, but no device. */
void removeFile(int descriptor, const std::string &name)
{
    struct stat status;
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
        ::unlink(name.c_str());
}

typedef std::vector<LogFilePointer> LogFiles;

/** Opens the files of all logs. @return whether there are some of each, and all can be read */
bool openLogs(const std::vector<LogName> &logs, std::vector<LogFiles> &files, std::string &error)
{
    for (const LogName &log : logs) {
        bool found = false;
        files.push_back(openLogFiles(log, nullptr, found, error));
        if (files.back().empty() && error.empty())
            error = "there is no " + log.file(0);
        if (!error.empty())
            return false;
    }
    return true;
}

/** Whether a name stands for one of the files, which must not be overwritten by their archive. */
bool isOneOf(const std::vector<LogFiles> &logs, const std::string &name)
{
    struct stat target;
    if (::stat(name.c_str(), &target) != 0)
        return false;
    for (const LogFiles &files : logs) {
        for (const LogFilePointer &file : files) {
            struct stat status;
            if (::fstat(file->descriptor(), &status) == 0 && status.st_dev == target.st_dev &&
                status.st_ino == target.st_ino)
                return true;
        }
    }
    return false;
}

bool addLog(TarWriter &tar, const LogName &log, const LogFiles &files, const std::string &folder,
            std::string &error)
{
    // They may have moved up while they were opened, but their order is right.
    int index = 0;
    for (const LogFilePointer &file : files) {
        index = std::max(index, file->index());
        const std::string name = folder + '/' + log.base + std::to_string(index++) + ".log";
        if (!addFile(tar, *file, name)) {
            error = "cannot copy " + log.file(file->index()) + ": " + std::strerror(errno);
            return false;
        }
    }
    return true;
}

} // namespace

bool writeSnapshot(const std::vector<LogName> &logs, const std::string &target, std::string &error)
{
    const bool isFile = target != "-";
    std::vector<LogFiles> files;
    if (!openLogs(logs, files, error))
        return false;
    if (isFile && isOneOf(files, target)) {
        error = target + " is a file of the log";
        return false;
    }
    const int descriptor =
        isFile ? ::open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)
               : STDOUT_FILENO;
    if (descriptor < 0) {
        error = "cannot write " + target + ": " + std::strerror(errno);
        return false;
    }
    TarWriter tar(descriptor);
    bool complete = true;
    for (std::size_t i = 0; i < logs.size() && complete; ++i) {
        // Logs of different folders may have the same base name.
        const std::string folder = logs.size() > 1 ? std::to_string(i + 1) : "log";
        complete = addLog(tar, logs[i], files[i], folder, error);
    }
    if (complete && (!tar.finish() || (isFile && ::fsync(descriptor) != 0 && errno != EINVAL))) {
        error = "cannot write " + target + ": " + std::strerror(errno);
        complete = false;
    }
    if (isFile && !complete)
        removeFile(descriptor, target);
    if (isFile)
        ::close(descriptor);
    return complete;
}

} // namespace qvlog
