// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef KIVCTL_DEADLINE_H
#define KIVCTL_DEADLINE_H

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

namespace kivctl
{

/** A point in time at which waiting ends, or never. */
class Deadline
{
public:
    static Deadline never() { return Deadline(std::numeric_limits<double>::infinity()); }
    static Deadline in(double seconds) { return Deadline(now() + seconds); }

    /** For poll(). @return the milliseconds left, rounded up; -1 for no limit */
    int milliseconds() const
    {
        const double longest = 3600000.0;
        if (std::isinf(time))
            return -1;
        return static_cast<int>(std::ceil(std::min(std::max(time - now(), 0.0) * 1000, longest)));
    }
    bool isOver() const { return now() >= time; }
    Deadline orEarlier(const Deadline &other) const { return Deadline(std::min(time, other.time)); }

    /** @return seconds of a clock that never goes back */
    static double now()
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }

private:
    explicit Deadline(double seconds)
        : time(seconds)
    {
    }
    double time;
};

} // namespace kivctl

#endif
