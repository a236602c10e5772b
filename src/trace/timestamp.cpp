// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/time.h>

// Shared by all lines, under the lock of Trace.
static char timestampBuffer[256];

char *updateTimestamp()
{
    timeval now = {0, 0};
    timestampBuffer[0] = '\0';
    if (gettimeofday(&now, nullptr) == 0) {
        // localtime() itself would share its result with the rest of the process.
        tm local;
        tzset();
        if (localtime_r(&now.tv_sec, &local) &&
            strftime(timestampBuffer, sizeof timestampBuffer, "%Y-%m-%d %H:%M:%S", &local) == 0)
            timestampBuffer[0] = '\0';
    }
    char milliseconds[32];
    std::snprintf(milliseconds, sizeof milliseconds, ".%3.3ld", long(now.tv_usec / 1000));
    std::strncat(timestampBuffer, milliseconds,
                 sizeof timestampBuffer - 1 - std::strlen(timestampBuffer));
    return timestampBuffer;
}
