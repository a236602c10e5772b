// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_LINECUTTER_H
#define QVLOG_LINECUTTER_H

#include <cstddef>
#include <string>

namespace qvlog
{

/** Cuts bytes into lines. A line of more than 64 kB comes in pieces, so that memory stays flat. */
class LineCutter
{
public:
    LineCutter();

    void feed(const char *bytes, std::size_t length);
    /** @return whether there is a whole line; it stands without its newline, until the next call */
    bool next(const char *&line, std::size_t &length);
    /** Takes what there is behind the last newline. @return whether that is anything */
    bool takeRest(const char *&line, std::size_t &length);

private:
    std::string buffer;
    std::size_t begin;
    std::size_t scanned;
};

} // namespace qvlog

#endif
