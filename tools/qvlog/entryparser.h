// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_ENTRYPARSER_H
#define QVLOG_ENTRYPARSER_H

#include "qvlog/entry.h"

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace qvlog
{

/**
 * Makes entries of the lines of a log, file by file, the oldest first. What LogHandler itself has
 * written between them, at the beginnings and ends of files, is left out.
 */
class EntryParser
{
public:
    explicit EntryParser(const std::string &logName);

    void beginFile();
    void addLine(const char *line, std::size_t length);
    /** Takes what stands behind the last newline of a file. */
    void addRest(const char *text, std::size_t length);
    /** Nothing more will come of this file. */
    void endFile();

    /** @return whether there is a further entry; it is swapped into the given one */
    bool next(Entry &entry);

private:
    enum State { FileBegin, Separator, Free, Parts, Broken, Trailer };

    void handle(const char *line, std::size_t length);
    void handleFirstLine(const char *line, std::size_t length);
    void handleFree(const char *line, std::size_t length);
    void handlePart(const char *line, std::size_t length);
    void handleBroken(const char *line, std::size_t length);
    void handleTrailer(const char *line, std::size_t length);
    void startParts(int announced);
    bool contradictsParts(const char *line, std::size_t length);
    void finishParts();
    void finishBroken();
    void finishTrailer(bool complete);
    void beginRun(bool whole);
    void emitText(const char *text, std::size_t length);
    void emitTooLong();
    void handOver();

    const std::string logName;
    State state;
    std::deque<Entry> ready;
    std::vector<Entry> spare; ///< entries whose memory is used again
    Entry entry;              ///< the one at work
    int run;
    bool anyFile;
    bool runIsWhole;
    bool lastIsKnown; ///< whether an entry of this run has had a number
    long long lastNumber;
    std::string lastTime;
    int announced;                   ///< characters of the long message
    std::size_t partsExpected;       ///< lines it comes in
    std::vector<std::string> pieces; ///< lines kept until it is known what they are
};

} // namespace qvlog

#endif
