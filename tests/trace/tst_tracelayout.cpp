// SPDX-License-Identifier: LGPL-2.1-or-later

// What a line looks like: columns, long messages, white space.

#include "tracefixture.h"

#include <QtTest/QTest>

#include <cerrno>
#include <climits>

static QString ofCode(int code)
{
    return QString(QChar(ushort(code)));
}

class TestTraceLayout : public TraceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void laysLinesOutInColumns();
    void formatsMessagesByLength_data();
    void formatsMessagesByLength();
    void simplifiesMessages_data();
    void simplifiesMessages();
    void splitsLongMessagesBeforeSimplifying_data();
    void splitsLongMessagesBeforeSimplifying();
    void fillsUpNamesAndDoesNotCutThem_data();
    void fillsUpNamesAndDoesNotCutThem();
    void showsNumbersOfAnyWidth_data();
    void showsNumbersOfAnyWidth();
    void numbersEveryAcceptedLine();
    void showsTheTimeOfEachLine();
    void showsMillisecondsOnlyIfTheClockFails();
};

void TestTraceLayout::laysLinesOutInColumns()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    log("Pump is running");
    log(letters(80));
    log(letters(200));
    QCOMPARE(lines.lines.size(), 3);
    QCOMPARE(lines.lines.at(0),
             text("    1 Pump                           start                          "
                  "Pump is running                                                        "
                  "         , tid=1, 2024-03-01 13:04:05.042"));
    QCOMPARE(
        lines.lines.at(1),
        text("    2 Pump                           start                          "
             "[Long message(80)]                                                     "
             "        , tid=1, 2024-03-01 13:04:05.042\n"
             "abcdefghijklmnopqrstuvwxyzbcdefghijklmnopqrstuvwxyzacdefghijklmnopqrstuvwxyzabde"));
    QCOMPARE(lines.lines.at(2),
             text("    3 Pump                           start                          "
                  "[Long message(200)]                                                    "
                  "         , tid=1, 2024-03-01 13:04:05.042\n"
                  "abcdefghijklmnopqrstuvwxyzbcdefghijklmnopqrstuvwxyzacdefghijklmnopqrstuvwxyzab"
                  "defghijklmnopqrstuvwxyzabcefghijklmnopqrstuvwxyzabcdfghijklmnopqrstuvwxyzabcde"
                  "ghijklmnopqrstuvwxyzabcd\n"
                  "efhijklmnopqrstuvwxy"));
}

void TestTraceLayout::formatsMessagesByLength_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("expected");

    const QString newline = text("\n");
    QTest::newRow("0") << 0 << names(1) + blanks(80) + tail();
    QTest::newRow("1") << 1 << names(1) + text("a") + blanks(79) + tail();
    QTest::newRow("79") << 79 << names(1) + letters(79) + text(" ") + tail();
    QTest::newRow("80") << 80 << header("80") + letters(80);
    QTest::newRow("81") << 81 << header("81") + letters(81);
    QTest::newRow("99") << 99 << header("99") + letters(99);
    QTest::newRow("100") << 100 << header("100") + letters(100);
    QTest::newRow("179") << 179 << header("179") + letters(179);
    const QString first = letters(180) + newline;
    QTest::newRow("180") << 180 << header("180") + first;
    QTest::newRow("181") << 181 << header("181") + first + letters(181).right(1);
    QTest::newRow("358") << 358 << header("358") + first + letters(358).right(178);
    QTest::newRow("359") << 359 << header("359") + first + letters(359).right(179);
    QTest::newRow("360") << 360 << QString();
    QTest::newRow("361") << 361 << QString();
    QTest::newRow("100000") << 100000 << QString();
}

void TestTraceLayout::formatsMessagesByLength()
{
    QFETCH(int, length);
    QFETCH(QString, expected);
    Trace trace(nullptr);
    TraceLog lines(&trace);
    log(letters(length));
    log("next");
    QCOMPARE(lines.lines, QStringList() << expected << numbered(2, "next"));
}

void TestTraceLayout::simplifiesMessages_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    QTest::newRow("blanks inside") << text("Pump  is   running") << line("Pump is running");
    QTest::newRow("blanks around") << text("   Pump ") << line("Pump");
    QTest::newRow("tabs") << text("\tPump\tis\t\trunning\t") << line("Pump is running");
    QTest::newRow("newlines") << text("\nPump\r\nis\n\nrunning\n") << line("Pump is running");
    QTest::newRow("other controls")
        << text("\v\fPump\v\fis\r\n\t running\v") << line("Pump is running");
    QTest::newRow("one blank") << text(" ") << line("");
    QTest::newRow("79 blanks") << blanks(79) << line("");
    QTest::newRow("80 blanks") << blanks(80) << header("80");
    QTest::newRow("179 newlines") << QString(179, QLatin1Char('\n')) << header("179");
    QTest::newRow("180 tabs") << QString(180, QLatin1Char('\t')) << header("180") + text("\n");
    QTest::newRow("359 blanks") << blanks(359) << header("359") + text("\n");
    QTest::newRow("360 blanks") << blanks(360) << QString();
    QTest::newRow("79 with 77 blanks") << text("a") + blanks(77) + text("b") << line("a b");
    QTest::newRow("80 with 78 blanks")
        << text("a") + blanks(78) + text("b") << header("80") + text("a b");
    QTest::newRow("NUL") << text("a ") + ofCode(0) + text("  b")
                         << line(text("a ") + ofCode(0) + text(" b"));
    const QString face = text("\xf0\x9f\x98\x80"); // two UTF-16 code units
    QTest::newRow("two code units") << face + text("  ") + face << line(face + text(" ") + face);
    QTest::newRow("79 code units") << face + letters(77) << line(face + letters(77));
    QTest::newRow("80 code units") << face + letters(78) << header("80") + face + letters(78);

    const int spaces[] = {0x09,   0x0a,   0x0b,   0x0c,   0x0d,   0x20,   0xa0,   0x1680, 0x180e,
                          0x2000, 0x2001, 0x2002, 0x2003, 0x2004, 0x2005, 0x2006, 0x2007, 0x2008,
                          0x2009, 0x200a, 0x2028, 0x2029, 0x202f, 0x205f, 0x3000};
    for (const int code : spaces) {
        const QString space = ofCode(code);
        QTest::newRow(QByteArray::number(code, 16).constData())
            << space + text("a") + space + space + text("b") + space << line("a b");
    }
    const int others[] = {0x01,   0x08,   0x0e,   0x1b,   0x1c,   0x1f,   0x7f,   0x84,
                          0x85,   0x86,   0xad,   0x180d, 0x180f, 0x200b, 0x200c, 0x2027,
                          0x202a, 0x2060, 0x3001, 0xd800, 0xdfff, 0xfeff, 0xffff};
    for (const int code : others) {
        const QString other = ofCode(code);
        const QString message = other + text("a") + other + other + text("b") + other;
        QTest::newRow(("not " + QByteArray::number(code, 16)).constData())
            << message << line(message);
    }
}

void TestTraceLayout::simplifiesMessages()
{
    compareLine();
}

void TestTraceLayout::splitsLongMessagesBeforeSimplifying_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    QTest::newRow("blank at the end of the first part")
        << letters(179) + text(" b") << header("181") + letters(179) + text("\nb");
    QTest::newRow("blank at the beginning of the rest")
        << letters(180) + text(" b") << header("182") + letters(180) + text("\nb");
    QTest::newRow("blanks around the cut")
        << letters(170) + blanks(20) + text("b c") << header("193") + letters(170) + text("\nb c");
    QTest::newRow("word across the cut") << letters(175) + text("  wording  ok")
                                         << header("188") + letters(175) + text(" wor\nding ok");
    QTest::newRow("nothing but blanks before the cut")
        << blanks(180) + text("b") << header("181") + text("\nb");
    QTest::newRow("nothing but blanks behind the cut")
        << letters(180) + blanks(100) << header("280") + letters(180) + text("\n");
    QTest::newRow("newlines inside") << text("a\n\nb") + letters(176) + text("\nc\nd\n")
                                     << header("185") + text("a b") + letters(176) + text("\nc d");
    QTest::newRow("character across the cut")
        << letters(179) + ofCode(0xd83d) + ofCode(0xde00)
        << header("181") + letters(179) + ofCode(0xd83d) + text("\n") + ofCode(0xde00);
}

void TestTraceLayout::splitsLongMessagesBeforeSimplifying()
{
    compareLine();
}

void TestTraceLayout::fillsUpNamesAndDoesNotCutThem_data()
{
    QTest::addColumn<QString>("className");
    QTest::addColumn<QString>("function");
    QTest::addColumn<QString>("expected");

    const QString number = text("    1 ");
    const QString blank = text(" ");
    QTest::newRow("empty") << QString() << QString() << number + blanks(62);
    QTest::newRow("29 and 30") << letters(29) << letters(30)
                               << number + letters(29) + text("  ") + letters(30) + blank;
    QTest::newRow("30 and 31") << letters(30) << letters(31)
                               << number + letters(30) + blank + letters(31) + blank;
    QTest::newRow("31 and 29") << letters(31) << letters(29)
                               << number + letters(31) + blank + letters(29) + text("  ");
    QTest::newRow("5000 and 100") << letters(5000) << letters(100)
                                  << number + letters(5000) + blank + letters(100) + blank;
    QTest::newRow("white space stays as it is")
        << text("  a \t b\n") << text("\xc2\xa0  ")
        << number + text("  a \t b\n") + blanks(23) + text("\xc2\xa0  ") + blanks(28);
    QTest::newRow("not Latin") << text("\xce\xa9") << text("\xf0\x9f\x98\x80")
                               << number + text("\xce\xa9") + blanks(30) +
                                      text("\xf0\x9f\x98\x80") + blanks(29);
}

void TestTraceLayout::fillsUpNamesAndDoesNotCutThem()
{
    QFETCH(QString, className);
    QFETCH(QString, function);
    QFETCH(QString, expected);
    Trace trace(nullptr);
    TraceLog lines(&trace);
    Trace::log(8, 2, className, function, text("on"));
    Trace::linenumber = 1;
    Trace::log(8, 2, className, function, letters(80));
    QCOMPARE(lines.lines, QStringList() << expected + pad(text("on"), 80) + tail()
                                        << expected + text("[Long message(80)]") + text(gap) +
                                               tail() + text("\n") + letters(80));
}

void TestTraceLayout::showsNumbersOfAnyWidth_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");

    QTest::newRow("0") << 0 << text("    0") << text("    1");
    QTest::newRow("9") << 9 << text("    9") << text("   10");
    QTest::newRow("9999") << 9999 << text(" 9999") << text("10000");
    QTest::newRow("99999") << 99999 << text("99999") << text("100000");
    QTest::newRow("100000") << 100000 << text("100000") << text("100001");
    QTest::newRow("1234567") << 1234567 << text("1234567") << text("1234568");
    QTest::newRow("-1") << -1 << text("   -1") << text("    0");
    QTest::newRow("-10000") << -10000 << text("-10000") << text("-9999");
    QTest::newRow("smallest") << INT_MIN << text("-2147483648") << text("-2147483647");
    // A board that logs a thousand lines a second gets there in 25 days.
    QTest::newRow("largest") << INT_MAX << text("2147483647") << text("-2147483648");
}

void TestTraceLayout::showsNumbersOfAnyWidth()
{
    QFETCH(int, number);
    QFETCH(QString, first);
    QFETCH(QString, second);
    Trace trace(nullptr);
    TraceLog lines(&trace);
    Trace::linenumber = number;
    log("on");
    log(letters(80));
    QCOMPARE(lines.lines, QStringList() << first + line("on").mid(5)
                                        << second + header("80").mid(5) + letters(80));
}

void TestTraceLayout::numbersEveryAcceptedLine()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    log("on");
    log(8, 0); // rejected
    log(letters(360));
    log(0, 5); // rejected
    log(letters(100000));
    log(9, 6);
    QCOMPARE(lines.lines, QStringList()
                              << line("on") << QString() << QString() << numbered(4, "on"));
    QCOMPARE(Trace::linenumber, 5);
}

void TestTraceLayout::showsTheTimeOfEachLine()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    log("on");
    calls->setTimeOfDay(1709298246, 1000);
    log(letters(80));
    calls->setTimeOfDay(1709251199, 999999);
    log("on");
    const QString front = names(3) + pad(text("on"), 80);
    QCOMPARE(lines.lines, QStringList()
                              << line("on")
                              << names(2) + text("[Long message(80)]") + text(gap) +
                                     text(", tid=1, 2024-03-01 13:04:06.001\n") + letters(80)
                              << front + text(", tid=1, 2024-02-29 23:59:59.999"));
}

void TestTraceLayout::showsMillisecondsOnlyIfTheClockFails()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    calls->fail("gettimeofday", EINVAL);
    log("on");
    QCOMPARE(lines.lines, QStringList(names(1) + pad(text("on"), 80) + text(", tid=1, .000")));
}

int main(int argc, char *argv[])
{
    return runTraceTest<TestTraceLayout>(argc, argv);
}

#include "tst_tracelayout.moc"
