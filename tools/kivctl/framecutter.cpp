// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivctl/framecutter.h"

namespace kivctl
{

namespace
{

const char separator[] = "\f\n";
const std::size_t separatorLength = 2;

} // namespace

FrameCutter::FrameCutter(std::size_t longest)
    : limit(longest)
    , begin(0)
    , scanned(0)
{
}

void FrameCutter::feed(const char *bytes, std::size_t length)
{
    buffer.erase(0, begin);
    scanned -= begin;
    begin = 0;
    buffer.append(bytes, length);
}

bool FrameCutter::next(std::string &frame)
{
    const std::size_t found = buffer.find(separator, scanned, separatorLength);
    if (found != std::string::npos) {
        frame.assign(buffer, begin, found - begin);
        begin = scanned = found + separatorLength;
        return true;
    }
    // The last byte may be the first half of a separator.
    scanned = buffer.size() > begin ? buffer.size() - 1 : begin;
    return false;
}

std::string FrameCutter::takeRest()
{
    std::string rest = buffer.substr(begin);
    buffer.clear();
    begin = scanned = 0;
    return rest;
}

} // namespace kivctl
