// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_EDIT_H
#define KIVSIM_EDIT_H

#include "kivsim/path.h"

#include <pugixml.hpp>

#include <string>

namespace kivsim
{

class Tree;

/** A change that a client asks for. */
struct Edit {
    enum Op { Patch, Replace, Delete };
    Op op;
    Path path;
    pugi::xml_node data; ///< the data element of the request; null if it has none
    bool validate;
};

/** What has become of it. */
struct EditResult {
    bool changed;        ///< whether the tree differs now
    std::string content; ///< what the edit brought, list keys of the path included
};

/** @return the operation's word in requests and notifications */
const char *opName(Edit::Op op);

/** @throws RequestError of type protocol for an unknown word */
Edit::Op opFromName(const std::string &name);

/**
 * Changes the tree, or leaves it wholly as it was.
 * @throws RequestError
 */
EditResult applyEdit(Tree &tree, const Edit &edit);

} // namespace kivsim

#endif
