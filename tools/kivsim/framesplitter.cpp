// SPDX-License-Identifier: LGPL-2.1-or-later
#include "framesplitter.h"

namespace kivsim
{

namespace
{

const char separator[] = "\f\n";
const std::size_t separatorLength = 2;
/** An empty buffer beyond this is given back. */
const std::size_t keptCapacity = 1 << 20;

} // namespace

FrameSplitter::FrameSplitter(std::size_t limit)
    : m_limit(limit)
{
}

void FrameSplitter::append(const char *bytes, std::size_t length)
{
    compact();
    m_buffer.append(bytes, length);
}

void FrameSplitter::compact()
{
    m_buffer.erase(0, m_begin);
    m_scanned -= m_begin;
    m_begin = 0;
    if (m_buffer.empty() && m_buffer.capacity() > keptCapacity)
        std::string().swap(m_buffer);
}

FrameSplitter::Result FrameSplitter::next(const char *&frame, std::size_t &length)
{
    for (;;) {
        const std::size_t end = m_buffer.find(separator, m_scanned, separatorLength);
        const std::size_t begin = m_begin;
        if (end != std::string::npos) {
            m_begin = m_scanned = end + separatorLength;
            if (m_discarding) {
                m_discarding = false;
                continue;
            }
            frame = m_buffer.data() + begin;
            length = end - begin;
            return length > m_limit ? TooLong : Complete;
        }
        // A form feed at the end may be the first half of a separator.
        m_scanned = m_buffer.size();
        if (m_scanned > m_begin && m_buffer[m_scanned - 1] == separator[0])
            --m_scanned;
        frame = m_buffer.data() + begin;
        length = m_scanned - begin;
        const bool newlyTooLong = !m_discarding && length > m_limit;
        m_discarding = m_discarding || newlyTooLong;
        if (m_discarding)
            m_begin = m_scanned;
        return newlyTooLong ? TooLong : Incomplete;
    }
}

} // namespace kivsim
