// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_INVOCATION_H
#define KIVCTL_INVOCATION_H

#include "kivctl/output.h"
#include "kivctl/sockets.h"

#include <string>
#include <vector>

namespace kivctl
{

/** How data is shown. */
enum class Style { Xml, Pretty, Text, Lines };

/** What a command line asks for. */
struct Invocation {
    Address address;
    double timeout = 10;
    bool hasTimeout = false;
    Output::When colours = Output::Auto;

    std::string command; ///< empty for commands from standard input
    std::vector<std::string> arguments;
    Style style = Style::Xml;
    bool hasStyle = false;
    bool crc = false;
    long levels = -1; ///< of a tree; negative for all
    bool now = false;
    bool oneLevel = false;
    bool time = false;
    bool merge = false;
    std::string match;
    std::string tag;
    long count = 0;      ///< 0 for no limit
    double seconds = -1; ///< negative for no limit
    std::string listen;
    std::string to;
    std::string line;
    std::string data;
};

/**
 * Reads a command line.
 * @param words without the program's name
 * @param defaults what holds where the words say nothing
 * @throws Failure
 */
Invocation parseInvocation(const std::vector<std::string> &words, const Invocation &defaults);

/** @return the text of --help */
std::string helpText();
/** @return the line that --version prints */
std::string versionText();

/**
 * Cuts a line into words, as shells do: blanks, quotes, backslashes, # for a comment.
 * @throws Failure
 */
std::vector<std::string> wordsOf(const std::string &line);

} // namespace kivctl

#endif
