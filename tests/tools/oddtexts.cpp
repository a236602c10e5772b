// SPDX-License-Identifier: LGPL-2.1-or-later
#include "oddtexts.h"

#include "random.h"

namespace
{

const QString pump = QLatin1String("Pump");
const QString start = QLatin1String("start");

LogCall message(const QString &text)
{
    return {pump, start, text};
}

QString blanks(int count)
{
    return QString(count, QLatin1Char(' '));
}

/** So many letters, of which no two parts are alike. */
QString letters(int count)
{
    QString text;
    for (int i = 0; i < count; ++i)
        text += QLatin1Char(char('a' + (i + i / 26) % 26));
    return text;
}

QString character(int code)
{
    return QString(QChar(ushort(code)));
}

bool isSpace(QChar character)
{
    const ushort c = character.unicode();
    return c == 0x20 || (c >= 0x09 && c <= 0x0d) || c == 0xa0 || c == 0x1680 || c == 0x180e ||
           (c >= 0x2000 && c <= 0x200a) || c == 0x2028 || c == 0x2029 || c == 0x202f ||
           c == 0x205f || c == 0x3000;
}

QString randomText(Random &random, int length)
{
    static const int special[] = {0,    9,    10,     13,     27,     0x85,
                                  0xa0, 0xe9, 0x2003, 0x20ac, 0xd83d, 0xde00};
    QString text;
    while (int(text.size()) < length) {
        const int kind = random.below(12);
        if (kind == 0)
            text += character(random.oneOf(special));
        else if (kind < 3)
            text += blanks(1 + random.below(3));
        else
            text += QLatin1Char(char('!' + random.below(94)));
    }
    return text.left(length).replace(QLatin1Char('%'), QLatin1Char('x'));
}

QString randomName(Random &random)
{
    return letters(random.below(5) == 0 ? random.below(80) : 1 + random.below(30));
}

} // namespace

QList<LogCall> oddMessages()
{
    QList<LogCall> calls;
    for (int length : {0, 1, 78, 79, 80, 81, 99, 100, 178, 179, 180, 181, 358, 359, 360, 361, 1000})
        calls << message(letters(length)) << message(blanks(length))
              << message(QString(length, QLatin1Char('\n')))
              << message(letters(length / 2) + blanks(length - length / 2));
    for (const char *text :
         {"Pump  is   running", "\tPump\tis\t\trunning\t", "\nPump\r\nis\n\nrunning\n",
          "\v\fPump\v\fis\r\n\t running\v", "[Long message(80)]", "[Long message(100)]",
          "[Long message(359)]", "[Long message(1000)]", ", tid=3, 2024-03-01 13:04:05.042",
          "    7 Pump", "...continued", "=============================================",
          "The end.....", "\033[31mred\033[0m", "a \"quoted\", b", "\\x1b"})
        calls << message(QString::fromLatin1(text));
    calls << message(letters(179) + QLatin1String(" b"))
          << message(letters(180) + QLatin1String(" b"))
          << message(letters(170) + blanks(20) + QLatin1String("b c"))
          << message(letters(175) + QLatin1String("  wording  ok"))
          << message(blanks(180) + QLatin1Char('b')) << message(letters(180) + blanks(100))
          << message(QLatin1String("a\n\nb") + letters(176) + QLatin1String("\nc\nd\n"))
          << message(letters(179) + character(0xd83d) + character(0xde00))
          << message(character(0xd83d) + character(0xde00) + letters(78))
          << message(QLatin1String("a ") + character(0) + QLatin1String("  b"));
    for (int code = 0; code < 0x180; ++code)
        calls << message(character(code) + QLatin1Char('a') + character(code) + character(code) +
                         QLatin1Char('a') + character(code));
    return calls;
}

QList<LogCall> oddNames()
{
    QList<LogCall> calls;
    for (int first : {0, 1, 29, 30, 31, 32, 60, 61, 100})
        for (int second : {0, 1, 29, 30, 31, 32, 60, 61, 100})
            for (int length : {2, 79, 85, 200})
                calls << LogCall{letters(first), letters(second), letters(length)};
    calls << LogCall{letters(5000), letters(100), QLatin1String("on")}
          << LogCall{character(0x3a9), character(0xe9), QLatin1String("on")}
          << LogCall{QLatin1String("A class"), QLatin1String("a function"), QLatin1String("on")};
    return calls;
}

QList<LogCall> oddPlaceholders()
{
    QList<LogCall> calls;
    for (const char *text :
         {"%",   "%%",  "%0",   "%1",   "%2",  "%3",        "%4",      "%5",  "%6",
          "%7",  "%8",  "%9",   "%10",  "%99", "%L1",       "%L5",     "%01", "%1%1",
          "%%1", "%%5", "%105", "100%", "%n",  "%1 and %2", "%5 of %6"}) {
        const QString odd = QLatin1String(text);
        for (int length : {2, 85, 190})
            calls << LogCall{odd, start, letters(length)} << LogCall{pump, odd, letters(length)}
                  << LogCall{odd, odd, letters(length)} << message(odd + letters(length));
    }
    calls << LogCall{QLatin1String("%2"), QLatin1String("%1"), QLatin1String("on")}
          << LogCall{QLatin1String("  a \t b\n"), QLatin1String("\n"), QLatin1String("on")};
    return calls;
}

LogCall randomCall(Random &random)
{
    const int length = random.below(4) == 0 ? random.below(400) : random.below(100);
    return {randomName(random), randomName(random), randomText(random, length)};
}

QByteArray simplifiedLatin1(const QString &text)
{
    QString simple;
    for (int i = 0; i < int(text.size()); ++i) {
        const QChar c = text.at(i);
        if (!isSpace(c))
            simple += c;
        else if (!simple.isEmpty() && !simple.endsWith(QLatin1Char(' ')))
            simple += QLatin1Char(' ');
    }
    if (simple.endsWith(QLatin1Char(' ')))
        simple.chop(1);
    return latin1(simple);
}

QByteArray latin1(const QString &text)
{
    QByteArray bytes;
    for (int i = 0; i < int(text.size()); ++i) {
        const ushort code = text.at(i).unicode();
        bytes += code < 0x100 ? char(code) : '?';
    }
    return bytes;
}
