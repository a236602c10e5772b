// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/entryparser.h"

#include "qvlog/lineparser.h"
#include "qvlog/longmessage.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace qvlog
{

namespace
{

const char continued[] = "...continued";
const std::size_t separatorLength = 69; // of the rule behind it
const std::size_t trailerRule = 45;
const char lastWordsEnd[] = ".....";
const char changeOfFiles[] = "..logging continues in next file";
const std::size_t mostPieces = 20;

bool isRule(const char *line, std::size_t length, std::size_t columns)
{
    return length == columns && std::all_of(line, line + length, [](char c) { return c == '='; });
}

bool equals(const char *line, std::size_t length, const char *text)
{
    return length == std::strlen(text) && std::memcmp(line, text, length) == 0;
}

std::string joined(const std::vector<std::string> &pieces)
{
    std::string text;
    for (const std::string &piece : pieces)
        text += (text.empty() ? "" : "\n") + piece;
    return text;
}

/** The next number, as the application counts: in 32 bits. */
long long following(long long number)
{
    return number == INT_MAX ? INT_MIN : number + 1;
}

} // namespace

EntryParser::EntryParser(const std::string &name)
    : logName(name)
    , state(Free)
    , run(1)
    , anyFile(false)
    , runIsWhole(false)
    , lastIsKnown(false)
    , lastNumber(0)
    , announced(0)
    , partsExpected(0)
{
}

void EntryParser::beginFile()
{
    state = FileBegin;
}

void EntryParser::addLine(const char *line, std::size_t length)
{
    handle(line, length);
}

void EntryParser::addRest(const char *text, std::size_t length)
{
    if (state != Free && state != Parts) {
        handle(text, length);
        return;
    }
    if (state == Parts && !contradictsParts(text, length)) {
        // Without its newline nobody knows whether the part is whole.
        entry.kind = Entry::Cut;
        pieces.push_back(std::string(text, length));
        finishParts();
        return;
    }
    if (state == Parts || !beginsWithNumber(text, length) || parseLine(text, length, entry)) {
        handle(text, length);
        return;
    }
    parseCutLine(text, length, entry);
    handOver();
}

void EntryParser::endFile()
{
    if (state == Parts) {
        entry.kind = Entry::Cut;
        finishParts();
    } else if (state == Broken) {
        if (pieces.size() == 1) {
            parseCutLine(pieces[0].data(), pieces[0].size(), entry);
            handOver();
            state = Free;
        } else {
            finishBroken();
        }
    } else if (state == Trailer) {
        finishTrailer(true);
    }
}

void EntryParser::handle(const char *line, std::size_t length)
{
    switch (state) {
    case FileBegin:
        return handleFirstLine(line, length);
    case Separator:
        state = Free;
        if (!isRule(line, length, separatorLength))
            handleFree(line, length);
        return;
    case Free:
        return handleFree(line, length);
    case Parts:
        return handlePart(line, length);
    case Broken:
        return handleBroken(line, length);
    case Trailer:
        return handleTrailer(line, length);
    }
}

void EntryParser::handleFirstLine(const char *line, std::size_t length)
{
    const bool goesOn = equals(line, length, continued);
    if (!goesOn || !anyFile)
        beginRun(!goesOn);
    state = goesOn ? Separator : Free;
    if (!goesOn)
        handleFree(line, length);
}

void EntryParser::beginRun(bool whole)
{
    if (anyFile)
        ++run;
    anyFile = true;
    runIsWhole = whole;
    lastIsKnown = false;
}

void EntryParser::handleFree(const char *line, std::size_t length)
{
    if (length == 0) {
        emitTooLong();
    } else if (isRule(line, length, trailerRule)) {
        pieces.clear();
        state = Trailer;
    } else if (!beginsWithNumber(line, length)) {
        emitText(line, length);
    } else if (!parseLine(line, length, entry)) {
        pieces.assign(1, std::string(line, length));
        state = Broken;
    } else {
        startParts(announcedLength(entry.message));
    }
}

void EntryParser::startParts(int length)
{
    partsExpected = partsOfMessage(length);
    if (partsExpected == 0) {
        handOver();
        return;
    }
    announced = length;
    pieces.clear();
    state = Parts;
}

/** A message may also say "[Long message(100)]" by itself; then no part of it follows. */
bool EntryParser::contradictsParts(const char *line, std::size_t length)
{
    if (!pieces.empty())
        return false;
    if (isRule(line, length, trailerRule))
        return true;
    if (!beginsWithNumber(line, length))
        return false;
    Entry other;
    return parseLine(line, length, other) && other.number == following(entry.number);
}

void EntryParser::handlePart(const char *line, std::size_t length)
{
    if (contradictsParts(line, length)) {
        state = Free;
        handOver();
        handleFree(line, length);
        return;
    }
    pieces.push_back(std::string(line, length));
    if (pieces.size() == partsExpected)
        finishParts();
}

void EntryParser::finishParts()
{
    state = Free;
    entry.isJoined = true;
    entry.message = joinParts(pieces, announced);
    handOver();
}

/** What begins as an entry but does not end as one goes on if a name in it holds a newline. */
void EntryParser::handleBroken(const char *line, std::size_t length)
{
    const bool isOther = beginsWithNumber(line, length) || isRule(line, length, trailerRule);
    if (isOther || pieces.size() == mostPieces) {
        finishBroken();
        handleFree(line, length);
        return;
    }
    pieces.push_back(std::string(line, length));
    const std::string all = joined(pieces);
    if (!parseLine(all.data(), all.size(), entry))
        return;
    state = Free;
    startParts(announcedLength(entry.message));
}

void EntryParser::finishBroken()
{
    state = Free;
    std::vector<std::string> lines;
    lines.swap(pieces);
    const std::string &first = lines.front();
    parseLine(first.data(), first.size(), entry);
    entry.kind = Entry::Odd;
    entry.message = first.substr(first.find_first_of("-0123456789"));
    entry.message.erase(0, entry.message.find(' ') + 1);
    handOver();
    for (std::size_t i = 1; i < lines.size(); ++i)
        handleFree(lines[i].data(), lines[i].size());
}

void EntryParser::handleTrailer(const char *line, std::size_t length)
{
    if (isRule(line, length, trailerRule)) {
        finishTrailer(true);
    } else if (pieces.size() == mostPieces || parseLine(line, length, entry)) {
        finishTrailer(false);
        handle(line, length);
    } else {
        pieces.push_back(std::string(line, length));
    }
}

void EntryParser::finishTrailer(bool complete)
{
    state = Free;
    if (!complete) {
        // It was none, so its lines are lines as any others.
        std::vector<std::string> lines;
        lines.swap(pieces);
        const std::string rule(trailerRule, '=');
        emitText(rule.data(), rule.size());
        for (const std::string &line : lines)
            handle(line.data(), line.size());
        return;
    }
    std::string words = joined(pieces);
    const std::size_t endLength = std::strlen(lastWordsEnd);
    if (words.size() >= endLength &&
        words.compare(words.size() - endLength, endLength, lastWordsEnd) == 0)
        words.erase(words.size() - endLength);
    if (words.empty() || words == changeOfFiles)
        return;
    emitText(words.data(), words.size());
    ready.back().kind = Entry::Closed;
}

void EntryParser::emitText(const char *text, std::size_t length)
{
    parseCutLine("", 0, entry);
    // What a power failure leaves where the system had room but no data yet.
    const bool isHole = std::all_of(text, text + length, [](char c) { return c == '\0'; });
    entry.kind = isHole ? Entry::Cut : Entry::Text;
    if (isHole)
        entry.raw = '[' + std::to_string(length) + " NUL bytes]";
    else
        entry.raw.assign(text, length);
    entry.message = entry.raw;
    handOver();
}

void EntryParser::emitTooLong()
{
    parseCutLine("", 0, entry);
    entry.kind = Entry::TooLong;
    entry.hasNumber = lastIsKnown;
    entry.number = following(lastNumber);
    handOver();
}

void EntryParser::handOver()
{
    if (entry.hasNumber) {
        lastIsKnown = true;
        lastNumber = entry.number;
    }
    if (entry.time.size() > 4) // more than milliseconds
        lastTime = entry.time;
    entry.sortTime = lastTime;
    entry.run = run;
    entry.runIsWhole = runIsWhole;
    entry.log = &logName;
    if (spare.empty()) {
        ready.emplace_back();
    } else {
        ready.push_back(std::move(spare.back()));
        spare.pop_back();
    }
    std::swap(ready.back(), entry);
}

bool EntryParser::next(Entry &target)
{
    const std::size_t mostSpare = 16;
    if (ready.empty())
        return false;
    std::swap(target, ready.front());
    if (spare.size() < mostSpare)
        spare.push_back(std::move(ready.front()));
    ready.pop_front();
    return true;
}

} // namespace qvlog
