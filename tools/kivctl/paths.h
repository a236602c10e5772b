// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_PATHS_H
#define KIVCTL_PATHS_H

#include "kivctl/node.h"

#include <string>
#include <utility>
#include <vector>

namespace kivctl
{

/** @return the element name of a path's last step, without keys; empty if it has none */
std::string lastStepName(const std::string &path);

/**
 * @return a value in quotes, for a key of a path
 * @throws Failure if it holds both kinds of quotes
 */
std::string quoted(const std::string &value);

/**
 * Tells elements of the same name in one parent apart.
 * @return for each node what goes behind its name in a path: keys, as [name='eth0'], where the
 * first values in each of them differ, or else the number, as [2]; nothing if the name is enough
 */
std::vector<std::string> distinctions(const std::vector<Node> &nodes);

typedef std::pair<std::string, std::string> Leaf; ///< the path and the text

/** @return all leaves of what a path designates, attributes included */
std::vector<Leaf> leavesOf(const std::vector<Node> &nodes, const std::string &path);

/** @return a leaf on one line, as path=value */
std::string leafLine(const Leaf &leaf);

} // namespace kivctl

#endif
