// SPDX-License-Identifier: LGPL-2.1-or-later
#include "systemcalls.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <sys/time.h>

#if defined(__has_feature)
#    if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#        define SANITIZER_ALLOCATES
#    endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#    define SANITIZER_ALLOCATES
#endif

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace
{

enum Clock { RunningClock, StoppedClock, FailingClock } timeOfDayClock = RunningClock;
timeval stoppedAt = {0, 0};
int calls = 0;

SyslogRecord *record = nullptr;

void add(SyslogRecord::Call::Kind kind, int priority, int facility, const std::string &text,
         const std::string &result)
{
    const SyslogRecord::Call call = {kind, priority, facility, text, result};
    record->calls.append(call);
}

void announce(SyslogRecord::Call::Kind kind)
{
    if (record->before)
        record->before(kind);
}

} // namespace

void setTimeOfDay(time_t seconds, long microseconds)
{
    timeOfDayClock = StoppedClock;
    stoppedAt.tv_sec = seconds;
    stoppedAt.tv_usec = microseconds;
}

void failTimeOfDay()
{
    timeOfDayClock = FailingClock;
}

int timeOfDayCalls()
{
    return __atomic_load_n(&calls, __ATOMIC_RELAXED);
}

EXPORTED int gettimeofday(timeval *time, void *) noexcept
{
    __atomic_fetch_add(&calls, 1, __ATOMIC_RELAXED);
    if (timeOfDayClock == FailingClock) {
        errno = EINVAL;
        return -1;
    }
    *time = stoppedAt;
    if (timeOfDayClock == RunningClock) {
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        time->tv_sec = now.tv_sec;
        time->tv_usec = now.tv_nsec / 1000;
    }
    return 0;
}

SyslogRecord::SyslogRecord()
{
    record = this;
}

SyslogRecord::~SyslogRecord()
{
    record = nullptr;
}

EXPORTED void openlog(const char *ident, int option, int facility)
{
    if (!record)
        return;
    announce(SyslogRecord::Call::Open);
    add(SyslogRecord::Call::Open, option, facility, ident, ident);
}

EXPORTED void syslog(int priority, const char *format, ...)
{
    if (!record)
        return;
    announce(SyslogRecord::Call::Message);
    char *text = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    add(SyslogRecord::Call::Message, priority, 0, format, length < 0 ? "" : text);
    if (length >= 0)
        std::free(text);
}

EXPORTED void closelog()
{
    if (!record)
        return;
    announce(SyslogRecord::Call::Close);
    add(SyslogRecord::Call::Close, 0, 0, std::string(), std::string());
}

#ifdef SANITIZER_ALLOCATES

long allocations()
{
    return -1;
}

#else

static __thread long allocated = 0;

long allocations()
{
    return allocated;
}

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);
}

EXPORTED void *malloc(size_t size) noexcept
{
    ++allocated;
    return __libc_malloc(size);
}

EXPORTED void *calloc(size_t count, size_t size) noexcept
{
    ++allocated;
    return __libc_calloc(count, size);
}

EXPORTED void *realloc(void *memory, size_t size) noexcept
{
    ++allocated;
    return __libc_realloc(memory, size);
}

#endif
