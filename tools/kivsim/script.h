// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_SCRIPT_H
#define KIVSIM_SCRIPT_H

#include "kivsim/edit.h"

#include <cstddef>
#include <string>
#include <vector>

namespace kivsim
{

/** One line of a script. */
struct ScriptStep {
    enum Kind { Wait, Change, Walk, Repeat, End };
    Kind kind = Wait;
    int line = 0;     ///< in the file
    int time = 0;     ///< of a Wait, in milliseconds
    int times = 0;    ///< of a Repeat; 0 for ever
    size_t other = 0; ///< the End of a Repeat, or the other way round
    Edit::Op op = Edit::Patch;
    std::string path;
    std::string data; ///< of a Change: the data element
    int smallest = 0; ///< of a Walk
    int largest = 0;
    int stride = 0; ///< longest step
};

typedef std::vector<ScriptStep> Script;

/**
 * Reads a script: what happens to the tree, and when.
 * @return whether it was understood; if not, error says where and why in one line
 */
bool loadScript(const std::string &fileName, Script &script, std::string &error);

/** The same for what a file holds. */
bool parseScript(const std::string &text, const std::string &fileName, Script &script,
                 std::string &error);

} // namespace kivsim

#endif
