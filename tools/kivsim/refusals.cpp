// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/refusals.h"

#include "kivsim/requesterror.h"
#include "kivsim/xmlinput.h"

namespace kivsim
{

bool Refusals::add(const std::string &text, std::string &error)
{
    // A colon may also stand in the value of a key, and then a quote stands behind it.
    const size_t colon = text.rfind(':');
    const std::string type = colon == std::string::npos ? "" : text.substr(colon + 1);
    const bool hasType = isPlainName(type);
    try {
        const Path path = Path::parse(hasType ? text.substr(0, colon) : text);
        refusals.push_back(Refusal{path, hasType ? type : "application"});
        return true;
    } catch (const RequestError &failure) {
        error = "--refuse needs PATH or PATH:TYPE: " + std::string(failure.what());
        return false;
    }
}

void Refusals::check(const Path &path) const
{
    for (const Refusal &refusal : refusals) {
        if (path.isWithin(refusal.path))
            throw RequestError(refusal.type.c_str(), "refused: " + path.text());
    }
}

} // namespace kivsim
