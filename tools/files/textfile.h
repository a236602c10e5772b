// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef FILES_TEXTFILE_H
#define FILES_TEXTFILE_H

#include <cstdio>
#include <string>

// Text files that tools read and write as a whole. Where that is not possible, an error says why in
// one line.
namespace files
{

/** Appends all of a file to a text. @return whether that was possible */
bool readTextFile(const std::string &fileName, std::string &text, std::string &error);

/**
 * The same of a stream that is open already, and stays so.
 * @param name what an error calls it
 */
bool readStream(std::FILE *stream, const std::string &name, std::string &text, std::string &error);

/**
 * Replaces a file in one step, so that whoever reads it sees the old or the new one, whole. A link,
 * a device and the like are written to.
 * @return whether that was possible
 */
bool writeTextFile(const std::string &fileName, const std::string &text, std::string &error);

} // namespace files

#endif
