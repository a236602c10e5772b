// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_TEXTS_H
#define QVLOG_TEXTS_H

#include <cstddef>
#include <string>

namespace qvlog
{

/**
 * Appends a text of the log, which is in Latin-1, for people to read: control characters become
 * \x1b and the like.
 * @param utf8 whether to write UTF-8; otherwise the bytes stay as they are
 */
void appendReadable(std::string &out, const char *text, std::size_t length, bool utf8);

/** Appends a text as a string of JSON, in UTF-8. */
void appendJson(std::string &out, const std::string &text);

/** Appends a text as a field of CSV, readable as above. */
void appendCsv(std::string &out, const std::string &text, bool utf8);

/** @return a text from the command line in the log's encoding; as it is if that is impossible */
std::string toLatin1(const std::string &text);

} // namespace qvlog

#endif
