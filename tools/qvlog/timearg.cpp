// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/timearg.h"

#include <algorithm>
#include <cstring>

namespace qvlog
{

namespace
{

const char dateForm[] = "0000-00-00";
const char timeForm[] = "00:00:00.000";

std::string formatted(const char *form, std::time_t time)
{
    char text[64];
    struct tm parts;
    if (!::localtime_r(&time, &parts))
        return std::string();
    return std::string(text, std::strftime(text, sizeof text, form, &parts));
}

/** Whether a text has the form of the first characters of another. */
bool hasForm(const std::string &text, const char *form)
{
    if (text.size() > std::strlen(form))
        return false;
    return std::equal(text.begin(), text.end(), form, [](char c, char expected) {
        return expected == '0' ? c >= '0' && c <= '9' : c == expected;
    });
}

int numberAt(const std::string &text, std::size_t at)
{
    return 10 * (text[at] - '0') + text[at + 1] - '0';
}

bool isDate(const std::string &text)
{
    if (text.size() != std::strlen(dateForm) || !hasForm(text, dateForm))
        return false;
    const int month = numberAt(text, 5);
    const int day = numberAt(text, 8);
    return month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

bool isTimeOfDay(const std::string &text)
{
    const bool isWhole = text.size() == 5 || text.size() == 8 || text.size() == 12;
    return isWhole && hasForm(text, timeForm) && numberAt(text, 0) < 24 && numberAt(text, 3) < 60 &&
           (text.size() == 5 || numberAt(text, 6) <= 60); // a leap second
}

/** Some time of the day before; days may have 23 or 25 hours. */
std::time_t dayBefore(std::time_t now)
{
    struct tm parts;
    if (!::localtime_r(&now, &parts))
        return now;
    parts.tm_mday -= 1;
    parts.tm_hour = 12;
    parts.tm_isdst = -1;
    return ::mktime(&parts);
}

bool parseAgo(const std::string &text, std::time_t now, std::string &time)
{
    static const struct {
        const char *name;
        long long seconds;
    } units[] = {{"s", 1},    {"sec", 1},     {"m", 60},    {"min", 60},
                 {"h", 3600}, {"hour", 3600}, {"d", 86400}, {"day", 86400}};
    const std::size_t mostDigits = 8;
    const std::size_t end = text.find_first_not_of("0123456789", 1);
    if (text.empty() || text[0] != '-' || end == std::string::npos || end == 1 ||
        end > mostDigits + 1)
        return false;
    const std::string unit = text.substr(end);
    for (const auto &known : units) {
        if (unit == known.name) {
            // The clock of 32 bits does not go back any number of days.
            const long long seconds = std::stoll(text.substr(1, end)) * known.seconds;
            time = formatted("%Y-%m-%d %H:%M:%S",
                             seconds < now ? now - static_cast<std::time_t>(seconds) : 0);
            return true;
        }
    }
    return false;
}

} // namespace

bool parseTime(const std::string &text, std::time_t now, std::string &time)
{
    const std::size_t dateLength = std::strlen(dateForm);
    if (text == "now")
        time = formatted("%Y-%m-%d %H:%M:%S", now);
    else if (text == "today")
        time = formatted("%Y-%m-%d", now);
    else if (text == "yesterday")
        time = formatted("%Y-%m-%d", dayBefore(now));
    else if (isTimeOfDay(text))
        time = formatted("%Y-%m-%d ", now) + text;
    else if (isDate(text) || (text.size() > dateLength + 1 && isDate(text.substr(0, dateLength)) &&
                              (text[dateLength] == ' ' || text[dateLength] == 'T') &&
                              isTimeOfDay(text.substr(dateLength + 1))))
        time = text;
    else
        return parseAgo(text, now, time);
    if (time.size() > dateLength)
        time[dateLength] = ' ';
    return true;
}

bool isEarlier(const std::string &a, const std::string &b)
{
    const std::size_t yearOfA = std::min(a.find('-'), a.size());
    const std::size_t yearOfB = std::min(b.find('-'), b.size());
    return yearOfA != yearOfB ? yearOfA < yearOfB : a < b;
}

} // namespace qvlog
