// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_SLICES_H
#define KIVCTL_SLICES_H

#include <cstddef>
#include <string>
#include <vector>

namespace kivctl
{

/** An element of an XML text, by the place of its content. */
struct Slice {
    std::string name;
    std::size_t begin;
    std::size_t end;
};

/**
 * Finds the elements that stand directly in a part of a text.
 * @return whether all of the part is well-formed
 */
bool findElements(const std::string &text, std::size_t begin, std::size_t end,
                  std::vector<Slice> &elements);

} // namespace kivctl

#endif
