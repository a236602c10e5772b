// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_NODE_H
#define KIVCTL_NODE_H

#include <string>
#include <vector>

namespace kivctl
{

/** An element with what is in it, or a text between elements. */
struct Node {
    std::string name;           ///< empty for a text
    std::string attributes;     ///< as they are written, with a blank in front
    std::string markup;         ///< a text, as it is written
    std::vector<Node> children; ///< of an element

    bool isElement() const { return !name.empty(); }
    /** @return whether there are no elements in it */
    bool isLeaf() const;
    /** @return what its own text stands for */
    std::string text() const;
    /** @return whether a text is white space alone */
    bool isBlank() const;
};

/**
 * Reads XML with any number of elements at the top. Comments and the like are left out, and white
 * space that only sets elements apart.
 * @throws Failure
 */
std::vector<Node> parseNodes(const std::string &xml);

/** @return XML, on one line if no text in it has lines */
std::string compact(const std::vector<Node> &nodes);
/** @return XML with each element on a line of its own, indented */
std::string pretty(const std::vector<Node> &nodes);

} // namespace kivctl

#endif
