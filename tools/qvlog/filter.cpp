// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/filter.h"

#include "qvlog/texts.h"
#include "qvlog/timearg.h"

#include <algorithm>
#include <climits>
#include <fnmatch.h>

namespace qvlog
{

namespace
{

bool matchesAny(const std::vector<std::string> &patterns, const std::string &name)
{
    return patterns.empty() ||
           std::any_of(patterns.begin(), patterns.end(), [&name](const std::string &pattern) {
               return ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
           });
}

bool parseNumber(const std::string &text, long long emptyMeans, long long &number)
{
    const std::size_t mostDigits = 10;
    number = emptyMeans;
    if (text.empty())
        return true;
    const std::string digits = text.substr(text[0] == '-' ? 1 : 0);
    if (digits.empty() || digits.size() > mostDigits ||
        digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    number = std::stoll(text);
    return true;
}

} // namespace

Pattern::~Pattern()
{
    if (compiled)
        ::regfree(&expression);
}

bool Pattern::compile(const std::string &text, bool ignoreCase, std::string &error)
{
    if (compiled)
        ::regfree(&expression);
    const int flags = REG_EXTENDED | (ignoreCase ? REG_ICASE : 0);
    const int result = ::regcomp(&expression, toLatin1(text).c_str(), flags);
    compiled = result == 0;
    if (compiled)
        return true;
    char reason[200];
    ::regerror(result, &expression, reason, sizeof reason);
    error = "bad regular expression '" + text + "': " + reason;
    return false;
}

bool Pattern::matches(const std::string &text) const
{
    // A message may hold NUL, so it is not its end that counts.
    regmatch_t range[1];
    range[0].rm_so = 0;
    range[0].rm_eo = static_cast<regoff_t>(text.size());
    return ::regexec(&expression, text.c_str(), 1, range, REG_STARTEND) == 0;
}

bool Filter::accepts(const Entry &entry) const
{
    if (!matchesAny(classes, entry.className) || !matchesAny(functions, entry.function))
        return false;
    if (!threads.empty() &&
        std::find(threads.begin(), threads.end(), entry.thread) == threads.end())
        return false;
    if (hasNumbers && (!entry.hasNumber || entry.number < firstNumber || entry.number > lastNumber))
        return false;
    return acceptsTime(entry) && (!pattern.isSet() || pattern.matches(entry.message) != invert);
}

bool Filter::acceptsTime(const Entry &entry) const
{
    if (!since.empty() && isEarlier(entry.sortTime, since))
        return false;
    return until.empty() || !isEarlier(until, entry.sortTime.substr(0, until.size()));
}

bool parseNumbers(const std::string &text, Filter &filter)
{
    const std::size_t dots = text.find("..");
    const std::string first = text.substr(0, dots);
    const std::string last = dots == std::string::npos ? text : text.substr(dots + 2);
    filter.hasNumbers = true;
    return text.size() > (dots == std::string::npos ? 0 : 2) &&
           parseNumber(first, LLONG_MIN, filter.firstNumber) &&
           parseNumber(last, LLONG_MAX, filter.lastNumber);
}

} // namespace qvlog
