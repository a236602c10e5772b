// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_LOGREADER_H
#define QVLOG_LOGREADER_H

#include "qvlog/entryparser.h"
#include "qvlog/linecutter.h"
#include "qvlog/logfiles.h"

#include <deque>
#include <string>

namespace qvlog
{

/** Reads one log, from its oldest file to its newest, and over changes of files if it follows. */
class LogReader
{
public:
    enum Result {
        Got, ///< an entry
        Dry, ///< nothing for now, when following
        End  ///< nothing more
    };

    LogReader(const LogName &name, bool follow);

    /**
     * Opens the files.
     * @param lastRun whether to begin where the application was started last
     * @return whether there is something to read, or to follow; if not, error says why in one line
     */
    bool open(bool lastRun, std::string &error);

    Result next(Entry &entry);

    /** @return what has gone wrong since the last call, in one line; empty if nothing has */
    std::string takeTrouble();

    const LogName &name() const { return logName; }

private:
    bool readOn();
    bool findSuccessors();
    void finishFile();
    void leaveFile();
    bool isPast(const LogFilePointer &file) const;

    const LogName logName;
    const bool follow;
    std::deque<LogFilePointer> files; ///< the first is being read
    std::deque<LogFilePointer> past;  ///< those before it, open so that they are known again
    LineCutter cutter;
    EntryParser parser;
    bool begun; ///< whether the parser knows of the file being read
    std::string trouble;
    std::string openError; ///< why a file could not be opened when it was last looked for
};

} // namespace qvlog

#endif
