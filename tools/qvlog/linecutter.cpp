// SPDX-License-Identifier: LGPL-2.1-or-later
#include "linecutter.h"

#include <cstring>

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
    const char *const from = buffer.data() + scanned;
    const void *const found = std::memchr(from, '\n', buffer.size() - scanned);
    line = buffer.data() + begin;
    if (found) {
        const char *const end = static_cast<const char *>(found);
        length = static_cast<std::size_t>(end - line);
        begin = scanned = static_cast<std::size_t>(end - buffer.data()) + 1;
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
