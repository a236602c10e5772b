// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_OPTIONS_H
#define KIVSIM_OPTIONS_H

#include "kivsim/misbehaviour.h"
#include "kivsim/refusals.h"
#include "kivsim/script.h"

#include <string>

namespace kivsim
{

/** What the command line asks for. */
struct Options {
    enum Action { Run, Check, ShowHelp, ShowVersion };
    Action action = Run;
    std::string socketPath = "/tmp/kivd"; ///< empty for none
    int port = 0;                         ///< 0 for any that is free
    std::string dataFile;                 ///< empty for the one that comes with the program
    int maxFrame = 32 << 20;              ///< longest request in bytes
    int maxOutput = 64 << 20;             ///< most bytes that may wait for one client
    int maxTree = 32 << 20;               ///< largest tree, in bytes of its markup
    int maxClients = 500;
    bool verbose = false;
    std::string scriptFile; ///< empty for none
    Script script;
    std::string saveFile; ///< where the tree goes in the end; empty for nowhere
    Refusals refusals;
    Misbehaviour misbehaviour; ///< of every new connection
};

/**
 * Reads the command line.
 * @return whether it was understood; if not, error says why in one line
 */
bool parseOptions(int argc, char *argv[], Options &options, std::string &error);

/** @return the text of --help */
std::string helpText();

} // namespace kivsim

#endif
