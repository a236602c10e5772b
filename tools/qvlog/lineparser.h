// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_LINEPARSER_H
#define QVLOG_LINEPARSER_H

#include "qvlog/entry.h"

#include <cstddef>

namespace qvlog
{

/** @return whether a line begins as every entry does: with a number, in five columns or more */
bool beginsWithNumber(const char *line, std::size_t length);

/**
 * Reads a line that holds an entry, or the first line of one.
 * @return whether it does; if not, only the number is filled in, if there is one
 */
bool parseLine(const char *line, std::size_t length, Entry &entry);

/** Reads as many fields of an entry that has been cut short as there are. */
void parseCutLine(const char *line, std::size_t length, Entry &entry);

/** @return the number of characters in "[Long message(N)]", 0 if the message is something else */
int announcedLength(const std::string &message);

} // namespace qvlog

#endif
