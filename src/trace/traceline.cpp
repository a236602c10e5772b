// SPDX-License-Identifier: LGPL-2.1-or-later
#include "traceline.h"

#include "qtcompat.h"

#include <QtCore/QLocale>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

namespace qvcommon
{

namespace
{

const Size numberColumns = 5;
const Size nameColumns = 30;
const Size messageColumns = 80;

// A message of this many characters no longer fits its column, is split in two lines, or is left
// out altogether.
const Size longMessage = 80;
const Size splitMessage = 180;
const Size hugeMessage = 360;

// As wide as the message column is without "[Long message(99)]".
const char longMessageGap[] = "                                                             ";

const QLatin1Char blank(' ');

bool isSpace(QChar character)
{
    const ushort c = character.unicode();
    if (c < 0x80)
        return c == 0x20 || (c >= 0x09 && c <= 0x0d);
    return c == 0xa0 || c == 0x1680 || c == 0x180e || (c >= 0x2000 && c <= 0x200a) || c == 0x2028 ||
           c == 0x2029 || c == 0x202f || c == 0x205f || c == 0x3000;
}

/** Writes a simplified text to @a out, which has room for all of it, and returns its end. */
QChar *writeSimplified(QChar *out, const QChar *text, Size length)
{
    QChar *const begin = out;
    bool gap = false;
    for (const QChar *const end = text + length; text != end; ++text) {
        if (isSpace(*text)) {
            gap = out != begin;
            continue;
        }
        if (gap)
            *out++ = blank;
        gap = false;
        *out++ = *text;
    }
    return out;
}

/** A place in a text that QString::arg() would fill: "%1" to "%99", or "%L1" to "%L99". */
struct Placeholder {
    const QChar *begin;
    const QChar *end;
    int number;
    bool localized;
};

bool findPlaceholder(const QChar *from, const QChar *end, Placeholder &found)
{
    for (; from != end; ++from) {
        if (*from != QLatin1Char('%'))
            continue;
        const QChar *digit = from + 1;
        const bool localized = digit != end && *digit == QLatin1Char('L');
        if (localized)
            ++digit;
        if (digit == end)
            return false;
        int number = digit->digitValue();
        if (number < 0)
            continue;
        ++digit;
        if (digit != end && digit->digitValue() >= 0)
            number = 10 * number + digit++->digitValue();
        found = {from, digit, number, localized};
        return true;
    }
    return false;
}

/**
 * What QString::arg() makes of a text, for placeholders with any of Unicode's digits. Of digits
 * other than 0 to 9, QString::arg() itself may warn on Qt's debug output, where an application's
 * message handler may log again while the lock of Trace is held.
 */
QString filled(const QString &text, const QString &value, const QString &localizedValue)
{
    const QChar *const begin = text.constData();
    const QChar *const end = begin + text.size();
    Placeholder place;
    int lowest = INT_MAX;
    for (const QChar *next = begin; findPlaceholder(next, end, place); next = place.end)
        lowest = std::min(lowest, place.number);

    QString result;
    const QChar *done = begin;
    for (const QChar *next = begin; findPlaceholder(next, end, place); next = place.end) {
        if (place.number != lowest)
            continue;
        result += text.mid(Size(done - begin), Size(place.begin - done));
        result += place.localized ? localizedValue : value;
        done = place.end;
    }
    return result += text.mid(Size(done - begin));
}

QString filled(const QString &text, const QString &value)
{
    return filled(text, value, value);
}

QString filled(const QString &text, qlonglong number)
{
    const QString plain = QString::number(number);
    const bool localized = text.contains(QLatin1String("%L"));
    return filled(text, plain, localized ? QLocale().toString(number) : plain);
}

/** Fills a text that is being built in memory of the right size with characters. */
class LineWriter
{
public:
    explicit LineWriter(QChar *begin)
        : out(begin)
    {
    }

    const QChar *end() const { return out; }

    LineWriter &operator<<(const char *text)
    {
        while (*text)
            *out++ = QLatin1Char(*text++);
        return *this;
    }

    /** A name, filled up with blanks to @a columns. */
    LineWriter &padded(const QString &text, Size columns)
    {
        std::copy(text.constData(), text.constData() + text.size(), out);
        out += text.size();
        return fill(columns - text.size());
    }

    /** A part of the message, simplified and filled up with blanks to @a columns. */
    LineWriter &simplified(const QChar *text, Size length, Size columns = 0)
    {
        QChar *const begin = out;
        out = writeSimplified(out, text, length);
        return fill(columns - Size(out - begin));
    }

    LineWriter &decimal(int number, int columns = 0)
    {
        char digits[16];
        std::snprintf(digits, sizeof digits, "%*d", columns, number);
        return *this << digits;
    }

private:
    LineWriter &fill(Size count)
    {
        for (; count > 0; --count)
            *out++ = blank;
        return *this;
    }

    QChar *out;
};

} // namespace

QString simplified(const QString &text)
{
    QString result;
    result.resize(text.size());
    const QChar *const end = writeSimplified(result.data(), text.constData(), text.size());
    result.resize(Size(end - result.constData()));
    return result;
}

QString traceLineByArg(const TraceFields &fields)
{
    const Size length = fields.message.length();
    if (length >= hugeMessage)
        return QString();

    QString format = QLatin1String("%1 %2 %3 ");
    if (length < longMessage)
        format += QLatin1String("%4, tid=%5, %6");
    else
        format += QLatin1String("[Long message(%4)]") + QLatin1String(longMessageGap) +
                  QLatin1String(", tid=%5, %6\n%7");
    if (length >= splitMessage)
        format += QLatin1String("\n%8");

    QString line = filled(format, QString::number(fields.number).rightJustified(numberColumns));
    line = filled(line, fields.className.leftJustified(nameColumns));
    line = filled(line, fields.functionName.leftJustified(nameColumns));
    line = length < longMessage
               ? filled(line, simplified(fields.message).leftJustified(messageColumns))
               : filled(line, length);
    line = filled(line, fields.threadOrdinal);
    line = filled(line, QLatin1String(fields.timestamp));
    if (length < longMessage)
        return line;
    line = filled(line, simplified(fields.message.left(splitMessage)));
    return length < splitMessage ? line
                                 : filled(line, simplified(fields.message.mid(splitMessage)));
}

QString traceLine(const TraceFields &fields)
{
    const Size length = fields.message.length();
    if (length >= hugeMessage)
        return QString();
    const QChar placeholder = QLatin1Char('%');
    if (fields.className.contains(placeholder) || fields.functionName.contains(placeholder) ||
        fields.message.contains(placeholder))
        return traceLineByArg(fields);

    const Size fixedParts = 160; // numbers, header of long messages, separators
    QString line;
    line.resize(fixedParts + std::max(nameColumns, fields.className.size()) +
                std::max(nameColumns, fields.functionName.size()) +
                std::max(messageColumns, length) + Size(std::strlen(fields.timestamp)));
    LineWriter out(line.data());
    out.decimal(fields.number, numberColumns) << " ";
    out.padded(fields.className, nameColumns) << " ";
    out.padded(fields.functionName, nameColumns) << " ";

    const QChar *const message = fields.message.constData();
    if (length < longMessage)
        out.simplified(message, length, messageColumns);
    else
        (out << "[Long message(").decimal(int(length)) << ")]" << longMessageGap;
    (out << ", tid=").decimal(fields.threadOrdinal) << ", " << fields.timestamp;
    if (length >= longMessage)
        (out << "\n").simplified(message, std::min(length, splitMessage));
    if (length >= splitMessage)
        (out << "\n").simplified(message + splitMessage, length - splitMessage);

    line.resize(Size(out.end() - line.constData()));
    return line;
}

} // namespace qvcommon
