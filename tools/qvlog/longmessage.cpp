// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/longmessage.h"

namespace qvlog
{

namespace
{

// A message of this many characters gets a line of its own, is split in two, or is left out.
const int longMessage = 80;
const int splitMessage = 180;
const int hugeMessage = 360;

} // namespace

std::size_t partsOfMessage(int length)
{
    if (length < longMessage || length >= hugeMessage)
        return 0;
    return length < splitMessage ? 1 : 2;
}

std::string joinParts(const std::vector<std::string> &parts, int length)
{
    if (parts.size() < 2)
        return parts.empty() ? std::string() : parts.front();
    const std::size_t found = parts[0].size() + parts[1].size();
    const bool oneIsMissing = found + 1 == static_cast<std::size_t>(length);
    return parts[0] + (oneIsMissing ? " " : "") + parts[1];
}

} // namespace qvlog
