// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_TEXTFILE_H
#define KIVSIM_TEXTFILE_H

#include <string>

namespace kivsim
{

/** @return whether the file could be read; if not, error says why in one line */
bool readTextFile(const std::string &fileName, std::string &text, std::string &error);

/**
 * Replaces a file in one step, so that whoever reads it sees the old or the new one, whole. A link,
 * a device and the like are written to.
 * @return whether that was possible; if not, error says why in one line
 */
bool writeTextFile(const std::string &fileName, const std::string &text, std::string &error);

} // namespace kivsim

#endif
