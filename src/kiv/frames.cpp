// SPDX-License-Identifier: LGPL-2.1-or-later
#include "frames.h"

namespace qvcommon
{

namespace
{

const ushort tabulator = 0x09;
const ushort lineFeed = 0x0a;
const ushort formFeed = 0x0c;
const Size separatorLength = 2;

/** Whether a separator stands at @a index. */
bool separatorAt(const QString &text, Size index)
{
    const QChar *const c = text.constData() + index;
    return index + 1 < text.size() && c[0].unicode() == formFeed && c[1].unicode() == lineFeed;
}

/** The index of the first separator at or behind @a from, or the length of the text. */
Size findSeparator(const QString &text, Size from)
{
    while (from < text.size() && !separatorAt(text, from))
        ++from;
    return from;
}

/** Removes the first @a count characters, and with them the memory that a huge frame has taken. */
void dropFront(QString &buffer, Size count)
{
    if (buffer.capacity() > 2 * receiveReserve)
        buffer = buffer.mid(count);
    else
        buffer.remove(0, count);
}

} // namespace

void appendCleaned(QString &buffer, const QString &text)
{
    const Size before = buffer.size();
    buffer.resize(before + text.size() + 1); // one more for a form feed at the end
    QChar *out = buffer.data() + before;
    const QChar *const end = text.constData() + text.size();
    for (const QChar *c = text.constData(); c != end; ++c) {
        const ushort code = c->unicode();
        if (code == tabulator || code == lineFeed)
            continue;
        *out++ = *c;
        if (code == formFeed) {
            if (++c == end) {
                *out++ = QChar(0);
                break;
            }
            *out++ = *c;
        }
    }
    buffer.resize(Size(out - buffer.constData()));
}

FrameCut takeFrames(QString &buffer, Size searched)
{
    FrameCut cut;
    // A buffer that begins with a separator had nothing but separators in it at the last call.
    Size begin = separatorAt(buffer, 0) ? searched : 0;
    Size separator = findSeparator(buffer, searched);

    // A huge reply is usually alone in the buffer, which is then handed on without a copy.
    if (begin == 0 && separator > receiveReserve && separator + separatorLength == buffer.size()) {
        buffer.truncate(separator);
        cut.frames.append(buffer);
        buffer = QString();
        cut.unfinished = false;
        return cut;
    }

    while (separator < buffer.size()) {
        if (separator > begin)
            cut.frames.append(buffer.mid(begin, separator - begin));
        begin = separator + separatorLength;
        separator = findSeparator(buffer, begin);
    }
    cut.unfinished = begin < buffer.size();
    if (cut.unfinished || !cut.frames.isEmpty())
        dropFront(buffer, begin);
    return cut;
}

void discardReceived(QString &buffer)
{
    dropFront(buffer, buffer.size());
}

} // namespace qvcommon
