// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/logreader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace qvlog
{

namespace
{

const std::size_t readSize = 1 << 16;

} // namespace

LogReader::LogReader(const LogName &name, bool followOn)
    : logName(name)
    , follow(followOn)
    , parser(logName.base)
    , begun(false)
{
}

bool LogReader::open(bool lastRun, std::string &error)
{
    bool found = false;
    bool isWanted = true;
    for (const LogFilePointer &file : openLogFiles(logName, nullptr, found, error)) {
        (isWanted ? files : past).push_front(file);
        isWanted = isWanted && !(lastRun && file->beginsRun());
    }
    openError = error;
    if (!error.empty() && !files.empty())
        error.swap(trouble);
    if (!files.empty() || (follow && error.empty()))
        return true;
    if (error.empty())
        error = "there is no " + logName.file(0);
    return false;
}

LogReader::Result LogReader::next(Entry &entry)
{
    for (;;) {
        if (parser.next(entry))
            return Got;
        if (files.empty() && (!follow || !findSuccessors()))
            return follow ? Dry : End;
        if (readOn())
            continue;
        const bool isLast = files.size() == 1;
        if (isLast && follow) {
            if (!findSuccessors())
                return Dry;
            // It may have grown between the last read and its change of name, and will no more.
            if (readOn())
                continue;
        }
        leaveFile();
    }
}

/** @return whether the file has more than was read of it */
bool LogReader::readOn()
{
    if (!begun) {
        parser.beginFile();
        begun = true;
    }
    LogFile &file = *files.front();
    char buffer[readSize];
    const ssize_t length = file.read(buffer, sizeof buffer);
    if (length < 0)
        trouble = "cannot read " + logName.file(file.index()) + ": " + std::strerror(errno);
    if (length <= 0) {
        if (!follow || !file.rewindIfTruncated())
            return false;
        trouble = logName.file(0) + " was emptied, lines may be missing";
        finishFile();
        return true;
    }
    cutter.feed(buffer, static_cast<std::size_t>(length));
    const char *line = nullptr;
    std::size_t size = 0;
    while (cutter.next(line, size))
        parser.addLine(line, size);
    return true;
}

/** Looks for files that have taken the place of the one being read. */
bool LogReader::findSuccessors()
{
    std::string error;
    bool found = false;
    const LogFile *const current = files.empty() ? nullptr : files.front().get();
    std::vector<LogFilePointer> newer = openLogFiles(logName, current, found, error);
    if (!error.empty() && error != openError)
        trouble = error;
    openError = error;
    // If somebody has removed the current one, those that were read before it still tell the place.
    const auto known = std::find_if(newer.begin(), newer.end(),
                                    [this](const LogFilePointer &file) { return isPast(file); });
    found = found || known != newer.end();
    newer.erase(known, newer.end());
    if (newer.empty())
        return false;
    if (current && !found)
        trouble = logName.file(0) + " was replaced too often, lines may be missing";
    for (const LogFilePointer &file : newer)
        files.insert(files.begin() + (current ? 1 : 0), file);
    return true;
}

void LogReader::finishFile()
{
    const char *rest = nullptr;
    std::size_t length = 0;
    if (begun && cutter.takeRest(rest, length))
        parser.addRest(rest, length);
    if (begun)
        parser.endFile();
    begun = false;
}

/** Goes on to the next file. */
void LogReader::leaveFile()
{
    const std::size_t mostPast = 9; // beside the one being written
    finishFile();
    past.push_back(files.front());
    files.pop_front();
    if (past.size() > mostPast)
        past.pop_front();
}

bool LogReader::isPast(const LogFilePointer &file) const
{
    return std::any_of(past.begin(), past.end(),
                       [&file](const LogFilePointer &other) { return other->isSame(*file); });
}

std::string LogReader::takeTrouble()
{
    std::string taken;
    taken.swap(trouble);
    return taken;
}

} // namespace qvlog
