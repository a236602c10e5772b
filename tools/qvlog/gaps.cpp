// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/gaps.h"

#include <algorithm>
#include <climits>

namespace qvlog
{

namespace
{

const std::size_t mostGaps = 10000;
/** Behind the largest number comes the smallest; here they go on, so that they can be compared. */
const long long allNumbers = 1LL << 32;

/** How far a number lies ahead of another, whichever way round is shorter. */
long long distance(long long from, long long to)
{
    const long long step = (to - from) % allNumbers;
    if (step >= allNumbers / 2)
        return step - allNumbers;
    return step < -allNumbers / 2 ? step + allNumbers : step;
}

/** A number as the files have it. */
std::string inFiles(long long number)
{
    return std::to_string(distance(0, number));
}

} // namespace

void Gaps::add(const Entry &entry)
{
    if (!entry.hasNumber)
        return;
    logName = *entry.log;
    if (run != entry.run) {
        run = entry.run;
        highest = entry.number;
    } else {
        const long long step = distance(highest, entry.number);
        if (step <= 0) {
            addLate(highest + step);
            return;
        }
        if (step > 1 && gaps.size() == mostGaps)
            ++forgotten;
        else if (step > 1)
            gaps.push_back(Gap{run, highest + 1, highest + step - 1, lastTime, entry.sortTime});
        highest += step;
    }
    lastTime = entry.sortTime;
}

/** Takes a number out of the gap that it has been missing in. */
void Gaps::addLate(long long number)
{
    for (std::size_t i = gaps.size(); i-- > 0 && gaps[i].run == run;) {
        Gap &gap = gaps[i];
        if (number < gap.first || number > gap.last)
            continue;
        Gap upper = gap;
        upper.first = number + 1;
        gap.last = number - 1;
        if (upper.first <= upper.last)
            gaps.insert(gaps.begin() + static_cast<std::ptrdiff_t>(i) + 1, upper);
        if (gaps[i].first > gaps[i].last)
            gaps.erase(gaps.begin() + static_cast<std::ptrdiff_t>(i));
        return;
    }
}

std::string Gaps::text() const
{
    std::string out;
    long long sum = 0;
    for (const Gap &gap : gaps) {
        const long long count = gap.last - gap.first + 1;
        sum += count;
        out += logName + " run " + std::to_string(gap.run) + ": " + inFiles(gap.first);
        if (count > 1)
            out += ".." + inFiles(gap.last);
        out += count > 1 ? " are missing (" + std::to_string(count) + ")" : " is missing";
        out += ", between " + gap.before + " and " + gap.after + '\n';
    }
    if (forgotten > 0)
        out += "and " + std::to_string(forgotten) + " gaps more\n";
    out += std::to_string(sum) + (sum == 1 ? " number is missing\n" : " numbers are missing\n");
    return out;
}

} // namespace qvlog
