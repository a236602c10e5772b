// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_LONGMESSAGE_H
#define QVLOG_LONGMESSAGE_H

#include <cstddef>
#include <string>
#include <vector>

namespace qvlog
{

/** @return in how many lines a message of so many characters follows its entry */
std::size_t partsOfMessage(int length);

/**
 * Makes one text of the parts of a message. It was cut at a fixed character, and blanks at the cut
 * are lost; a blank is put there if exactly one is missing.
 * @param length what it had before white space was removed
 */
std::string joinParts(const std::vector<std::string> &parts, int length);

} // namespace qvlog

#endif
