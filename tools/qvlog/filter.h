// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef QVLOG_FILTER_H
#define QVLOG_FILTER_H

#include "qvlog/entry.h"

#include <memory>
#include <regex.h>
#include <string>
#include <vector>

namespace qvlog
{

/** A POSIX extended regular expression for texts of the log. */
class Pattern
{
public:
    Pattern() = default;
    ~Pattern();

    /** @return whether it could be understood; if not, error says why in one line */
    bool compile(const std::string &text, bool ignoreCase, std::string &error);
    bool isSet() const { return compiled; }
    bool matches(const std::string &text) const;

private:
    Pattern(const Pattern &) = delete;
    Pattern &operator=(const Pattern &) = delete;

    regex_t expression;
    bool compiled = false;
};

/** Which entries are wanted. */
struct Filter {
    std::vector<std::string> classes;   ///< as shells know patterns; any of them, or all if empty
    std::vector<std::string> functions; ///< the same
    std::vector<std::string> threads;   ///< any of them, or all if empty
    Pattern pattern;
    bool invert = false;
    std::string since; ///< empty for no limit
    std::string until; ///< the same; included, as far as it is given
    bool hasNumbers = false;
    long long firstNumber = 0;
    long long lastNumber = 0;

    bool accepts(const Entry &entry) const;

private:
    bool acceptsTime(const Entry &entry) const;
};

/** Reads "A..B", "A..", "..B" or "A". @return whether it was understood */
bool parseNumbers(const std::string &text, Filter &filter);

} // namespace qvlog

#endif
