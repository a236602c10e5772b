// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/view.h"

#include "qvlog/timearg.h"

namespace qvlog
{

namespace
{

/** The next entry of a log, while others are looked at. */
struct Head {
    LogReader *reader;
    Entry entry;
};

bool handOnByTime(const LogReaders &readers, const EntryTaker &take)
{
    std::vector<Head> heads;
    for (const std::unique_ptr<LogReader> &reader : readers) {
        heads.push_back(Head{reader.get(), Entry()});
        if (reader->next(heads.back().entry) != LogReader::Got)
            heads.pop_back();
    }
    while (!heads.empty()) {
        std::size_t first = 0;
        for (std::size_t i = 1; i < heads.size(); ++i) {
            if (isEarlier(heads[i].entry.sortTime, heads[first].entry.sortTime))
                first = i;
        }
        if (!take(heads[first].entry))
            return false;
        if (heads[first].reader->next(heads[first].entry) != LogReader::Got)
            heads.erase(heads.begin() + static_cast<std::ptrdiff_t>(first));
    }
    return true;
}

} // namespace

bool handOnEntries(const LogReaders &readers, bool byTime, const EntryTaker &take)
{
    if (byTime)
        return handOnByTime(readers, take);
    Entry entry;
    for (const std::unique_ptr<LogReader> &reader : readers) {
        while (reader->next(entry) == LogReader::Got) {
            if (!take(entry))
                return false;
        }
    }
    return true;
}

} // namespace qvlog
