// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/time.h>

namespace
{

// Shared by all lines, under the lock of Trace.
char timestampBuffer[256];

/** The time zone that the environment asks for. */
struct ZoneSetting {
    /** @return whether the setting is still @a zone, the value of TZ or null */
    bool is(const char *zone) const
    {
        return known && isSet == (zone != nullptr) && (!zone || std::strcmp(text, zone) == 0);
    }

    /** Remembers a setting, unless its text is very long: then it is never the same again. */
    void set(const char *zone)
    {
        const size_t length = zone ? std::strlen(zone) : 0;
        isSet = zone != nullptr;
        known = length < sizeof text;
        if (known && zone)
            std::memcpy(text, zone, length + 1);
    }

    bool known;
    bool isSet;
    char text[64];
};

/** A second in local time, in digits. */
struct Calendar {
    time_t second;
    ZoneSetting zone;
    size_t length;
    char digits[64];
};

// Made anew when the second or TZ has changed. localtime() and strftime() for each line would make
// a line three times as expensive: without TZ, the C library asks for the state of /etc/localtime.
Calendar calendar;

void updateCalendar(time_t second)
{
    const char *const zone = std::getenv("TZ");
    if (calendar.second == second && calendar.zone.is(zone))
        return;
    calendar.second = second;
    calendar.zone.set(zone);
    // localtime() itself would share its result with the rest of the process.
    tm local;
    tzset();
    calendar.length =
        localtime_r(&second, &local)
            ? strftime(calendar.digits, sizeof calendar.digits, "%Y-%m-%d %H:%M:%S", &local)
            : 0;
}

} // namespace

char *updateTimestamp()
{
    timeval now = {0, 0};
    char *end = timestampBuffer;
    if (gettimeofday(&now, nullptr) == 0) {
        updateCalendar(now.tv_sec);
        std::memcpy(end, calendar.digits, calendar.length);
        end += calendar.length;
    }
    const int milliseconds = int(now.tv_usec / 1000);
    *end++ = '.';
    *end++ = char('0' + milliseconds / 100);
    *end++ = char('0' + milliseconds / 10 % 10);
    *end++ = char('0' + milliseconds % 10);
    *end = '\0';
    timestampBuffer[sizeof timestampBuffer - 1] = '\0'; // callers may have written to all of it
    return timestampBuffer;
}
