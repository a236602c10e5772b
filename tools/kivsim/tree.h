// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_TREE_H
#define KIVSIM_TREE_H

#include "kivsim/path.h"

#include <pugixml.hpp>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace kivsim
{

/** The device's configuration and state. Paths start at the children of the root element. */
class Tree
{
public:
    /** @param limit the largest tree, in bytes of its markup */
    explicit Tree(size_t limit);

    /**
     * Reads the data file anew. One beyond the limit is refused.
     * @return whether it could be read; if not, error says why in one line and the tree stays
     */
    bool load(const std::string &fileName, std::string &error);

    /**
     * Writes a data file that can be loaded again.
     * @return whether it could be written; if not, error says why in one line
     */
    bool save(const std::string &fileName, std::string &error) const;

    /**
     * To be called before so many bytes of markup come into the tree. What an edit replaces counts
     * until it is gone.
     * @throws RequestError if the tree might become larger than the limit
     */
    void makeRoom(size_t bytes);

    /** @return the root element */
    pugi::xml_node root() const;
    /** @return all elements that a path designates, in document order */
    std::vector<pugi::xml_node> find(const Path &path) const;

    /**
     * @return the elements that the path designates as markup, each with all that is in it; for
     * the root, what is in it; empty if there is nothing
     */
    std::string content(const Path &path) const;
    /** @return the same with only the direct children, these with their own text and list keys */
    std::string shallowContent(const Path &path) const;

    /** @return the key elements of the lists whose entries have that name; empty if not a list */
    const std::vector<std::string> &listKeys(const std::string &name) const;
    /** @return the key elements of an entry and their values; empty if it is no complete entry */
    std::vector<Key> entryKeys(const pugi::xml_node &element) const;

private:
    void readListKeys();

    const size_t limit;
    size_t mostBytes; ///< the tree is not larger than this; when it may be less is seen on demand
    pugi::xml_document document;
    std::map<std::string, std::vector<std::string>> keysOfLists;
};

/** @return the children that a step designates, in document order */
std::vector<pugi::xml_node> childrenMatching(const pugi::xml_node &parent, const Step &step);

} // namespace kivsim

#endif
