// SPDX-License-Identifier: LGPL-2.1-or-later

// Text already filled in takes part in the next replacement: placeholders in names and messages.

#include "tracefixture.h"

#include <QtTest/QTest>

class TestTracePlaceholders : public TraceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void fillsPlaceholdersInNames_data();
    void fillsPlaceholdersInNames();
    void fillsPlaceholdersInMessages_data();
    void fillsPlaceholdersInMessages();
    void fillsPlaceholdersWithOtherDigitsSilently_data();
    void fillsPlaceholdersWithOtherDigitsSilently();
};

void TestTracePlaceholders::fillsPlaceholdersInNames_data()
{
    QTest::addColumn<QString>("className");
    QTest::addColumn<QString>("function");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    const QString pump = text("Pump");
    const QString start = text("start");
    const QString on = text("on");
    const QString number = text("    1 ");
    const QString time = text(stamp);

    // The lowest number is replaced first: what is in a name can stand in for what the line wants
    // next, and everything behind it moves on by one.
    const char *const low[] = {"%1", "%2", "%0", "%L1", "%L2", "%01", "%00", "%1%1"};
    for (const char *const name : low) {
        const int columns = int(qstrlen(name));
        const QString twice = columns == 4 ? start.leftJustified(30) : QString();
        QTest::newRow((QByteArray("class ") + name).constData())
            << text(name) << start << on
            << number + twice + pad(start, 30) + blanks(30 - columns) + text(" ") + pad(on, 80) +
                   text(" 1, tid=") + time + text(", %6");
    }
    const char *const lowForFunction[] = {"%1", "%2", "%3", "%0", "%L3", "%03"};
    for (const char *const name : lowForFunction)
        QTest::newRow((QByteArray("function ") + name).constData())
            << pump << text(name) << on
            << number + pad(pump, 30) + text(" ") + pad(on, 80) + blanks(30 - int(qstrlen(name))) +
                   text(" 1, tid=") + time + text(", %6");

    // The line's own numbers are filled in both places.
    const struct {
        const char *name;
        QString value;
    } same[] = {{"%4", pad(on, 80)}, {"%L4", pad(on, 80)}, {"%5", text("1")},
                {"%L5", text("1")},  {"%6", time},         {"%06", time}};
    for (const auto &row : same) {
        const QString filled = row.value + blanks(30 - int(qstrlen(row.name)));
        QTest::newRow((QByteArray("class ") + row.name).constData())
            << text(row.name) << start << on
            << number + filled + text(" ") + pad(start, 30) + text(" ") + pad(on, 80) + tail();
        QTest::newRow((QByteArray("function ") + row.name).constData())
            << pump << text(row.name) << on
            << number + pad(pump, 30) + text(" ") + filled + text(" ") + pad(on, 80) + tail();
    }
    QTest::newRow("class %3") << text("%3") << start << on
                              << number + pad(start, 30) + blanks(29) + pad(start, 30) + text(" ") +
                                     pad(on, 80) + tail();

    const char *const none[] = {"%7",   "%8", "%9",  "%10", "%99", "%L10", "%",  "%%", "%L",
                                "%LL1", "%x", "% 1", "%-1", "L1",  "1%",   "%d", "%s"};
    for (const char *const name : none)
        QTest::newRow((QByteArray("both ") + name).constData())
            << text(name) << text(name) << on
            << number + pad(text(name), 30) + text(" ") + pad(text(name), 30) + text(" ") +
                   pad(on, 80) + tail();

    QTest::newRow("class %%1") << text("%%1") << start << on
                               << number + text("%") + pad(start, 30) + blanks(28) + pad(on, 80) +
                                      text(" 1, tid=") + time + text(", %6");
    // A value may complete a new placeholder: "%" and the thread's number are "%1".
    QTest::newRow("class %%5") << text("%%5") << start << on
                               << number + time + blanks(28) + pad(start, 30) + text(" ") +
                                      pad(on, 80) + text(", tid=1, %6");
    QTest::newRow("class %2, function %1")
        << text("%2") << text("%1") << on
        << number + pad(on, 80) + blanks(28) + blanks(28) + text(" 1 ") + text("") + time +
               text(", tid=%5, %6");

    // Long messages: their length is the next number behind the names.
    const QString lines = text("\n") + letters(85);
    QTest::newRow("long, class %1")
        << text("%1") << start << letters(85)
        << number + pad(start, 30) + blanks(29) + text("85 [Long message(1)]") + text(gap) +
               text(", tid=") + time + text(", ") + letters(85) + text("\n%7");
    QTest::newRow("long, class %4") << text("%4") << start << letters(85)
                                    << number + text("85") + blanks(29) + pad(start, 30) +
                                           text(" [Long message(85)]") + text(gap) + tail() + lines;
    QTest::newRow("long, class %L4")
        << text("%L4") << start << letters(85)
        << number + text("85") + blanks(28) + pad(start, 30) + text(" [Long message(85)]") +
               text(gap) + tail() + lines;
    QTest::newRow("long, function %7")
        << pump << text("%7") << letters(85)
        << number + pad(pump, 30) + text(" ") + letters(85) + blanks(29) +
               text("[Long message(85)]") + text(gap) + tail() + lines;
    QTest::newRow("long, function %8")
        << pump << text("%8") << letters(85)
        << number + pad(pump, 30) + text(" ") + pad(text("%8"), 30) + text(" [Long message(85)]") +
               text(gap) + tail() + lines;
    QTest::newRow("split, function %8")
        << pump << text("%8") << letters(180) + text(" b")
        << number + pad(pump, 30) + text(" b") + blanks(29) + text("[Long message(182)]") +
               text(gap) + tail() + text("\n") + letters(180) + text("\nb");
    QTest::newRow("split, class %2")
        << text("%2") << start << letters(180) + text(" b")
        << number + pad(start, 30) + blanks(29) + text("182 [Long message(1)]") + text(gap) +
               text(", tid=") + time + text(", ") + letters(180) + text("\nb\n%8");
    QTest::newRow("360, class %1") << text("%1") << text("%2") << letters(360) << QString();
}

void TestTracePlaceholders::fillsPlaceholdersInNames()
{
    QFETCH(QString, className);
    QFETCH(QString, function);
    QFETCH(QString, message);
    QFETCH(QString, expected);
    Trace trace(nullptr);
    TraceLog lines(&trace);
    Trace::log(8, 2, className, function, message);
    QCOMPARE(lines.lines, QStringList(expected));
}

void TestTracePlaceholders::fillsPlaceholdersInMessages_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    const QString time = text(stamp);
    const char *const low[] = {"%0", "%1", "%2", "%3", "%4", "%L1", "%L4", "%04"};
    for (const char *const message : low)
        QTest::newRow(message) << text(message)
                               << names(1) + text("1") + blanks(80 - int(qstrlen(message))) +
                                      text(", tid=") + time + text(", %6");
    const char *const thread[] = {"%5", "%L5", "%05"};
    for (const char *const message : thread)
        QTest::newRow(message) << text(message)
                               << names(1) + text("1") + blanks(80 - int(qstrlen(message))) +
                                      tail();
    const char *const when[] = {"%6", "%L6", "%06"};
    for (const char *const message : when)
        QTest::newRow(message) << text(message)
                               << names(1) + time + blanks(80 - int(qstrlen(message))) + tail();
    const char *const none[] = {"%7", "%8", "%9",  "%10", "%60", "%99",  "%L7", "%",  "%%", "%L",
                                "%x", "%d", "%-5", "% 5", "%Lx", "%LL5", "5%",  "%n", "%s", "100%"};
    for (const char *const message : none)
        QTest::newRow(message) << text(message) << line(message);
    QTest::newRow("%1 and %2") << text("%1 and %2")
                               << names(1) + text("1 and ") + time + blanks(71) +
                                      text(", tid=%5, %6");
    QTest::newRow("%5 of %6") << text("%5 of %6")
                              << names(1) + text("1 of ") + time + blanks(72) + tail();
    QTest::newRow("%%5") << text("%%5") << names(1) + time + blanks(77) + text(", tid=1, %6");
    QTest::newRow("%105") << text("%105") << line("%105");
    QTest::newRow("%55") << text("%55") << line("%55");
    QTest::newRow("blanks in it") << text("  % 5 \t %L\n5 ") << line("% 5 %L 5");
    QTest::newRow("blanks around it")
        << text("\t%5\n%6 ") << names(1) + text("1 ") + time + blanks(75) + tail();

    // The message itself is the last that is filled in.
    const QString full = text("%1%2%3%4%5%6%7%8%9%%%L1%10");
    QTest::newRow("long") << full + letters(54) << header("80") + full + letters(54);
    QTest::newRow("179") << full + letters(153) << header("179") + full + letters(153);
    // The rest of a split message is filled in last, in the first placeholder that is left.
    QTest::newRow("split, %1 in the first part")
        << text("%1") + letters(178) + text("rest")
        << header("184") + text("rest") + letters(178) + text("\n%8");
    QTest::newRow("split, %7 in the first part")
        << text("%7") + letters(178) + text("rest")
        << header("184") + text("rest") + letters(178) + text("\n%8");
    QTest::newRow("split, %8 in the first part")
        << text("%8") + letters(178) + text("rest")
        << header("184") + text("rest") + letters(178) + text("\nrest");
    QTest::newRow("split, %L8 in the first part")
        << letters(177) + text("%L8rest") << header("184") + letters(177) + text("rest\nrest");
    QTest::newRow("split, %9 in the first part")
        << text("%9") + letters(178) + text("rest")
        << header("184") + text("%9") + letters(178) + text("\nrest");
    QTest::newRow("split, all in the rest")
        << letters(180) + full << header("206") + letters(180) + text("\n") + full;
    QTest::newRow("split, cut in a placeholder")
        << letters(179) + text("%8") << header("181") + letters(179) + text("%\n8");
    QTest::newRow("360") << full + letters(334) << QString();
}

void TestTracePlaceholders::fillsPlaceholdersInMessages()
{
    compareLine();
}

void TestTracePlaceholders::fillsPlaceholdersWithOtherDigitsSilently_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    QTest::newRow("Arabic 5") << text("%\xd9\xa5") << names(1) + text("1") + blanks(78) + tail();
    QTest::newRow("Devanagari 5") << text("%\xe0\xa5\xab")
                                  << names(1) + text("1") + blanks(78) + tail();
    QTest::newRow("fullwidth 05") << text("%\xef\xbc\x90\xef\xbc\x95")
                                  << names(1) + text("1") + blanks(77) + tail();
    QTest::newRow("Tai Tham 5, which Qt 4 does not know")
        << text("%\xe1\xaa\x85") << line("%\xe1\xaa\x85");
    QTest::newRow("5, Tai Tham 5")
        << text("%5\xe1\xaa\x85") << names(1) + text("1\xe1\xaa\x85") + blanks(77) + tail();
    QTest::newRow("Arabic 11") << text("%\xd9\xa1\xd9\xa1") << line("%\xd9\xa1\xd9\xa1");
}

void TestTracePlaceholders::fillsPlaceholdersWithOtherDigitsSilently()
{
    compareLine();
    QCOMPARE(messages->lines(), QStringList(text("debug: Delting Trace object ")));
}

int main(int argc, char *argv[])
{
    return runTraceTest<TestTracePlaceholders>(argc, argv);
}

#include "tst_traceplaceholders.moc"
