// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/logfiles.h"

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

const int oldestFile = 9;

LogFilePointer openLogFile(const std::string &path, int index, std::string &error)
{
    // Something else of that name, such as a pipe, must not hold us up.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        if (errno != ENOENT)
            error = "cannot read " + path + ": " + std::strerror(errno);
        return LogFilePointer();
    }
    struct stat status;
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(descriptor);
        return LogFilePointer();
    }
    return std::make_shared<LogFile>(descriptor, index, status.st_dev, status.st_ino);
}

} // namespace

LogFile::LogFile(int descriptor, int index, dev_t deviceNumber, ino_t inodeNumber)
    : fileDescriptor(descriptor)
    , fileIndex(index)
    , device(deviceNumber)
    , inode(inodeNumber)
    , position(0)
{
}

LogFile::~LogFile()
{
    ::close(fileDescriptor);
}

ssize_t LogFile::readAt(char *buffer, std::size_t size, off_t offset)
{
    ssize_t length = -1;
    do
        length = ::pread(fileDescriptor, buffer, size, offset < 0 ? position : offset);
    while (length < 0 && errno == EINTR);
    if (offset < 0 && length > 0)
        position += length;
    return length;
}

bool LogFile::rewindIfTruncated()
{
    struct stat status;
    if (::fstat(fileDescriptor, &status) != 0 || status.st_size >= position)
        return false;
    position = 0;
    return true;
}

bool LogFile::isSame(const LogFile &other) const
{
    return device == other.device && inode == other.inode;
}

bool LogFile::beginsRun()
{
    static const char continued[] = "...continued\n";
    const std::size_t size = sizeof continued - 1;
    char begin[size];
    const ssize_t length = readAt(begin, size, 0);
    return length > 0 &&
           (static_cast<std::size_t>(length) != size || std::memcmp(begin, continued, size) != 0);
}

std::string LogName::file(int index) const
{
    return folder + '/' + base + std::to_string(index) + ".log";
}

bool parseLogName(const std::string &text, LogName &name)
{
    const std::size_t slash = text.rfind('/');
    name.folder = slash == std::string::npos ? "." : text.substr(0, slash);
    if (slash == 0)
        name.folder = "/";
    name.base = slash == std::string::npos ? text : text.substr(slash + 1);
    static const char ending[] = ".log";
    const std::size_t endingLength = sizeof ending - 1;
    if (name.base.size() > endingLength + 1) {
        const std::size_t end = name.base.size() - endingLength;
        const char digit = name.base[end - 1];
        if (digit >= '0' && digit <= '9' && name.base.compare(end, endingLength, ending) == 0)
            name.base.erase(end - 1);
    }
    return !name.base.empty();
}

std::vector<LogFilePointer> openLogFiles(const LogName &name, const LogFile *until, bool &found,
                                         std::string &error)
{
    std::vector<LogFilePointer> files;
    found = false;
    for (int index = 0; index <= oldestFile && !found; ++index) {
        const LogFilePointer file = openLogFile(name.file(index), index, error);
        if (!file)
            continue;
        found = until && file->isSame(*until);
        // One that was moved up in the meantime comes twice.
        const bool isKnown =
            std::any_of(files.begin(), files.end(),
                        [&file](const LogFilePointer &other) { return other->isSame(*file); });
        if (!found && !isKnown)
            files.push_back(file);
    }
    return files;
}

} // namespace qvlog
