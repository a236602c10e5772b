// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/misbehaviour.h"

#include "kivsim/number.h"

#include <algorithm>
#include <sstream>

namespace kivsim
{

namespace
{

const char separator[] = "\f\n";
const size_t separatorLength = 2;
const int longestTime = 600000;
const int mostBytes = 1 << 20;

/** One word of an order, such as "pieces:7". */
struct Word {
    std::string name;
    bool hasNumber;
    int number;
};

Word readWord(const std::string &text)
{
    const size_t colon = text.find(':');
    Word word = {text.substr(0, colon), colon != std::string::npos, 0};
    if (word.hasNumber && !parseNumber(text.substr(colon + 1), 0, mostBytes, word.number))
        word.number = -1;
    return word;
}

/** @return what a word of that name may have behind its colon; empty if there is no such word */
std::string rangeOf(const std::string &name)
{
    static const struct {
        const char *name;
        int smallest;
        int largest;
    } ranges[] = {{"pieces", 1, mostBytes}, {"gap", 0, longestTime},   {"delay", 0, longestTime},
                  {"cut", 0, mostBytes},    {"garbage", 1, mostBytes}, {"restart", 0, longestTime}};
    for (const auto &range : ranges) {
        if (name == range.name)
            return " (" + name + " takes " + std::to_string(range.smallest) + " to " +
                   std::to_string(range.largest) + ')';
    }
    return std::string();
}

/** Fills in a word that goes together with others. */
bool applyWord(const Word &word, Misbehaviour &target)
{
    const bool isTime = word.number >= 0 && word.hasNumber && word.number <= longestTime;
    const bool isSize = word.hasNumber && word.number > 0;
    const size_t size = size_t(word.number);
    if (word.name == "bytes" && !word.hasNumber) {
        target.pieceSize = 1;
    } else if (word.name == "pieces" && isSize) {
        target.pieceSize = size;
    } else if (word.name == "split-separator" && !word.hasNumber) {
        target.splitSeparator = true;
    } else if (word.name == "gap" && isTime) {
        target.gap = word.number;
    } else if (word.name == "delay" && isTime) {
        target.delay = word.number;
    } else if (word.name == "cut" && word.number >= 0) {
        target.cut = true;
        target.cutHalfway = !word.hasNumber;
        target.cutAfter = size;
    } else if (word.name == "garbage" && (isSize || !word.hasNumber)) {
        target.garbage = word.hasNumber ? size : 64;
    } else {
        return false;
    }
    return true;
}

/** Fills in a word that stands alone. */
bool applyLoneWord(const Word &word, MisbehaviourOrder &order)
{
    if (word.name == "off" && !word.hasNumber)
        return true;
    if (word.name != "restart" || word.number < 0 || word.number > longestTime)
        return false;
    order.restart = true;
    if (word.hasNumber)
        order.restartDelay = word.number;
    return true;
}

} // namespace

bool parseMisbehaviour(const std::string &text, MisbehaviourOrder &order, std::string &error)
{
    order = MisbehaviourOrder();
    if (applyLoneWord(readWord(text), order))
        return true;
    bool inBytes = false;
    bool inPieces = false;
    std::istringstream words(text + ',');
    std::string word;
    while (std::getline(words, word, ',')) {
        const Word read = readWord(word);
        if (!applyWord(read, order.misbehaviour)) {
            error = "bad misbehave: " + text + rangeOf(read.name);
            return false;
        }
        inBytes = inBytes || read.name == "bytes";
        inPieces = inPieces || read.name == "pieces";
    }
    if (inBytes && inPieces) {
        error = "bad misbehave: " + text + " (bytes and pieces exclude each other)";
        return false;
    }
    return true;
}

size_t pieceLength(const Misbehaviour &misbehaviour, size_t sent, size_t total)
{
    const size_t rest = total - sent;
    const size_t wanted = misbehaviour.pieceSize ? std::min(misbehaviour.pieceSize, rest) : rest;
    if (misbehaviour.splitSeparator)
        return wanted == rest && rest > 1 ? rest - 1 : wanted;
    // Clients are known not to recognise a separator that comes in two reads.
    return wanted + 1 == rest ? rest : wanted;
}

size_t cutPosition(const Misbehaviour &misbehaviour, size_t total)
{
    return misbehaviour.cutHalfway ? total / 2 : std::min(misbehaviour.cutAfter, total - 1);
}

std::string garbageFrame(size_t size)
{
    std::string frame;
    frame.reserve(size + separatorLength);
    unsigned int state = 1;
    while (frame.size() < size) {
        state = state * 1103515245u + 12345u;
        const char c = char(state >> 16 & 0xff);
        // A NUL would hide what follows from the client, a form feed might end the frame early.
        if (c != '\0' && c != '\f')
            frame += c;
    }
    return frame + separator;
}

} // namespace kivsim
