// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/framesplitter.h"

namespace kivsim
{

namespace
{

const char separator[] = "\f\n";
const size_t separatorLength = 2;
/** An empty buffer beyond this is given back. */
const size_t keptCapacity = 1 << 20;

} // namespace

FrameSplitter::FrameSplitter(size_t limit)
    : limit(limit)
{
}

void FrameSplitter::append(const char *bytes, size_t length)
{
    compact();
    buffer.append(bytes, length);
}

void FrameSplitter::compact()
{
    buffer.erase(0, frameBegin);
    scanned -= frameBegin;
    frameBegin = 0;
    if (buffer.empty() && buffer.capacity() > keptCapacity)
        std::string().swap(buffer);
}

FrameSplitter::Result FrameSplitter::next(const char *&frame, size_t &length)
{
    for (;;) {
        const size_t end = buffer.find(separator, scanned, separatorLength);
        const size_t begin = frameBegin;
        if (end != std::string::npos) {
            frameBegin = scanned = end + separatorLength;
            if (discarding) {
                discarding = false;
                continue;
            }
            frame = buffer.data() + begin;
            length = end - begin;
            return length > limit ? TooLong : Complete;
        }
        // A form feed at the end may be the first half of a separator.
        scanned = buffer.size();
        if (scanned > frameBegin && buffer[scanned - 1] == separator[0])
            --scanned;
        frame = buffer.data() + begin;
        length = scanned - begin;
        const bool newlyTooLong = !discarding && length > limit;
        discarding = discarding || newlyTooLong;
        if (discarding)
            frameBegin = scanned;
        return newlyTooLong ? TooLong : Incomplete;
    }
}

} // namespace kivsim
