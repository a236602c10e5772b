// SPDX-License-Identifier: LGPL-2.1-or-later
#include "trace/traceline.h"

#include "plainline.h"
#include "random.h"

#include <QtCore/QStringList>
#include <QtTest/QTest>

#include <climits>
#include <vector>

using qvcommon::buildTraceLine;
using qvcommon::simplified;
using qvcommon::TraceFields;
using qvcommon::traceLineByArg;

namespace
{

/** Where Qt 4 and later versions do not agree on what white space is. */
const ushort nextLine = 0x85;                  // a control character on Qt 4
const ushort mongolianVowelSeparator = 0x180e; // white space on Qt 4

const ushort ordinary[] = {'a', 'b', 'c', 'd',  'Z',    '1',    '9',    'L',    ' ',    ' ',
                           ' ', ',', '=', '\t', '\n',   '\r',   0x1b,   0x85,   0xa0,   0xe6,
                           0,   '.', '(', ')',  0x180e, 0x2003, 0x3000, 0xd83d, 0xde00, 0xffff};
const ushort placeholders[] = {'%', '%', '%', '%', '%', '1', '2', '3', '4',   '5',
                               '6', '7', '8', '9', '0', 'L', ' ', 'a', 0x1a85};

/** Long texts from which pieces are cut. */
class Source
{
public:
    explicit Source(Random &random)
        : random(random)
        , forLine(nullptr)
    {
        for (int i = 0; i < length; ++i) {
            plain += QChar(random.oneOf(ordinary));
            full += QChar(random.below(4) ? random.oneOf(placeholders) : random.oneOf(ordinary));
            sparse += QChar(random.below(30) ? random.oneOf(ordinary) : ushort('%'));
            empty += QLatin1Char(random.below(40) ? ' ' : 'x');
        }
    }

    /** Lets the next pieces be cut from one of the texts, or each from any. */
    void chooseForALine()
    {
        const QString *const choices[] = {&plain, &plain, &plain,  &plain,  &plain,
                                          &empty, &full,  nullptr, nullptr, nullptr};
        forLine = random.oneOf(choices);
    }

    QString piece(int size)
    {
        const QString *const any[] = {&plain, &full, &sparse, &empty};
        const QString *const source = forLine ? forLine : random.oneOf(any);
        return source->mid(random.below(length - 1000), size);
    }

private:
    static const int length = 100000;
    Random &random;
    QString plain, full, sparse, empty;
    const QString *forLine;
};

int messageLength(Random &random)
{
    const int limits[] = {0,   1,   2,   78,  79,  80,  81,  99,  100, 101, 178, 179, 180,
                          181, 182, 200, 357, 358, 359, 360, 361, 400, 10,  20,  30,  40};
    const int kind = random.below(8);
    return kind < 2 ? random.oneOf(limits) : kind < 3 ? random.below(365) : random.below(90);
}

int nameLength(Random &random)
{
    const int limits[] = {0, 2, 29, 30, 31, 100};
    return random.below(3) ? random.below(20) : random.oneOf(limits);
}

int number(Random &random)
{
    const int limits[] = {1,     0,      -1,     -9999,   -10000,  9999,    99999,
                          10000, 100000, 999999, INT_MAX, INT_MIN, 1234567, 42};
    return random.below(4) ? random.below(100000) : random.oneOf(limits);
}

int ordinal(Random &random)
{
    const int limits[] = {0, 9, 10, 99, 100, 999, 1000, 12345, INT_MAX, -1};
    return random.below(4) ? 1 + random.below(9) : random.oneOf(limits);
}

} // namespace

class TestTraceLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void equalsTheChainOfArguments();
    void equalsTheChainForShortTextsOfPlaceholders();
    void simplifiesEveryCharacter();
    void simplifiesTheSameOnEveryQt();
};

/** The line for names that are C strings, as far as they can be; nothing of them is lost. */
static QString lineInLatin1(const TraceFields &fields)
{
    const QString names[] = {fields.className.toString(), fields.functionName.toString()};
    const QByteArray latin1[] = {names[0].toLatin1(), names[1].toLatin1()};
    TraceFields same = fields;
    if (QString::fromLatin1(latin1[0].constData()) == names[0])
        same.className = latin1[0].constData();
    if (QString::fromLatin1(latin1[1].constData()) == names[1])
        same.functionName = latin1[1].constData();
    return buildTraceLine(same);
}

/** Whether all ways to build a line give what the chain gives. */
static bool isSame(const TraceFields &fields)
{
    const QString expected = plainLine(fields);
    return buildTraceLine(fields) == expected && traceLineByArg(fields) == expected &&
           lineInLatin1(fields) == expected;
}

#define COMPARE_LINES(fields)                                                                      \
    do {                                                                                           \
        if (!isSame(fields)) {                                                                     \
            QCOMPARE(buildTraceLine(fields), plainLine(fields));                                   \
            QCOMPARE(traceLineByArg(fields), plainLine(fields));                                   \
            QCOMPARE(lineInLatin1(fields), plainLine(fields));                                     \
        }                                                                                          \
    } while (false)

void TestTraceLine::equalsTheChainOfArguments()
{
    const char *const times[] = {"2024-03-01 13:04:05.042", ".000", "10000-01-01 00:00:00.000", ""};
    const int lines = randomCases(1000000); // of three random texts each
    Random random(20240301);
    Source source(random);
    for (int i = 0; i < lines; ++i) {
        source.chooseForALine();
        const QString className = source.piece(nameLength(random));
        const QString functionName = source.piece(nameLength(random));
        const QString message = source.piece(messageLength(random));
        const TraceFields fields = {
            number(random), className,       functionName,
            message,        ordinal(random), random.below(8) ? times[0] : random.oneOf(times)};
        COMPARE_LINES(fields);
    }
}

/** Every text of two tokens in each of the three places, in each form. */
void TestTraceLine::equalsTheChainForShortTextsOfPlaceholders()
{
    const char *const tokens[] = {"",   "%",  "%0", "%1", "%2", "%3",  "%4",  "%5",
                                  "%6", "%7", "%8", "%9", "%L", "%L5", "%10", "5"};
    QStringList texts;
    for (const char *const first : tokens) {
        for (const char *const second : tokens)
            texts << QLatin1String(first) + QString(QLatin1String(second));
    }
    texts.removeDuplicates();
    const QString plain = QLatin1String("plain");
    const char time[] = "2024-03-01 13:04:05.042";
    for (const int length : {0, 80, 180, 359, 360}) {
        for (const QString &text : texts) {
            const QString message = text + QString(length, QLatin1Char('m'));
            const QString ending = QString(length, QLatin1Char('m')) + text;
            const TraceFields inClass = {1, text, plain, message, 2, time};
            const TraceFields inFunction = {1, plain, text, message, 2, time};
            const TraceFields inMessage = {1, plain, plain, message, 2, time};
            const TraceFields atTheEnd = {1, plain, plain, ending, 2, time};
            COMPARE_LINES(inClass);
            COMPARE_LINES(inFunction);
            COMPARE_LINES(inMessage);
            COMPARE_LINES(atTheEnd);
        }
    }
}

void TestTraceLine::simplifiesEveryCharacter()
{
    const bool qt4 = qVersion()[0] == '4';
    for (int code = 0; code <= 0xffff; ++code) {
        if (!qt4 && (code == nextLine || code == mongolianVowelSeparator))
            continue;
        const QString c(1, QChar(ushort(code)));
        const QString a = QLatin1String("a");
        const QString texts[] = {c, c + c, c + a, a + c, c + a + c + c + a + c, a + c + a};
        for (const QString &text : texts) {
            if (simplified(text) != text.simplified())
                QFAIL(qPrintable(QString::fromLatin1("U+%1").arg(code, 4, 16, QLatin1Char('0'))));
        }
    }
}

void TestTraceLine::simplifiesTheSameOnEveryQt()
{
    const QString a = QLatin1String("a");
    const QString line = a + QChar(nextLine) + QChar(nextLine) + a + QChar(nextLine);
    QCOMPARE(simplified(line), line);
    QCOMPARE(simplified(QString(QChar(nextLine))), QString(QChar(nextLine)));

    const QChar vowel(mongolianVowelSeparator);
    QCOMPARE(simplified(vowel + a + vowel + vowel + a + vowel), QString(QLatin1String("a a")));
    QCOMPARE(simplified(QString(vowel)), QString());
}

QTEST_APPLESS_MAIN(TestTraceLine)
#include "tst_traceline.moc"
