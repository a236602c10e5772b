// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/gaps.h"

#include <algorithm>
#include <climits>

namespace qvlog
{

namespace
{

const std::size_t mostGaps = 10000;
/** Behind the largest number comes the smallest. */
const long long allNumbers = 1LL << 32;

} // namespace

void Gaps::add(const Entry &entry)
{
    if (!entry.hasNumber && entry.kind != Entry::TooLong)
        return;
    logName = *entry.log;
    if (run != entry.run) {
        run = entry.run;
        highest = entry.number;
    } else {
        long long step = entry.number - highest;
        if (step < -allNumbers / 2)
            step += allNumbers;
        if (step <= 0) {
            addLate(entry);
            return;
        }
        if (step > 1 && gaps.size() == mostGaps)
            ++forgotten;
        else if (step > 1)
            gaps.push_back(Gap{run, highest + 1, highest + step - 1, lastTime, entry.sortTime});
        highest = entry.number;
    }
    lastTime = entry.sortTime;
}

/** Takes a number out of the gap that it has been missing in. */
void Gaps::addLate(const Entry &entry)
{
    const long long number = entry.number;
    for (std::size_t i = gaps.size(); i-- > 0 && gaps[i].run == entry.run;) {
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
        out += logName + " run " + std::to_string(gap.run) + ": " + std::to_string(gap.first);
        if (count > 1)
            out += ".." + std::to_string(gap.last);
        out += count > 1 ? " are missing (" + std::to_string(count) + ")" : " is missing";
        out += ", between " + gap.before + " and " + gap.after + '\n';
    }
    if (forgotten > 0)
        out += "and " + std::to_string(forgotten) + " gaps more\n";
    out += std::to_string(sum) + (sum == 1 ? " number is missing\n" : " numbers are missing\n");
    return out;
}

} // namespace qvlog
