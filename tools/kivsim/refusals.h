// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVSIM_REFUSALS_H
#define KIVSIM_REFUSALS_H

#include "kivsim/path.h"

#include <string>
#include <vector>

namespace kivsim
{

/** Paths at which requests are refused, so that an application's answer to that can be tried. */
class Refusals
{
public:
    /**
     * Reads PATH or PATH:TYPE; the type of the error is "application" unless stated.
     * @return whether it was understood; if not, error says why in one line
     */
    bool add(const std::string &text, std::string &error);

    /** @throws RequestError if the path lies in one that is refused */
    void check(const Path &path) const;

private:
    struct Refusal {
        Path path;
        std::string type;
    };
    std::vector<Refusal> refusals;
};

} // namespace kivsim

#endif
