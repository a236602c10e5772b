// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kiv/frames.h"

#include "qtcompat/text.h"

#include <QtCore/QVarLengthArray>

namespace qvcommon
{

namespace
{

const ushort tabulator = '\t';
const ushort lineFeed = '\n';
const ushort formFeed = '\f';
const Size separatorLength = 2;

/** Where separators stand in a receive buffer. */
typedef QVarLengthArray<Size, 32> Separators;

inline ushort unicodeOf(QChar character)
{
    return character.unicode();
}

inline ushort unicodeOf(char latin1)
{
    return uchar(latin1);
}

/**
 * Appends text to a receive buffer, cleaned, and notes the separators in it. They can only stand in
 * what is new, and only where a line feed was kept because of the form feed before it.
 */
template <typename Text>
void appendCleaned(QString &buffer, const Text &text, Separators &separators)
{
    const Size before = buffer.size();
    buffer.resize(before + text.size() + 1); // one more for a form feed at the end
    QChar *const begin = buffer.data();
    QChar *out = begin + before;
    auto from = text.data();
    const auto end = from + text.size();
    while (from != end) {
        const ushort character = unicodeOf(*from++);
        if (character > formFeed) { // nearly all, and not worth more than one question
            *out++ = QChar(character);
            continue;
        }
        switch (character) {
        case tabulator:
        case lineFeed:
            break;
        case formFeed: {
            const ushort second = from != end ? unicodeOf(*from++) : ushort(0);
            if (second == lineFeed)
                separators.append(Size(out - begin));
            *out++ = QChar(character);
            *out++ = QChar(second);
            break;
        }
        default:
            *out++ = QChar(character);
        }
    }
    buffer.resize(Size(out - begin));
}

bool beginsWithSeparator(const QString &buffer)
{
    return buffer.size() >= separatorLength && buffer.at(0).unicode() == formFeed &&
           buffer.at(1).unicode() == lineFeed;
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
    // Only a buffer of nothing but separators is kept with them, and then its old part yields no
    // frame.
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

template <typename Text>
Reception takeIn(QString &buffer, const Text &text)
{
    Reception reception;
    Separators separators;
    const Size kept = buffer.size();
    appendCleaned(buffer, text, separators);
    reception.received = Size(text.size());
    reception.filtered = buffer.size();
    takeFrames(reception, buffer, kept, separators);
    return reception;
}

} // namespace

Reception receive(QString &buffer, const QByteArray &bytes)
{
    return takeIn(buffer, textOf(bytes));
}

Reception receiveText(QString &buffer, const QString &text)
{
    return takeIn(buffer, text);
}

void discardReceived(QString &buffer)
{
    dropFront(buffer, buffer.size());
}

} // namespace qvcommon
