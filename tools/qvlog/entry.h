// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_ENTRY_H
#define QVLOG_ENTRY_H

#include <cstddef>
#include <string>

namespace qvlog
{

/** One entry of a log: what one call has logged, or what else stands in a file. */
struct Entry {
    enum Kind {
        Line,    ///< a message with its number, class, function, thread and time
        TooLong, ///< the empty line of a message that had too many characters
        Cut,     ///< an entry that the file ends in, as after a power failure
        Odd,     ///< begins with a number as an entry does, but is none
        Text,    ///< anything else
        Closed   ///< the last words of a log that the application has closed
    };

    Kind kind = Text;
    bool hasNumber = false; ///< whether the number is known
    long long number = 0;   ///< that of a TooLong is worked out from the entry before
    std::string className;
    std::string function;
    std::string message; ///< in one piece
    std::string thread;
    std::string time;     ///< as in the file; empty if it is not known
    std::string sortTime; ///< the same, or that of the entry before
    int run = 1;          ///< counts the application's runs in this log
    bool runIsWhole = false;
    const std::string *log = nullptr; ///< the base name

    std::string raw;              ///< the first line of the entry, as it is in the file
    std::size_t messageBegin = 0; ///< where the message's columns stand in it
    std::size_t tailBegin = 0;    ///< where the thread and the time follow
    bool isJoined = false;        ///< whether the message stands in lines of its own
};

} // namespace qvlog

#endif
