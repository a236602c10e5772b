// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_LOGFILES_H
#define QVLOG_LOGFILES_H

#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

namespace qvlog
{

/** An open file of a log; it stays the same when its name changes. */
class LogFile
{
public:
    /** @param descriptor closed with the object */
    LogFile(int descriptor, int index, dev_t device, ino_t inode);
    ~LogFile();

    /** @return the number of bytes read, 0 at the end, negative if it cannot be read */
    ssize_t read(char *buffer, std::size_t size) { return readAt(buffer, size, -1); }
    /** Reads elsewhere if the offset is not negative, without moving on. */
    ssize_t readAt(char *buffer, std::size_t size, off_t offset);
    /** Starts from the beginning if the file has become shorter. @return whether it has */
    bool rewindIfTruncated();
    bool isSame(const LogFile &other) const;
    /** @return whether an application's run begins in it */
    bool beginsRun();
    int index() const { return fileIndex; }
    int descriptor() const { return fileDescriptor; }

private:
    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    int fileDescriptor;
    int fileIndex;
    dev_t device;
    ino_t inode;
    off_t position;
};

typedef std::shared_ptr<LogFile> LogFilePointer;

/** Where a log is: its folder and the base name of its files. */
struct LogName {
    std::string folder;
    std::string base;

    /** @return the name of a file; 0 is the one being written, 9 the oldest */
    std::string file(int index) const;
};

/** Reads "DIR/BASE"; the name of one of the files will do. @return whether there is a base name */
bool parseLogName(const std::string &text, LogName &name);

/**
 * Opens the files of a log, newest first. The application may move them up at any time; going the
 * same way, no file is missed.
 * @param until where to stop, null for nowhere; found tells whether it has come up
 * @param error why a file could not be opened, if one could not
 */
std::vector<LogFilePointer> openLogFiles(const LogName &name, const LogFile *until, bool &found,
                                         std::string &error);

} // namespace qvlog

#endif
