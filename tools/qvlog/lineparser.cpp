// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/lineparser.h"

#include <algorithm>
#include <cstring>

namespace qvlog
{

namespace
{

const std::size_t numberColumns = 5;
const std::size_t nameColumns = 30;
const std::size_t messageColumns = 80;
const char tailMark[] = ", tid=";
const std::size_t tailMarkLength = sizeof tailMark - 1;
const char longMark[] = "[Long message(";

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool areDigits(const char *text, std::size_t length)
{
    return std::all_of(text, text + length, isDigit);
}

/** @return where the number ends, or 0 if there is none */
std::size_t numberEnd(const char *line, std::size_t length)
{
    const std::size_t mostDigits = 10;
    std::size_t at = 0;
    while (at < length && at < numberColumns - 1 && line[at] == ' ')
        ++at;
    const bool padded = at > 0;
    if (at < length && line[at] == '-')
        ++at;
    const std::size_t digits = at;
    while (at < length && isDigit(line[at]))
        ++at;
    const bool fits = padded ? at == numberColumns : at >= numberColumns;
    if (!fits || at == digits || at - digits > mostDigits || at == length || line[at] != ' ')
        return 0;
    return at;
}

/** Whether it is a date with time, a time whose date could not be had, or nothing. */
bool isTime(const char *text, std::size_t length)
{
    static const char form[] = "-00-00 00:00:00.000";
    const std::size_t formLength = sizeof form - 1;
    if (length == 0)
        return true;
    if (length == 4)
        return text[0] == '.' && areDigits(text + 1, 3);
    if (length < formLength + 4)
        return false;
    const std::size_t yearLength = length - formLength;
    if (!areDigits(text, yearLength))
        return false;
    for (std::size_t i = 0; i < formLength; ++i) {
        const char c = text[yearLength + i];
        if (form[i] == '0' ? !isDigit(c) : c != form[i])
            return false;
    }
    return true;
}

/** Finds ", tid=1, TIME" at the end of a line. @return where it begins, or length if it does not */
std::size_t findTail(const char *line, std::size_t length, Entry &entry)
{
    // The longest that can be written: a thread number of 11 characters, a year of 10.
    const std::size_t longest = 60;
    const std::size_t first = length > longest ? length - longest : 0;
    for (std::size_t at = length; at-- > first;) {
        if (line[at] != ',' || length - at < tailMarkLength ||
            std::memcmp(line + at, tailMark, tailMarkLength) != 0)
            continue;
        const char *const thread = line + at + tailMarkLength;
        const char *const end = line + length;
        const char *const comma = std::find(thread, end, ',');
        if (comma == thread || end - comma < 2 || comma[1] != ' ' ||
            !areDigits(thread, static_cast<std::size_t>(comma - thread)))
            return length;
        const std::size_t timeLength = static_cast<std::size_t>(end - comma) - 2;
        if (!isTime(comma + 2, timeLength))
            return length;
        entry.thread.assign(thread, comma);
        entry.time.assign(comma + 2, timeLength);
        return at;
    }
    return length;
}

/** Takes a field without the blanks that pad it. */
void assignField(std::string &target, const char *text, std::size_t length)
{
    while (length > 0 && text[length - 1] == ' ')
        --length;
    target.assign(text, length);
}

/** How many columns the message takes at the end of all fields. */
std::size_t messageWidth(const char *fields, std::size_t length)
{
    // Of a number with two digits the announcement of a long message is a column shorter.
    const std::size_t shorter = messageColumns - 1;
    const std::size_t markLength = sizeof longMark - 1;
    if (length > shorter && std::memcmp(fields + length - shorter, longMark, markLength) == 0)
        return shorter;
    return messageColumns;
}

/** Divides the names where at least one is longer than its column. */
void splitNames(const char *names, std::size_t length, Entry &entry)
{
    std::size_t split = std::min(length, nameColumns);
    const bool firstFits = length > nameColumns && names[nameColumns] == ' ';
    const bool secondFits = length > nameColumns && names[length - nameColumns - 1] == ' ';
    if (!firstFits && secondFits)
        split = length - nameColumns - 1;
    else if (!firstFits)
        split = static_cast<std::size_t>(std::find(names + split, names + length, ' ') - names);
    assignField(entry.className, names, split);
    entry.function.clear();
    if (split < length)
        assignField(entry.function, names + split + 1, length - split - 1);
}

/**
 * Divides class, function and message.
 * @return where the message begins
 */
std::size_t splitFields(const char *fields, std::size_t length, Entry &entry)
{
    const std::size_t functionEnd = 2 * nameColumns + 1;
    if (length > functionEnd && fields[nameColumns] == ' ' && fields[functionEnd] == ' ') {
        assignField(entry.className, fields, nameColumns);
        assignField(entry.function, fields + nameColumns + 1, nameColumns);
        return functionEnd + 1;
    }
    // A name is longer than its column, so that only the distance from the right end is known.
    const std::size_t width = messageWidth(fields, length);
    const std::size_t message = length > width ? length - width : length;
    splitNames(fields, message > 0 ? message - 1 : 0, entry);
    return message;
}

bool readNumber(const char *line, std::size_t length, Entry &entry, std::size_t &end)
{
    end = numberEnd(line, length);
    entry.hasNumber = end > 0;
    if (!entry.hasNumber)
        return false;
    entry.number = std::stoll(std::string(line, end));
    return true;
}

void clearFields(Entry &entry)
{
    entry.className.clear();
    entry.function.clear();
    entry.message.clear();
    entry.thread.clear();
    entry.time.clear();
    entry.isJoined = false;
}

} // namespace

bool beginsWithNumber(const char *line, std::size_t length)
{
    return numberEnd(line, length) > 0;
}

bool parseLine(const char *line, std::size_t length, Entry &entry)
{
    clearFields(entry);
    entry.raw.assign(line, length);
    std::size_t end = 0;
    if (!readNumber(line, length, entry, end))
        return false;
    const std::size_t tail = findTail(line, length, entry);
    // Even of empty texts there are the columns of both names.
    if (tail == length || tail < end + 1 + 2 * nameColumns) {
        clearFields(entry);
        return false;
    }
    const char *const fields = line + end + 1;
    const std::size_t fieldsLength = tail - end - 1;
    const std::size_t message = splitFields(fields, fieldsLength, entry);
    assignField(entry.message, fields + message, fieldsLength - message);
    entry.kind = Entry::Line;
    entry.messageBegin = end + 1 + message;
    entry.tailBegin = tail;
    return true;
}

void parseCutLine(const char *line, std::size_t length, Entry &entry)
{
    clearFields(entry);
    entry.raw.assign(line, length);
    std::size_t end = 0;
    entry.kind = Entry::Cut;
    if (!readNumber(line, length, entry, end))
        return;
    const char *fields = line + end + 1;
    std::size_t rest = length - end - 1;
    for (std::string *target : {&entry.className, &entry.function}) {
        std::size_t width = std::min(rest, nameColumns);
        if (width == nameColumns) // the name may be longer than its column
            width =
                static_cast<std::size_t>(std::find(fields + width, fields + rest, ' ') - fields);
        assignField(*target, fields, width);
        const std::size_t used = std::min(rest, width + 1);
        fields += used;
        rest -= used;
    }
    assignField(entry.message, fields, std::min(rest, messageColumns));
    entry.messageBegin = length - rest;
    entry.tailBegin = length;
}

int announcedLength(const std::string &message)
{
    const std::size_t markLength = sizeof longMark - 1;
    const std::size_t length = message.size();
    const std::size_t digits = length - markLength - 2;
    if (length < markLength + 4 || length > markLength + 5 ||
        message.compare(0, markLength, longMark) != 0 || message.compare(length - 2, 2, ")]") != 0)
        return 0;
    const std::string number = message.substr(markLength, digits);
    return areDigits(number.data(), digits) ? std::stoi(number) : 0;
}

} // namespace qvlog
