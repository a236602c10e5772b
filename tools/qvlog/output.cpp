// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/output.h"

#include <cerrno>
#include <unistd.h>

namespace qvlog
{

bool Output::settle()
{
    const std::size_t much = 1 << 16;
    return text.size() < much || flush();
}

bool Output::flush()
{
    const char *from = text.data();
    std::size_t rest = text.size();
    while (rest > 0) {
        const ssize_t written = ::write(STDOUT_FILENO, from, rest);
        if (written < 0 && errno != EINTR)
            return false;
        if (written > 0) {
            from += written;
            rest -= static_cast<std::size_t>(written);
        }
    }
    text.clear();
    return true;
}

} // namespace qvlog
