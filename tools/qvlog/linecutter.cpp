// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/linecutter.h"

namespace qvlog
{

namespace
{

const std::size_t longestLine = 1 << 16;

} // namespace

LineCutter::LineCutter()
    : begin(0)
    , scanned(0)
{
}

void LineCutter::feed(const char *bytes, std::size_t length)
{
    buffer.erase(0, begin);
    scanned -= begin;
    begin = 0;
    buffer.append(bytes, length);
}

bool LineCutter::next(const char *&line, std::size_t &length)
{
    const std::size_t found = buffer.find('\n', scanned);
    line = buffer.data() + begin;
    if (found != std::string::npos) {
        length = found - begin;
        begin = scanned = found + 1;
        return true;
    }
    scanned = buffer.size();
    length = scanned - begin;
    if (length < longestLine)
        return false;
    begin = scanned;
    return true;
}

bool LineCutter::takeRest(const char *&line, std::size_t &length)
{
    line = buffer.data() + begin;
    length = buffer.size() - begin;
    begin = scanned = buffer.size();
    return length > 0;
}

} // namespace qvlog
