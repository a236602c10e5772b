// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace/traceline.h"

#include "qtcompat/size.h"

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

// Blanks behind "[Long message(99)]", which fill the message column.
const Size longMessageGap = 61;

// As many as the widest column has. Copying them makes a line a tenth cheaper than
// writing blank after blank.
const char16_t manyBlanks[messageColumns + 1] =
    u"                                                                                ";

/** Not a constant: on Qt 4 that would need a constructor at load. */
inline QLatin1Char blank()
{
    return QLatin1Char(' ');
}

bool isSpace(ushort c)
{
    if (c <= 0x20)
        return c == 0x20 || (c >= 0x09 && c <= 0x0d);
    if (c < 0x80)
        return false;
    return c == 0xa0 || c == 0x1680 || c == 0x180e || (c >= 0x2000 && c <= 0x200a) || c == 0x2028 ||
           c == 0x2029 || c == 0x202f || c == 0x205f || c == 0x3000;
}

/** QChar::digitValue() of Qt 4, which knows the digits of Unicode 5.0. */
int digitValue(QChar c)
{
    return c.unicodeVersion() <= QChar::Unicode_5_0 ? c.digitValue() : -1;
}

/** Whether QString::arg() would fill the place that this percent sign begins. */
bool isPlaceholder(const QChar *percent, const QChar *end)
{
    const QChar *digit = percent + 1;
    if (digit != end && *digit == QLatin1Char('L'))
        ++digit;
    return digit != end && digitValue(*digit) >= 0;
}

/**
 * Writes a simplified text to @a out, which has room for all of it, and returns its end.
 * @param placeholder set if there is one in the text
 */
QChar *writeSimplified(QChar *out, const QChar *text, Size length, bool &placeholder)
{
    const QChar *const begin = out;
    const QChar *const end = text + length;
    while (text != end) {
        const ushort c = text->unicode();
        if (isSpace(c)) {
            do
                ++text;
            while (text != end && isSpace(text->unicode()));
            if (out != begin && text != end)
                *out++ = blank();
            continue;
        }
        if (c == '%' && isPlaceholder(text, end))
            placeholder = true;
        *out++ = *text++;
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
        int number = digitValue(*digit);
        if (number < 0)
            continue;
        ++digit;
        if (digit != end && digitValue(*digit) >= 0)
            number = 10 * number + digitValue(*digit++);
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

/** A number in decimal digits. */
class Decimal
{
public:
    explicit Decimal(int number)
        : first(digits + capacity)
    {
        unsigned rest = number < 0 ? 0 - unsigned(number) : unsigned(number);
        do {
            *--first = QLatin1Char(char('0' + rest % 10));
            rest /= 10;
        } while (rest > 0);
        if (number < 0)
            *--first = QLatin1Char('-');
    }

    const QChar *begin() const { return first; }
    const QChar *end() const { return digits + capacity; }
    Size size() const { return Size(end() - begin()); }

private:
    Q_DISABLE_COPY(Decimal)

    static const int capacity = 11; // "-2147483648"
    QChar digits[capacity];
    QChar *first;
};

/** Fills a text that is being built in memory of the right size with characters. */
class LineWriter
{
public:
    explicit LineWriter(QChar *begin)
        : out(begin)
        , placeholder(false)
    {
    }

    const QChar *end() const { return out; }

    /** Whether there may be a placeholder in a name or the message. */
    bool hasPlaceholder() const { return placeholder; }

    LineWriter &operator<<(const Decimal &number)
    {
        for (const QChar *digit = number.begin(); digit != number.end(); ++digit)
            *out++ = *digit;
        return *this;
    }

    LineWriter &operator<<(char character)
    {
        *out++ = QLatin1Char(character);
        return *this;
    }

    template <int size>
    LineWriter &operator<<(const char (&text)[size])
    {
        return latin1(text, size - 1);
    }

    LineWriter &latin1(const char *text, Size length)
    {
        for (Size i = 0; i < length; ++i)
            out[i] = QLatin1Char(text[i]);
        out += length;
        return *this;
    }

    /** A number at the right of its columns. */
    LineWriter &number(const Decimal &value)
    {
        fill(numberColumns - value.size());
        return *this << value;
    }

    /** A name at the left of its columns. */
    LineWriter &name(const TraceName &text)
    {
        QChar *const begin = out;
        out = text.write(out);
        if (std::find(begin, out, QLatin1Char('%')) != out)
            placeholder = true; // perhaps: names have no percent signs as a rule
        return fill(nameColumns - Size(out - begin));
    }

    /** A short message at the left of its columns. */
    LineWriter &message(const QString &text)
    {
        const QChar *const begin = out;
        simplified(text.constData(), text.size());
        return fill(messageColumns - Size(out - begin));
    }

    /** A part of a long message. */
    LineWriter &simplified(const QChar *text, Size length)
    {
        out = writeSimplified(out, text, length, placeholder);
        return *this;
    }

    /** So many blanks, or none if the number is negative. */
    LineWriter &fill(Size count)
    {
        if (count > 0) {
            std::memcpy(out, manyBlanks, size_t(count) * sizeof *manyBlanks);
            out += count;
        }
        return *this;
    }

private:
    Q_DISABLE_COPY(LineWriter)

    QChar *out;
    bool placeholder;
};

} // namespace

QString TraceName::toString() const
{
    return utf16 ? QString(utf16, length) : QString::fromLatin1(latin1, length);
}

QChar *TraceName::write(QChar *out) const
{
    if (utf16)
        return std::copy(utf16, utf16 + length, out);
    for (Size i = 0; i < length; ++i)
        out[i] = QLatin1Char(latin1[i]);
    return out + length;
}

QString simplified(const QString &text)
{
    QString result;
    result.resize(text.size());
    bool ignored = false;
    const QChar *const end = writeSimplified(result.data(), text.constData(), text.size(), ignored);
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
        format += QLatin1String("[Long message(%4)]") + QString(longMessageGap, blank()) +
                  QLatin1String(", tid=%5, %6\n%7");
    if (length >= splitMessage)
        format += QLatin1String("\n%8");

    QString line = filled(format, QString::number(fields.number).rightJustified(numberColumns));
    line = filled(line, fields.className.toString().leftJustified(nameColumns));
    line = filled(line, fields.functionName.toString().leftJustified(nameColumns));
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

QString buildTraceLine(const TraceFields &fields)
{
    const Size length = fields.message.length();
    if (length >= hugeMessage)
        return QString();
    const bool isLong = length >= longMessage;
    const bool isSplit = length >= splitMessage;
    const Decimal number(fields.number);
    const Decimal ordinal(fields.threadOrdinal);
    const Size timeLength = Size(std::strlen(fields.timestamp));

    // The length of the line if simplifying takes nothing away.
    const Size separators = 1 + 1 + 1 + 6 + 2;
    const Size room = separators + std::max(numberColumns, number.size()) +
                      std::max(nameColumns, fields.className.size()) +
                      std::max(nameColumns, fields.functionName.size()) + messageColumns +
                      ordinal.size() + timeLength + (isLong ? 1 + length + 1 : 0);
    QString line(room, Qt::Uninitialized);
    LineWriter out(line.data());
    out.number(number) << ' ';
    out.name(fields.className) << ' ';
    out.name(fields.functionName) << ' ';
    if (isLong)
        (out << "[Long message(" << Decimal(int(length)) << ")]").fill(longMessageGap);
    else
        out.message(fields.message);
    (out << ", tid=" << ordinal << ", ").latin1(fields.timestamp, timeLength);
    const QChar *const message = fields.message.constData();
    if (isLong)
        (out << '\n').simplified(message, std::min(length, splitMessage));
    if (isSplit)
        (out << '\n').simplified(message + splitMessage, length - splitMessage);

    if (out.hasPlaceholder())
        return traceLineByArg(fields);
    line.truncate(Size(out.end() - line.constData()));
    return line;
}

} // namespace qvcommon
