// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qvlog/timearg.h"
#include "temporaryfolder.h"
#include "toolprocess.h"
#include "waiting.h"

#include <QtCore/QFile>
#include <QtTest/QtTest>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <memory>

namespace
{

const char rule[] = "=============================================\n";
const char change[] = "..logging continues in next file.....\n";
const char continued[] =
    "...continued\n=====================================================================\n";

QByteArray time(int second)
{
    return "2024-03-01 13:04:" + QByteArray::number(second).rightJustified(2, '0') + ".042";
}

/** A line of the log, without its newline; its time is that of the second. */
QByteArray line(int number, const char *className, const char *function, const char *message,
                int thread = 1, int second = -1)
{
    return QByteArray::number(number).rightJustified(5) + ' ' +
           QByteArray(className).leftJustified(30) + ' ' + QByteArray(function).leftJustified(30) +
           ' ' + QByteArray(message).leftJustified(80) + ", tid=" + QByteArray::number(thread) +
           ", " + time(second < 0 ? number : second);
}

QByteArray shortLine(int number, const char *text, int thread = 1)
{
    return time(number) + " [" + QByteArray::number(thread) + "] " + text + '\n';
}

const QByteArray hundred(100, 'm');

QByteArray lineFor(int number, const char *message)
{
    return line(number, "Pump", "start", message) + '\n';
}

} // namespace

/** qvlog as a process: its options, its exit statuses, what it does with strange files. */
class tst_Qvlog : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void readsAllFilesInOrder();
    void takesTheNameOfAFile();
    void showsStyles_data();
    void showsStyles();
    void joinsLongMessages();
    void choosesEntries_data();
    void choosesEntries();
    void showsContext_data();
    void showsContext();
    void showsNoContextOfAnotherLog();
    void understandsTimes_data();
    void understandsTimes();
    void countsDaysBackByTheCalendar();
    void escapesControlCharacters();
    void writesUtf8();
    void showsColoursOnATerminal();
    void countsEntries();
    void findsGaps();
    void findsNoGapsInLinesOutOfOrder();
    void findsNoGapsWhereNumbersBeginAnew();
    void knowsNoNumberWithoutOneBefore();
    void findsGapsOfEachLog();
    void mergesLogs();
    void takesSnapshots();
    void destroysNothingWithASnapshot();
    void showsWhatAPowerFailureLeaves();
    void takesALoneRuleForText();
    void survivesHostileFiles_data();
    void survivesHostileFiles();

    void followsALog();
    void followsALogThatIsNotYetThere();
    void saysWhenAFollowedFileIsEmptied();
    void keepsItsPlaceWhenAFollowedFileIsRemoved_data();
    void keepsItsPlaceWhenAFollowedFileIsRemoved();
    void saysWhenAFollowedFileCannotBeRead();

    void explainsItself_data();
    void explainsItself();
    void refusesWrongOptions_data();
    void refusesWrongOptions();
    void cannotReadWhatIsNotThere();
    void failsWhenItCannotWrite();

private:
    void write(const char *name, const QByteArray &content);
    void append(const char *name, const QByteArray &content);
    QByteArray log(const char *base = "app") const;
    /** Runs it on the log. @return its output, behind its status if that is not 0 */
    QByteArray qvlog(const char *options);

    std::unique_ptr<TemporaryFolder> folder;
    std::unique_ptr<ToolProcess> tool;
};

void tst_Qvlog::init()
{
    folder.reset(new TemporaryFolder);
    tool.reset(new ToolProcess(QVLOG_PROGRAM));
}

void tst_Qvlog::cleanup()
{
    tool.reset();
    folder.reset();
}

void tst_Qvlog::write(const char *name, const QByteArray &content)
{
    QFile file(folder->filePath(QLatin1String(name)));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != qint64(content.size()))
        qFatal("cannot write %s", name);
}

void tst_Qvlog::append(const char *name, const QByteArray &content)
{
    QFile file(folder->filePath(QLatin1String(name)));
    if (!file.open(QIODevice::Append) || file.write(content) != qint64(content.size()))
        qFatal("cannot write %s", name);
}

QByteArray tst_Qvlog::log(const char *base) const
{
    return QFile::encodeName(folder->filePath(QLatin1String(base)));
}

QByteArray tst_Qvlog::qvlog(const char *options)
{
    QStringList arguments(QString::fromUtf8(log()));
    if (*options)
        arguments = words(options) << arguments;
    const QByteArray ending = tool->run(arguments);
    const QByteArray errors = tool->errors();
    return (ending == "exit 0" ? QByteArray() : ending + '\n') + tool->output() + errors;
}

void tst_Qvlog::readsAllFilesInOrder()
{
    write("app9.log", lineFor(1, "one") + rule + change + rule);
    write("app3.log", continued + lineFor(2, "two") + rule + "The end.....\n" + rule);
    write("app1.log", lineFor(1, "three") + rule + change + rule);
    write("app0.log", continued + lineFor(2, "four"));
    write("app10.log", lineFor(1, "not of this log"));
    write("application0.log", lineFor(1, "nor is this"));
    QCOMPARE(qvlog(""), "-- run 1 --\n" + lineFor(1, "one") + lineFor(2, "two") +
                            "-- closed: The end\n-- run 2 --\n" + lineFor(1, "three") +
                            lineFor(2, "four"));
    QCOMPARE(qvlog("--quiet --last-run"), lineFor(1, "three") + lineFor(2, "four"));
    QVERIFY(QFile::remove(folder->filePath(QLatin1String("app9.log"))));
    QVERIFY(qvlog("").startsWith("-- run 1, whose beginning is no longer there --\n"));
}

void tst_Qvlog::takesTheNameOfAFile()
{
    write("app0.log", lineFor(1, "one"));
    QCOMPARE(tool->run(words("-q") << QString::fromUtf8(log("app0.log"))), QByteArray("exit 0"));
    QCOMPARE(tool->output(), lineFor(1, "one"));
}

void tst_Qvlog::showsStyles_data()
{
    QTest::addColumn<QByteArray>("style");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray left = "<a message of 360 or more characters is left out>";
    QTest::newRow("full") << QByteArray("full")
                          << lineFor(1, "on \"a\", b") + "    2 " + left + "\n" + "free text\n";
    QTest::newRow("short") << QByteArray("short")
                           << shortLine(1, "Pump::start: on \"a\", b") + QByteArray(23, ' ') +
                                  " [-] " + left + "\n" + QByteArray(23, ' ') + " [-] free text\n";
    QTest::newRow("json")
        << QByteArray("json")
        << QByteArray("{\"log\":\"app\",\"run\":1,\"kind\":\"line\",\"number\":1,\"time\":"
                      "\"2024-03-01 13:04:01.042\",\"tid\":1,\"class\":\"Pump\",\"function\":"
                      "\"start\",\"message\":\"on \\\"a\\\", b\"}\n"
                      "{\"log\":\"app\",\"run\":1,\"kind\":\"too-long\",\"number\":2}\n"
                      "{\"log\":\"app\",\"run\":1,\"kind\":\"text\",\"message\":\"free text\"}\n");
    QTest::newRow("csv")
        << QByteArray("csv")
        << QByteArray("log,run,number,time,tid,class,function,message,kind\n"
                      "app,1,1,2024-03-01 13:04:01.042,1,Pump,start,\"on \"\"a\"\", b\",line\n"
                      "app,1,2,,,,,,too-long\n"
                      "app,1,,,,,,free text,text\n");
}

void tst_Qvlog::showsStyles()
{
    QFETCH(QByteArray, style);
    QFETCH(QByteArray, expected);
    write("app0.log", lineFor(1, "on \"a\", b") + "\nfree text\n");
    QCOMPARE(qvlog(("-q -o " + style).constData()), expected);
}

void tst_Qvlog::joinsLongMessages()
{
    const QByteArray first(180, 'a');
    write("app0.log",
          line(1, "Pump", "start", "[Long message(100)]") + '\n' + hundred + '\n' +
              line(2, "Pump", "start", "[Long message(190)]") + '\n' + first + "\nbbbbbbbbbb\n" +
              line(3, "Pump", "start", "[Long message(190)]") + '\n' + first + "\nbbbbbbbbb\n" +
              line(4, "Pump", "start", "[Long message(100)]") + '\n' + lineFor(5, "on"));
    QCOMPARE(qvlog("-q -o short"),
             shortLine(1, ("Pump::start: " + hundred).constData()) +
                 shortLine(2, ("Pump::start: " + first + "bbbbbbbbbb").constData()) +
                 shortLine(3, ("Pump::start: " + first + " bbbbbbbbb").constData()) +
                 shortLine(4, "Pump::start: [Long message(100)]") +
                 shortLine(5, "Pump::start: on"));
    QCOMPARE(qvlog("-q --lines 1"), line(1, "Pump", "start", hundred.constData()) + '\n');
}

void tst_Qvlog::choosesEntries_data()
{
    QTest::addColumn<QByteArray>("options");
    QTest::addColumn<QByteArray>("numbers");
    QTest::newRow("all") << QByteArray("-q") << QByteArray("1 2 3 4 5 6");
    QTest::newRow("class") << QByteArray("-c Pump") << QByteArray("1 2 6");
    QTest::newRow("classes") << QByteArray("-c Pump --class Valve") << QByteArray("1 2 3 6");
    QTest::newRow("class pattern") << QByteArray("-c *a*") << QByteArray("3 5");
    QTest::newRow("function") << QByteArray("-m start") << QByteArray("1 3");
    QTest::newRow("class and function") << QByteArray("-c Pump --function st?p") << QByteArray("2");
    QTest::newRow("thread") << QByteArray("-T 2") << QByteArray("2 5");
    QTest::newRow("threads") << QByteArray("-T 2 --tid 13") << QByteArray("2 5 6");
    QTest::newRow("text") << QByteArray("-g ^o") << QByteArray("1 2");
    QTest::newRow("text in any case") << QByteArray("-i --grep ^O") << QByteArray("1 2");
    QTest::newRow("another text") << QByteArray("-v -g ^o") << QByteArray("3 4 5 6");
    QTest::newRow("extended") << QByteArray("-g ^(on|off)$") << QByteArray("1 2");
    QTest::newRow("beyond ASCII") << QByteArray("-g caf\xc3\xa9") << QByteArray("6");
    QTest::newRow("behind a long message") << QByteArray("-g m{100}") << QByteArray("4");
    QTest::newRow("numbers") << QByteArray("--lines 2..4") << QByteArray("2 3 4");
    QTest::newRow("from a number") << QByteArray("--lines 5..") << QByteArray("5 6");
    QTest::newRow("to a number") << QByteArray("--lines ..2") << QByteArray("1 2");
    QTest::newRow("one number") << QByteArray("--lines 3") << QByteArray("3");
    QTest::newRow("since") << QByteArray("--since 2024-03-01T13:04:05") << QByteArray("5 6");
    QTest::newRow("until, included")
        << QByteArray("--until 2024-03-01T13:04:02") << QByteArray("1 2");
    QTest::newRow("until a minute")
        << QByteArray("-U 2024-03-01T13:04") << QByteArray("1 2 3 4 5 6");
    QTest::newRow("a long time ago") << QByteArray("--until 2023-12-31") << QByteArray();
    QTest::newRow("in the last hour") << QByteArray("-S -1h") << QByteArray();
    QTest::newRow("the last") << QByteArray("-n 2") << QByteArray("5 6");
    QTest::newRow("the last of some") << QByteArray("-n 1 -c Pump") << QByteArray("6");
}

void tst_Qvlog::choosesEntries()
{
    QFETCH(QByteArray, options);
    QFETCH(QByteArray, numbers);
    write("app0.log", line(1, "Pump", "start", "on") + '\n' + line(2, "Pump", "stop", "off", 2) +
                          '\n' + line(3, "Valve", "start", "") + '\n' +
                          line(4, "", "", "[Long message(100)]") + '\n' + hundred + '\n' +
                          line(5, "a", "b", "pump", 2) + '\n' + line(6, "Pump", "", "caf\xe9", 13) +
                          '\n');
    QStringList arguments = words(options.constData());
    QCOMPARE(tool->run(arguments << QLatin1String("-o") << QLatin1String("csv")
                                 << QString::fromUtf8(log())),
             QByteArray("exit 0"));
    QList<QByteArray> found;
    QList<QByteArray> lines = tool->output().trimmed().split('\n');
    for (const QByteArray &row : lines) {
        if (row.startsWith("app,"))
            found << row.split(',').at(2);
    }
    QCOMPARE(joined(found, ' '), numbers);
}

void tst_Qvlog::showsContext_data()
{
    QTest::addColumn<QByteArray>("options");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("after") << QByteArray("-A 1") << QByteArray("2 3 -- 7 8");
    QTest::newRow("before") << QByteArray("-B 1") << QByteArray("1 2 -- 6 7");
    QTest::newRow("around") << QByteArray("-C 2") << QByteArray("1 2 3 4 5 6 7 8 9");
    QTest::newRow("more than there is") << QByteArray("-C 100") << QByteArray("1 2 3 4 5 6 7 8 9");
    QTest::newRow("none") << QByteArray("-C 0") << QByteArray("2 7");
}

void tst_Qvlog::showsContext()
{
    QFETCH(QByteArray, options);
    QFETCH(QByteArray, expected);
    QByteArray all;
    for (int number = 1; number <= 9; ++number)
        all += lineFor(number, number == 2 || number == 7 ? "yes" : "no");
    write("app0.log", all);
    QList<QByteArray> found;
    for (const QByteArray &row : qvlog(("-q -g yes " + options).constData()).trimmed().split('\n'))
        found << row.trimmed().split(' ').first();
    QCOMPARE(joined(found, ' '), expected);
}

/** What is around an entry is so in its own log, unless the logs are merged. */
void tst_Qvlog::showsNoContextOfAnotherLog()
{
    write("app0.log", lineFor(1, "no") + lineFor(2, "yes"));
    write("other0.log", lineFor(3, "yes") + lineFor(4, "no"));
    const QStringList logs = QStringList()
                             << QString::fromUtf8(log()) << QString::fromUtf8(log("other"));
    QCOMPARE(tool->run(words("-q -g yes -o csv -A 1") << logs), QByteArray("exit 0"));
    QCOMPARE(int(tool->output().count('\n')), 1 + 3);
    write("other0.log", lineFor(3, "no") + lineFor(4, "no"));
    QCOMPARE(tool->run(words("-q -g yes -A 1") << logs), QByteArray("exit 0"));
    QCOMPARE(tool->output(), "app: " + lineFor(2, "yes"));
    QCOMPARE(tool->run(words("-q -g yes -A 1 --merge") << logs), QByteArray("exit 0"));
    QCOMPARE(tool->output(), "app: " + lineFor(2, "yes") + "other: " + lineFor(3, "no"));
}

void tst_Qvlog::understandsTimes_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("good");
    for (const char *text :
         {"2024-03-01", "2024-03-01T13:04", "2024-03-01T13:04:05", "2024-03-01T13:04:05.042",
          "13:04", "13:04:05", "now", "today", "yesterday", "-90s", "-5min", "-2h", "-1d"})
        QTest::newRow(text) << QByteArray(text) << true;
    for (const char *text :
         {"",      "2024",  "2024-3-1", "13",         "1304",        "tomorrow",      "-",
          "-1",    "-h",    "1h",       "-1y",        "2024-03-01T", "-99999999999h", "13:04:05.0",
          "24:00", "13:60", "13:04:61", "2024-13-01", "2024-00-01",  "2024-03-32",    "2024-03-00"})
        QTest::newRow(*text ? text : "nothing") << QByteArray(text) << false;
}

void tst_Qvlog::understandsTimes()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, good);
    write("app0.log", "");
    const QByteArray ending =
        tool->run(QStringList() << QLatin1String("-S") << QString::fromLatin1(text.constData())
                                << QString::fromUtf8(log()));
    QCOMPARE(ending, QByteArray(good ? "exit 0" : "exit 2"));
    QCOMPARE(tool->errors(), good ? QByteArray() : "qvlog: bad time '" + text + "' (try --help)\n");
}

/** The day before has 23 or 25 hours where the clocks are changed. */
void tst_Qvlog::countsDaysBackByTheCalendar()
{
    const QByteArray zone = qgetenv("TZ");
    qputenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    ::tzset();
    const std::time_t minute = 60;
    std::string shortDay;
    std::string longDay;
    std::string longAgo;
    const std::time_t monday = 1711924200; // 2024-04-01 00:30, after a day of 23 hours
    const std::time_t sunday = 1730068200; // 2024-10-27 23:30, on a day of 25 hours
    const bool good = qvlog::parseTime("yesterday", monday, shortDay) &&
                      qvlog::parseTime("yesterday", sunday, longDay) &&
                      qvlog::parseTime("-99999999d", 10 * minute, longAgo);
    if (zone.isNull())
        ::unsetenv("TZ");
    else
        qputenv("TZ", zone);
    ::tzset();
    QVERIFY(good);
    QCOMPARE(shortDay, std::string("2024-03-31"));
    QCOMPARE(longDay, std::string("2024-10-26"));
    QCOMPARE(longAgo, std::string("1970-01-01 01:00:00"));
}

void tst_Qvlog::escapesControlCharacters()
{
    write("app0.log", line(1, "Pump", "start", "\033[2J\a\x9b \x7f \xe9") + '\n');
    QCOMPARE(qvlog("-q -o short"), shortLine(1, "Pump::start: \\x1b[2J\\x07\\x9b \\x7f \xe9"));
    QVERIFY(qvlog("-o json").contains("\"message\":\"\\u001b[2J\\u0007\\u009b \\u007f \xc3\xa9\""));
}

void tst_Qvlog::writesUtf8()
{
    write("app0.log", line(1, "Pump", "start", "caf\xe9 \xa0\xff") + '\n');
    QCOMPARE(qvlog("-q -o short"), shortLine(1, "Pump::start: caf\xe9 \xa0\xff"));
    QCOMPARE(qvlog("-q -o short --utf8"),
             shortLine(1, "Pump::start: caf\xc3\xa9 \xc2\xa0\xc3\xbf"));
}

void tst_Qvlog::showsColoursOnATerminal()
{
    write("app0.log", lineFor(1, "on") + '\n');
    const QStringList arguments(QString::fromUtf8(log()));
    QCOMPARE(tool->runOnTerminal(arguments), QByteArray("exit 0"));
    QVERIFY(tool->output().startsWith("\033[33m-- run 1 --\033[0m\n"));
    QCOMPARE(tool->runOnTerminal(words("--color never") << arguments), QByteArray("exit 0"));
    QVERIFY(!tool->output().contains('\033'));
    QVERIFY(!qvlog("").contains('\033'));
    QVERIFY(qvlog("--color always").contains('\033'));
}

void tst_Qvlog::countsEntries()
{
    write("app0.log", line(1, "Pump", "start", "on") + '\n' + line(2, "Valve", "start", "on", 2) +
                          '\n' + line(3, "Pump", "start", "on", 2) + "\n\nfree\n");
    QCOMPARE(qvlog("--stats"), QByteArray("by kind\n"
                                          "         3  line\n"
                                          "         1  text\n"
                                          "         1  too-long\n"
                                          "\nby class\n"
                                          "         2  Pump\n"
                                          "         1  Valve\n"
                                          "\nby thread\n"
                                          "         2  2\n"
                                          "         1  1\n"
                                          "\nby minute\n"
                                          "         3  2024-03-01 13:04\n"));
    QVERIFY(qvlog("--stats -c Valve").startsWith("by kind\n         1  line\n\n"));
}

void tst_Qvlog::findsGaps()
{
    write("app1.log",
          lineFor(1, "on") + lineFor(4, "on") + '\n' + lineFor(6, "on") + rule + change + rule);
    write("app0.log", lineFor(8, "another run") + lineFor(10, "on"));
    QCOMPARE(qvlog("--gaps"), "exit 6\n"
                              "app run 1: 2..3 are missing (2), between " +
                                  time(1) + " and " + time(4) +
                                  "\n"
                                  "app run 2: 9 is missing, between " +
                                  time(8) + " and " + time(10) + "\n3 numbers are missing\n");
}

void tst_Qvlog::findsNoGapsInLinesOutOfOrder()
{
    QByteArray all;
    for (int number : {1, 4, 2, 5, 3, 8, 6, 7})
        all += lineFor(number, "on");
    write("app0.log", all + line(2147483647, "Pump", "start", "on", 1, 1) + '\n' +
                          line(-2147483647, "Pump", "start", "on", 1, 1) + '\n');
    QCOMPARE(qvlog("--gaps --lines 1..8"),
             "exit 6\napp run 1: 9..2147483646 are missing (2147483638), between " + time(8) +
                 " and " + time(1) + "\napp run 1: -2147483648 is missing, between " + time(1) +
                 " and " + time(1) + "\n2147483639 numbers are missing\n");
}

/** Behind the largest number, too, lines of several threads overtake each other. */
void tst_Qvlog::findsNoGapsWhereNumbersBeginAnew()
{
    QByteArray all;
    for (int number : {2147483645, -2147483647, 2147483646, -2147483647 - 1, 2147483647})
        all += line(number, "Pump", "start", "on", 1, 1) + '\n';
    write("app0.log", all);
    QCOMPARE(qvlog("--gaps"), QByteArray("0 numbers are missing\n"));
    write("app0.log", line(2147483645, "Pump", "start", "on", 1, 1) + '\n' +
                          line(-2147483647, "Pump", "start", "on", 1, 1) + '\n');
    QCOMPARE(qvlog("--gaps"),
             "exit 6\napp run 1: 2147483646..-2147483648 are missing (3), between " + time(1) +
                 " and " + time(1) + "\n3 numbers are missing\n");
}

/** Where an empty line comes first, because of rotation or of a late start, it may be any. */
void tst_Qvlog::knowsNoNumberWithoutOneBefore()
{
    write("app0.log", continued + ('\n' + lineFor(5001, "on")));
    QCOMPARE(qvlog("--gaps"), QByteArray("0 numbers are missing\n"));
    QCOMPARE(qvlog("-q --lines 1..5000"), QByteArray());
    QVERIFY(qvlog("-q").startsWith("      <a message of 360"));
    QVERIFY(qvlog("-q -o csv").contains("\napp,1,,,,,,,too-long\n"));
    QVERIFY(qvlog("-q -o json").startsWith("{\"log\":\"app\",\"run\":1,\"kind\":\"too-long\"}\n"));
}

void tst_Qvlog::findsGapsOfEachLog()
{
    QStringList logs;
    QByteArray expected;
    for (int i = 0; i < 10; ++i) {
        const QByteArray base = "log" + QByteArray::number(9 - i) + '-';
        write((base + "0.log").constData(),
              i == 3 ? QByteArray() : lineFor(1, "on") + lineFor(3, "on"));
        logs << QString::fromUtf8(log(base.constData()));
        expected += i == 3 ? QByteArray("0 numbers are missing\n")
                           : base + " run 1: 2 is missing, between " + time(1) + " and " + time(3) +
                                 "\n1 number is missing\n";
    }
    QCOMPARE(tool->run(words("--gaps") << logs), QByteArray("exit 6"));
    QCOMPARE(tool->output(), expected);
}

void tst_Qvlog::mergesLogs()
{
    write("app0.log", lineFor(1, "a") + '\n' + lineFor(3, "b"));
    write("other0.log", lineFor(2, "c") + lineFor(4, "d"));
    const QStringList logs = QStringList()
                             << QString::fromUtf8(log()) << QString::fromUtf8(log("other"));
    QCOMPARE(tool->run(words("--merge -q -o short --lines 1..4") << logs), QByteArray("exit 0"));
    QCOMPARE(tool->output(),
             "app: " + shortLine(1, "Pump::start: a") + "app: " + QByteArray(23, ' ') +
                 " [-] <a message of 360 or more characters is left out>\n" + "other: " +
                 shortLine(2, "Pump::start: c") + "app: " + shortLine(3, "Pump::start: b") +
                 "other: " + shortLine(4, "Pump::start: d"));
    QCOMPARE(tool->run(words("-q -o short -m start") << logs), QByteArray("exit 0"));
    QCOMPARE(tool->output(), "app: " + shortLine(1, "Pump::start: a") +
                                 "app: " + shortLine(3, "Pump::start: b") +
                                 "other: " + shortLine(2, "Pump::start: c") +
                                 "other: " + shortLine(4, "Pump::start: d"));
}

void tst_Qvlog::takesSnapshots()
{
    const QByteArray older = lineFor(1, "on") + rule + change + rule;
    const QByteArray newer = continued + lineFor(2, "\033off");
    write("app3.log", older);
    write("app0.log", newer);
    const QString archive = folder->filePath(QLatin1String("all.tar"));
    QCOMPARE(tool->run(words("--snapshot") << archive << QString::fromUtf8(log())),
             QByteArray("exit 0"));
    QFile file(archive);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray tar = file.readAll();
    QCOMPARE(int(tar.size()) % 512, 0);
    const auto block = [&tar](int at) { return tar.mid(at * 512, 512); };
    QCOMPARE(block(0).left(12), QByteArray("log/app0.log"));
    QCOMPARE(block(0).mid(257, 8), QByteArray("ustar\00000", 8));
    QCOMPARE(tar.mid(512, newer.size()), newer);
    const int next = 1 + (int(newer.size()) + 511) / 512;
    QCOMPARE(block(next).left(12), QByteArray("log/app3.log"));
    QCOMPARE(tar.mid((next + 1) * 512, older.size()), older);
    QCOMPARE(tool->run(words("--snapshot -") << QString::fromUtf8(log())), QByteArray("exit 0"));
    QCOMPARE(tool->output(), tar);
}

/** A slip on the command line must not cost a file that is there. */
void tst_Qvlog::destroysNothingWithASnapshot()
{
    const QString archive = folder->filePath(QLatin1String("all.tar"));
    write("app0.log", lineFor(1, "on"));
    QCOMPARE(tool->run(words("--snapshot") << archive << QString::fromUtf8(log("none"))),
             QByteArray("exit 1"));
    QVERIFY(!QFile::exists(archive));
    write("all.tar", "an older one");
    QCOMPARE(tool->run(words("--snapshot") << archive << QString::fromUtf8(log("none"))),
             QByteArray("exit 1"));
    QCOMPARE(int(QFile(archive).size()), 12);
    const QString file = QString::fromUtf8(log("app0.log"));
    QCOMPARE(tool->run(words("--snapshot") << file << QString::fromUtf8(log())),
             QByteArray("exit 1"));
    QCOMPARE(tool->errors(), "qvlog: " + log("app0.log") + " is a file of the log\n");
    QCOMPARE(qvlog("-q"), lineFor(1, "on"));
}

void tst_Qvlog::showsWhatAPowerFailureLeaves()
{
    const QByteArray begin = line(2, "Pump", "start", "going on").left(80);
    write("app1.log", lineFor(1, "on") + begin);
    write("app0.log", lineFor(1, "again") + QByteArray(4096, '\0'));
    QCOMPARE(qvlog("-q"), lineFor(1, "on") + begin + " <cut short>\n" + lineFor(1, "again") +
                              "[4096 NUL bytes] <cut short>\n");
    QVERIFY(qvlog("-q -o csv").contains("app,1,2,,,Pump,start,going on,cut\n"));
}

/** Without a second rule soon, and an entry in between. */
void tst_Qvlog::takesALoneRuleForText()
{
    write("app0.log", lineFor(1, "on") + rule + "text\n\n    3 odd\n" + lineFor(4, "off"));
    QCOMPARE(qvlog("-q"), lineFor(1, "on") + rule +
                              "text\n    2 <a message of 360 or more characters is left out>\n"
                              "    3 odd\n" +
                              lineFor(4, "off"));
}

void tst_Qvlog::survivesHostileFiles_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("no newline") << QByteArray(3000000, 'x');
    QTest::newRow("numbers only") << QByteArray("    1 ").repeated(100000);
    QTest::newRow("broken entries") << QByteArray("    1 x\n").repeated(50000);
    QTest::newRow("broken entries that go on") << QByteArray("    1 x\ny\nz\n").repeated(20000);
    QTest::newRow("rules") << QByteArray(rule).repeated(5001);
    QTest::newRow("headers") << QByteArray(continued).repeated(1000);
    QTest::newRow("tails") << QByteArray(", tid=1, 2024-03-01 13:04:05.042\n").repeated(1000);
    QTest::newRow("long numbers") << QByteArray("123456789012345678901234567890 x\n").repeated(99);
    QTest::newRow("announcements") << (line(1, "", "", "[Long message(359)]") + '\n').repeated(999);
    QTest::newRow("NUL") << QByteArray(1000000, '\0');
    QTest::newRow("empty lines") << QByteArray(500000, '\n');
    QTest::newRow("empty") << QByteArray();
}

void tst_Qvlog::survivesHostileFiles()
{
    QFETCH(QByteArray, content);
    for (const char *before : {"", "x", "    1 "}) {
        write("app0.log", before + content);
        for (const char *options :
             {"-o full", "-o json", "-o csv", "-o short --utf8 -g x -C 3", "--stats"}) {
            const QByteArray ending = tool->run(words(options) << QString::fromUtf8(log()));
            QCOMPARE(ending, QByteArray("exit 0"));
            QCOMPARE(tool->errors(), QByteArray());
        }
    }
}

void tst_Qvlog::followsALog()
{
    const auto rotate = [this](int files) {
        for (int i = files; i > 0; --i)
            QFile::rename(folder->filePath(QString::fromLatin1("app%1.log").arg(i - 1)),
                          folder->filePath(QString::fromLatin1("app%1.log").arg(i)));
    };
    write("app0.log", lineFor(1, "one"));
    tool->start(words("-q -f") << QString::fromUtf8(log()));
    QVERIFY(tool->waitForOutput("one"));
    append("app0.log", lineFor(2, "two") + "    3 Pu");
    QVERIFY(tool->waitForOutput("two"));
    append("app0.log", lineFor(3, "three").mid(8) + rule + change + rule);
    rotate(1);
    write("app0.log", continued + lineFor(4, "four"));
    QVERIFY(tool->waitForOutput("four"));
    for (int i = 2; i < 5; ++i) { // faster than it can look
        rotate(i);
        write("app0.log", continued + lineFor(i + 3, "more"));
    }
    QVERIFY(tool->waitForOutput("    7 "));
    tool->send(SIGTERM);
    QCOMPARE(tool->end(), QByteArray("signal 15"));
    QByteArray expected;
    for (const char *message : {"one", "two", "three", "four", "more", "more", "more"})
        expected += lineFor(int(expected.count('\n')) + 1, message);
    QCOMPARE(tool->output(), expected);
    QCOMPARE(tool->errors(), QByteArray());
}

void tst_Qvlog::followsALogThatIsNotYetThere()
{
    tool->start(words("-f -q") << QString::fromUtf8(log()));
    settle();
    write("app0.log", lineFor(1, "one") + lineFor(2, "two"));
    QVERIFY(tool->waitForOutput("two"));
    QCOMPARE(tool->output(), lineFor(1, "one") + lineFor(2, "two"));
}

void tst_Qvlog::saysWhenAFollowedFileIsEmptied()
{
    write("app0.log", lineFor(1, "one") + lineFor(2, "two"));
    tool->start(words("-f -q -n 1") << QString::fromUtf8(log()));
    QVERIFY(tool->waitForOutput("two"));
    write("app0.log", lineFor(1, "again"));
    QVERIFY(tool->waitForOutput("again"));
    QVERIFY(tool->waitForErrors("missing\n"));
    QCOMPARE(tool->output(), lineFor(2, "two") + lineFor(1, "again"));
    QCOMPARE(tool->errors(), "qvlog: " + log() + "0.log was emptied, lines may be missing\n");
}

void tst_Qvlog::keepsItsPlaceWhenAFollowedFileIsRemoved_data()
{
    QTest::addColumn<QByteArray>("options");
    QTest::addColumn<QByteArray>("begin");
    QTest::newRow("all") << QByteArray("-f -q")
                         << lineFor(1, "one") + lineFor(2, "two") + lineFor(3, "three");
    QTest::newRow("the last run") << QByteArray("-f -q --last-run") << lineFor(3, "three");
}

/** The older files have been read, and are not read again. */
void tst_Qvlog::keepsItsPlaceWhenAFollowedFileIsRemoved()
{
    QFETCH(QByteArray, options);
    QFETCH(QByteArray, begin);
    write("app2.log", lineFor(1, "one"));
    write("app1.log", continued + lineFor(2, "two"));
    write("app0.log", lineFor(3, "three"));
    tool->start(words(options.constData()) << QString::fromUtf8(log()));
    QVERIFY(tool->waitForOutput("three"));
    QVERIFY(QFile::remove(folder->filePath(QLatin1String("app0.log"))));
    write("app0.log", lineFor(4, "four"));
    QVERIFY(tool->waitForOutput("four"));
    append("app0.log", lineFor(5, "five"));
    QVERIFY(tool->waitForOutput("five"));
    QCOMPARE(tool->output(), begin + lineFor(4, "four") + lineFor(5, "five"));
    QCOMPARE(tool->errors(), QByteArray());
}

void tst_Qvlog::saysWhenAFollowedFileCannotBeRead()
{
    const QString file = folder->filePath(QLatin1String("app0.log"));
    write("app0.log", lineFor(1, "one"));
    tool->start(words("-f -q") << QString::fromUtf8(log()));
    QVERIFY(tool->waitForOutput("one"));
    QVERIFY(QFile::rename(file, folder->filePath(QLatin1String("app1.log"))));
    QVERIFY(QFile::link(QLatin1String("app0.log"), file)); // leads to itself
    QVERIFY(tool->waitForErrors("\n"));
    QVERIFY(QFile::remove(file));
    write("app0.log", lineFor(2, "two"));
    QVERIFY(tool->waitForOutput("two"));
    QCOMPARE(tool->errors(),
             "qvlog: cannot read " + log("app0.log") + ": Too many levels of symbolic links\n");
}

void tst_Qvlog::explainsItself_data()
{
    QTest::addColumn<QByteArray>("option");
    QTest::addColumn<QByteArray>("begin");
    QTest::newRow("help") << QByteArray("--help") << QByteArray("Usage: qvlog [options] DIR/BASE");
    QTest::newRow("-h") << QByteArray("-h") << QByteArray("Usage: qvlog [options] DIR/BASE");
    QTest::newRow("version") << QByteArray("--version") << QByteArray("qvlog " QVLOG_VERSION "\n");
    QTest::newRow("-V") << QByteArray("-V") << QByteArray("qvlog " QVLOG_VERSION "\n");
}

void tst_Qvlog::explainsItself()
{
    QFETCH(QByteArray, option);
    QFETCH(QByteArray, begin);
    QCOMPARE(tool->run(words(option.constData())), QByteArray("exit 0"));
    QVERIFY(tool->output().startsWith(begin));
    for (const QByteArray &row : tool->output().split('\n'))
        QVERIFY2(row.size() <= 80, row.constData());
    QVERIFY(tool->output().count('\n') <= 40);
    QCOMPARE(tool->errors(), QByteArray());
}

void tst_Qvlog::refusesWrongOptions_data()
{
    QTest::addColumn<QByteArray>("options");
    QTest::addColumn<QByteArray>("error");
    const struct {
        const char *options;
        const char *error;
    } rows[] = {
        {"--nothing L", "unknown option '--nothing'"},
        {"--merge -xq L", "unknown option '-x'"},
        {"--follow=3 L", "unknown option '--follow=3'"},
        {"-n", "no value for option '-n'"},
        {"--merge -qn", "no value for option '-n'"},
        {"--last", "no value for option '--last'"},
        {"-q", "which log? Give DIR/BASE"},
        {"dir/", "'dir/' has no base name; give DIR/BASE"},
        {"-n x L", "a number from 0 to 999999 is needed, not 'x'"},
        {"-C -1 L", "a number from 0 to 999999 is needed, not '-1'"},
        {"-T one L", "--tid needs a number, not 'one'"},
        {"-o xml L", "--output needs full, short, json or csv, not 'xml'"},
        {"--color red L", "--color needs always, never or auto, not 'red'"},
        {"--lines a..b L", "--lines needs A..B, A.., ..B or A, not 'a..b'"},
        {"--lines .. L", "--lines needs A..B, A.., ..B or A, not '..'"},
        {"-v L", "--invert needs --grep"},
        {"-i L", "--ignore-case needs --grep"},
        {"--stats --gaps L", "--stats, --gaps and --snapshot exclude each other"},
        {"--stats -f L", "--stats, --gaps and --snapshot show no entries, so --follow and the "
                         "options on how to show entries do not go with them"},
    };
    for (const auto &row : rows)
        QTest::newRow(row.options) << QByteArray(row.options) << QByteArray(row.error);
}

void tst_Qvlog::refusesWrongOptions()
{
    QFETCH(QByteArray, options);
    QFETCH(QByteArray, error);
    QCOMPARE(tool->run(words(options.constData())), QByteArray("exit 2"));
    QCOMPARE(tool->output(), QByteArray());
    QCOMPARE(tool->errors(), "qvlog: " + error + " (try --help)\n");
}

void tst_Qvlog::cannotReadWhatIsNotThere()
{
    QCOMPARE(tool->run(words("-T") << QString() << QString::fromUtf8(log())), QByteArray("exit 2"));
    QCOMPARE(qvlog(""), "exit 1\nqvlog: there is no " + log() + "0.log\n");
    QVERIFY(qvlog("-g (").startsWith("exit 2\nqvlog: bad regular expression '('"));
}

void tst_Qvlog::failsWhenItCannotWrite()
{
    write("app0.log", lineFor(1, "on"));
    QCOMPARE(tool->run(words("--snapshot /nowhere/x.tar") << QString::fromUtf8(log())),
             QByteArray("exit 1"));
    QCOMPARE(tool->errors(),
             QByteArray("qvlog: cannot write /nowhere/x.tar: No such file or directory\n"));
    QCOMPARE(tool->run(words("--snapshot /dev/full") << QString::fromUtf8(log())),
             QByteArray("exit 1"));
    QCOMPARE(tool->errors(), "qvlog: cannot copy " + log() + "0.log: No space left on device\n");
    QVERIFY(QFile::exists(QLatin1String("/dev/full")));
    for (const char *options : {"--help", "--version", "--stats", "--gaps", "-o json"}) {
        QCOMPARE(tool->runOnFullDisk(words(options) << QString::fromUtf8(log())),
                 QByteArray("exit 1"));
        QCOMPARE(tool->errors(), QByteArray("qvlog: cannot write: No space left on device\n"));
    }
}

QTEST_MAIN(tst_Qvlog)
#include "tst_qvlog.moc"
