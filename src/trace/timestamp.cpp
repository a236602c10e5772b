// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace.h"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/time.h>
#include <unistd.h>

namespace
{

// Shared by all lines, under the lock of Trace.
char timestampBuffer[256];

/**
 * The variable TZ. As long as the environment has the same entries, which is seen without looking
 * into them, it is not searched again.
 */
class ZoneVariable
{
public:
    constexpr ZoneVariable()
        : known(false)
        , zone(nullptr)
        , entries()
    {
    }

    /** The value of TZ, or null. */
    const char *value()
    {
        if (!isSameEnvironment()) {
            remember(environ);
            zone = std::getenv("TZ");
        }
        return zone;
    }

private:
    bool isSameEnvironment() const
    {
        char *const *const now = environ;
        if (!now || !known)
            return false;
        size_t i = 0;
        while (now[i] && now[i] == entries[i])
            ++i;
        return now[i] == entries[i];
    }

    /** Remembers the entries, unless there are very many: then it is never the same environment. */
    void remember(char *const *entry)
    {
        const size_t room = sizeof entries / sizeof *entries;
        known = false;
        for (size_t i = 0; entry && i < room && !known; ++i) {
            entries[i] = entry[i];
            known = !entry[i];
        }
    }

    bool known;
    const char *zone;
    char *entries[64]; ///< up to a null
};

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

// Worked out when the second or the setting of the zone changes: without a setting, the C library
// looks at the file of the system's zone each time.
Calendar calendar;
ZoneVariable zoneVariable;

void updateCalendar(time_t second)
{
    const char *const zone = zoneVariable.value();
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
    return timestampBuffer;
}
