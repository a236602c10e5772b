// SPDX-License-Identifier: LGPL-2.1-or-later
#include "frames.h"

#include <QtCore/QVarLengthArray>

#include <algorithm>
#include <cstring>

namespace qvcommon
{

namespace
{

const char tabulator = '\t';
const char lineFeed = '\n';
const char formFeed = '\f';
const Size separatorLength = 2;

/** Where separators stand in a receive buffer. */
typedef QVarLengthArray<Size, 32> Separators;

ushort codeOf(char byte)
{
    return uchar(byte);
}

ushort codeOf(QChar character)
{
    return character.unicode();
}

const char *find(const char *from, const char *end, char wanted)
{
    const void *const found = std::memchr(from, wanted, size_t(end - from));
    return found ? static_cast<const char *>(found) : end;
}

const QChar *find(const QChar *from, const QChar *end, char wanted)
{
    return std::find(from, end, QLatin1Char(wanted));
}

/** The places of one character in a text, from the front to the back. */
template <typename Char>
class Occurrences
{
public:
    Occurrences(char wanted, const Char *begin, const Char *end)
        : wanted(wanted)
        , end(end)
        , next(find(begin, end, wanted))
    {
    }

    /** The first one at or behind @a from, or the end. */
    const Char *notBefore(const Char *from)
    {
        if (next < from)
            next = find(from, end, wanted);
        return next;
    }

private:
    const char wanted;
    const Char *const end;
    const Char *next;
};

/**
 * Appends text to a receive buffer, cleaned, and notes the separators in it. They can only stand in
 * what is new, and only where a line feed was kept because of the form feed before it.
 */
template <typename Char>
void appendCleaned(QString &buffer, const Char *from, const Char *end, Separators &separators)
{
    const Size before = buffer.size();
    buffer.resize(before + Size(end - from) + 1); // one more for a form feed at the end
    QChar *const begin = buffer.data();
    QChar *out = begin + before;
    Occurrences<Char> tabulators(tabulator, from, end);
    Occurrences<Char> lineFeeds(lineFeed, from, end);
    Occurrences<Char> formFeeds(formFeed, from, end);
    while (from != end) {
        const Char *const behind =
            std::min(std::min(tabulators.notBefore(from), lineFeeds.notBefore(from)),
                     formFeeds.notBefore(from));
        for (; from != behind; ++from)
            *out++ = QChar(codeOf(*from));
        if (from == end)
            break;
        if (codeOf(*from++) != formFeed)
            continue;
        const ushort second = from != end ? codeOf(*from++) : ushort(0);
        if (second == lineFeed)
            separators.append(Size(out - begin));
        *out++ = QLatin1Char(formFeed);
        *out++ = QChar(second);
    }
    buffer.resize(Size(out - begin));
}

bool beginsWithSeparator(const QString &buffer)
{
    return buffer.size() >= separatorLength && buffer.at(0) == QLatin1Char(formFeed) &&
           buffer.at(1) == QLatin1Char(lineFeed);
}

/** Removes the first @a count characters, and with them the memory that a huge frame has taken. */
void dropFront(QString &buffer, Size count)
{
    if (buffer.capacity() > 2 * receiveReserve)
        buffer = buffer.mid(count);
    else
        buffer.remove(0, count);
}

/** Moves a huge frame out of the buffer that it fills, without a copy and without unused memory. */
QString takeWhole(QString &buffer)
{
    QString frame;
    frame.swap(buffer);
    frame.truncate(frame.size() - separatorLength);
    frame.squeeze();
    return frame;
}

/** Moves the complete frames out of the buffer, of which @a kept characters are not new. */
void takeFrames(Reception &reception, QString &buffer, Size kept, const Separators &separators)
{
    // A buffer that begins with a separator had nothing but separators in it at the last call.
    Size begin = beginsWithSeparator(buffer) ? kept : 0;
    const Size lastSeparator = buffer.size() - separatorLength;
    reception.unfinished = false;
    if (begin == 0 && lastSeparator > receiveReserve && separators.size() == 1 &&
        separators[0] == lastSeparator) {
        reception.frames.append(takeWhole(buffer)); // a huge reply is usually alone
        return;
    }
    for (const Size separator : separators) {
        if (separator > begin)
            reception.frames.append(buffer.mid(begin, separator - begin));
        begin = separator + separatorLength;
    }
    reception.unfinished = begin < buffer.size();
    if (begin > 0 && (reception.unfinished || !reception.frames.isEmpty()))
        dropFront(buffer, begin);
}

template <typename Char>
Reception receive(QString &buffer, const Char *from, const Char *end)
{
    Reception reception;
    Separators separators;
    const Size kept = buffer.size();
    appendCleaned(buffer, from, end, separators);
    reception.received = Size(end - from);
    reception.filtered = buffer.size();
    takeFrames(reception, buffer, kept, separators);
    return reception;
}

} // namespace

Reception receive(QString &buffer, const QByteArray &bytes)
{
    if (hasCodecForCStrings())
        return receiveText(buffer, fromCString(bytes));
    const char *const begin = bytes.constData();
    return receive(buffer, begin, find(begin, begin + bytes.size(), '\0'));
}

Reception receiveText(QString &buffer, const QString &text)
{
    return receive(buffer, text.constData(), text.constData() + text.size());
}

void discardReceived(QString &buffer)
{
    dropFront(buffer, buffer.size());
}

} // namespace qvcommon
