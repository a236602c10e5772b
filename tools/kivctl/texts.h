// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_TEXTS_H
#define KIVCTL_TEXTS_H

#include <cstdint>
#include <string>

namespace kivctl
{

/** @return a text with the characters of markup escaped */
std::string escaped(const std::string &text);
/** @return what a text in markup stands for; what is no known reference stays as it is */
std::string unescaped(const std::string &markup);

/** @return a text on one line: control characters and backslashes as \n, \t, \\, \x1b */
std::string onOneLine(const std::string &text);
/** @return a text for a terminal: control characters but line feeds and tabs as \x1b */
std::string harmless(const std::string &text);

/** @return the CRC-32 of IEEE 802.3 */
std::uint32_t checksum(const std::string &bytes);

/** @return the local time, with milliseconds: 2024-03-01 13:04:05.042 */
std::string timeOfDay();

} // namespace kivctl

#endif
