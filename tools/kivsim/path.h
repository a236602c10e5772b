// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_PATH_H
#define KIVSIM_PATH_H

#include <cstddef>
#include <string>
#include <vector>

namespace kivsim
{

/** One [name='value'] of a step. */
struct Key {
    std::string name;
    std::string value;
};

/** One step of a path: an element name and the keys that choose among its namesakes. */
struct Step {
    std::string name;
    std::vector<Key> keys;
};

/** A path into the tree. The path without steps, "/", is the root. */
class Path
{
public:
    /**
     * Reads a path such as "/config/interfaces/interface[name='eth0']/mtu". Leading, trailing and
     * doubled slashes do not count; values stand in single or double quotes.
     * @throws RequestError of type protocol
     */
    static Path parse(const std::string &text);

    const std::vector<Step> &steps() const { return allSteps; }
    bool isRoot() const { return allSteps.empty(); }
    /** @return the path in its usual spelling */
    std::string text() const;
    /** @return the path without its last step; not for the root */
    Path parent() const;
    /** @return the path followed by the steps of another one */
    Path joined(const Path &relative) const;
    /** @return whether all that this path designates lies in what the other one designates */
    bool isWithin(const Path &other) const;
    /** @return whether one of the two may designate something inside of the other */
    bool mayMeet(const Path &other) const;

private:
    std::vector<Step> allSteps;
};

} // namespace kivsim

#endif
