// SPDX-License-Identifier: LGPL-2.1-or-later
#include "messagelog.h"
#include "random.h"
#include "skip.h"
#include "systemcalls.h"
#include "trace.h"

#include "kivlogs.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMetaMethod>
#include <QtCore/QScopedPointer>
#include <QtCore/QStringList>
#include <QtTest/QTest>

#include <climits>
#include <cstdio>
#include <pthread.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <syslog.h>
#include <type_traits>
#include <unistd.h>

namespace
{

const int defaultMask = 65535;

// What the clock stands at, and how lines show it.
const char stamp[] = "2024-03-01 13:04:05.042";

QString utf8(const char *text)
{
    return QString::fromUtf8(text);
}

QString ofCode(int code)
{
    return QString(QChar(ushort(code)));
}

QString blanks(int count)
{
    return QString(qMax(0, count), QLatin1Char(' '));
}

QString pad(const QString &text, int columns)
{
    return text + blanks(columns - int(text.length()));
}

/** A text without white space that looks different at every place near another. */
QString letters(int length)
{
    QString result;
    for (int i = 0; i < length; ++i)
        result += QLatin1Char(char('a' + (i + i / 26) % 26));
    return result;
}

/** All in front of the message, where a class and a function fill their columns. */
QString names(int number, const char *className = "Pump", const char *function = "start")
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "%5d", number);
    return utf8(digits) + utf8(" ") + pad(utf8(className), 30) + utf8(" ") +
           pad(utf8(function), 30) + utf8(" ");
}

QString tail(int thread = 1)
{
    return utf8(", tid=") + QString::number(thread) + utf8(", ") + utf8(stamp);
}

/** Line 1 of the one-line form with a message that is simple already. */
QString line(const QString &text)
{
    return names(1) + pad(text, 80) + tail();
}

QString line(const char *text)
{
    return line(utf8(text));
}

QString numbered(int number, const char *text)
{
    return names(number) + pad(utf8(text), 80) + tail();
}

const char gap[] = "                                                             ";

/** The first line of a long message with @a length characters. */
QString header(const char *length)
{
    return names(1) + utf8("[Long message(") + utf8(length) + utf8(")]") + utf8(gap) + tail() +
           utf8("\n");
}

/** A line of the trace machinery's own. */
QString own(int number, const char *function, const char *message)
{
    return names(number, "Trace", function) + pad(utf8(message), 80) + tail();
}

void log(const QString &message)
{
    Trace::log(8, 2, utf8("Pump"), utf8("start"), message);
}

void log(const char *message)
{
    log(utf8(message));
}

void log(int group, int level)
{
    Trace::log(group, level, utf8("Pump"), utf8("start"), utf8("on"));
}

/** As the debug output shows a line. */
QString shown(const QString &line)
{
    return utf8("\"") + line + utf8("\" ");
}

int thisThread()
{
    return int(uintptr_t(pthread_self()));
}

/** Records what a Trace does, in order, together with the calls of syslog. */
class Journal : public QObject
{
    Q_OBJECT
public:
    explicit Journal(Trace *trace)
    {
        connect(trace, SIGNAL(LogMessage(QString)), SLOT(lineLogged(QString)),
                Qt::DirectConnection);
        syslog.before = [this](SyslogRecord::Call::Kind kind) {
            entries << QLatin1String(kind == SyslogRecord::Call::Open      ? "openlog"
                                     : kind == SyslogRecord::Call::Message ? "syslog"
                                                                           : "closelog");
        };
    }

    SyslogRecord syslog;
    QStringList entries;

private Q_SLOTS:
    void lineLogged(const QString &text) { entries << text; }
};

/** Keeps the last line, as it came. */
class LastLine : public QObject
{
    Q_OBJECT
public:
    explicit LastLine(Trace *trace)
    {
        connect(trace, SIGNAL(LogMessage(QString)), SLOT(keep(QString)), Qt::DirectConnection);
    }

    QString line() const { return last; }

private Q_SLOTS:
    void keep(const QString &text) { last = text; }

private:
    QString last;
};

/** Destroys a Trace when it delivers a line. */
class Destroyer : public QObject
{
    Q_OBJECT
public:
    explicit Destroyer(Trace *trace)
        : trace(trace)
    {
        connect(trace, SIGNAL(LogMessage(QString)), SLOT(destroy()), Qt::DirectConnection);
    }

private Q_SLOTS:
    void destroy() { delete trace; }

private:
    Trace *trace;
};

/** Looks at the lock while a line is delivered. */
class LockProbe : public QObject
{
    Q_OBJECT
public:
    explicit LockProbe(Trace *trace)
        : lines(0)
        , locked(0)
    {
        connect(trace, SIGNAL(LogMessage(QString)), SLOT(look()), Qt::DirectConnection);
    }

    int lines;
    int locked;

private Q_SLOTS:
    void look()
    {
        ++lines;
        if (Trace::traceMutex.tryLock())
            Trace::traceMutex.unlock();
        else
            ++locked;
    }
};

const char allocationsUnknown[] = "a sanitizer owns the allocator; build with -DQVCOMMON_SANITIZE=";

// Whether this is the process of a test that is meant to end with exit().
bool isChild = false;

} // namespace

// Asked by the leak checker, which must not put its own exit status in the place of ours: in a
// forked process it misses the threads that still know of the memory.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off()
{
    return isChild;
}

class TestTrace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void hasOneSignalAndOneSlot();
    void hasTheTypesThatApplicationsRelyOn();
    void isTheInstanceWhileItLives();
    void belongsToItsParent();
    void endsTheProcessIfItIsTheSecond();
    void startsAnewWithoutForgettingNumbersAndThreads();

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
    void fillsPlaceholdersInNames_data();
    void fillsPlaceholdersInNames();
    void fillsPlaceholdersInMessages_data();
    void fillsPlaceholdersInMessages();
    void fillsPlaceholdersWithOtherDigitsSilently_data();
    void fillsPlaceholdersWithOtherDigitsSilently();
    void buildsALineInOneAllocation_data();
    void buildsALineInOneAllocation();
    void neverShowsTheExtraText();
    void hasShorthandsForTracingAtDebugLevel_data();
    void hasShorthandsForTracingAtDebugLevel();
    void showsTheTimeOfEachLine();
    void showsMillisecondsOnlyIfTheClockFails();

    void acceptsByLevelAndGroup_data();
    void acceptsByLevelAndGroup();
    void acceptsFromTheThresholdOn_data();
    void acceptsFromTheThresholdOn();
    void changesNothingForARejectedLine();
    void rejectsWithoutLockOrAllocation();
    void logsFilterChangesUnderTheOldFilter_data();
    void logsFilterChangesUnderTheOldFilter();
    void writesTheMaskInSixteenColumnsToSyslog();

    void numbersEveryAcceptedLine();
    void remembersThreadsInOrder();
    void findsAThreadThatHasLogged();
    void findsAThreadInWhateverListThereIs();

    void isNotPrintedUnlessToggled();
    void printsLinesInPlainQuotes_data();
    void printsLinesInPlainQuotes();
    void dropsLinesWithoutInstance();
    void holdsTheLockWhileALineIsDelivered();
    void locksOnceOnly();
    void ignoresTheSpareSwitches_data();
    void ignoresTheSpareSwitches();

    void writesToSyslogByLevel_data();
    void writesToSyslogByLevel();
    void writesRawTextToSyslog_data();
    void writesRawTextToSyslog();
    void handsTheTextAsFormatToSyslog();
    void writesToSyslogOnlyWhileOpen();
    void writesToSyslogBehindTheSignal();
    void announcesSyslogBeforeItIsOpen();
    void opensSyslogAgainWithoutClosing();
    void doesNotOpenSyslogWithoutInstance();
    void closesSyslogOnce();
    void endsInOrder();
    void mayEndWhileALineIsDelivered();

private:
    QScopedPointer<MessageLog> messages;
};

void TestTrace::initTestCase()
{
    QVERIFY(!Trace::instance);
    QVERIFY(Trace::threadIds.isEmpty());
    QCOMPARE(Trace::linenumber, 1);
    QVERIFY(Trace::traceMutex.tryLock());
    Trace::traceMutex.unlock();
    QCOMPARE(Trace::syncLogging, false);
    QCOMPARE(Trace::blockOnFullQueue, false);
    QCOMPARE(flushAfterEachLogMsg, true);
}

void TestTrace::init()
{
    setTimeOfDay(1709298245, 42999);
    Trace::linenumber = 1;
    Trace::threadIds.clear();
    messages.reset(new MessageLog);
}

void TestTrace::cleanup()
{
    const QStringList lines = messages->lines();
    messages.reset();
    QVERIFY2(lines.filter(utf8("warning: ")).isEmpty(), qPrintable(lines.join(utf8("\n"))));
}

void TestTrace::hasOneSignalAndOneSlot()
{
    const QMetaObject &meta = Trace::staticMetaObject;
    QCOMPARE(meta.className(), "Trace");
    QCOMPARE(meta.superClass()->className(), "QObject");
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    QCOMPARE(meta.propertyCount() - meta.propertyOffset(), 0);
    QVERIFY(meta.indexOfSignal("LogMessage(QString)") >= meta.methodOffset());
    const int slot = meta.indexOfSlot("toggleConsolePrint()");
    QVERIFY(slot >= meta.methodOffset());
    QCOMPARE(meta.method(slot).access(), QMetaMethod::Public);
}

void TestTrace::hasTheTypesThatApplicationsRelyOn()
{
    void (*const log5)(int, int, const QString &, const QString &, const QString &) = &Trace::log;
    void (*const log3)(const QString &, const QString &, const QString &) = &Trace::log;
    void (*const logs)(const QString &, const QString &, const QString &) = &Trace::logs;
    void (*const logId)(int, int, const QString &, const QString &, const QString &,
                        const QString &) = &Trace::logId;
    void (*const lock)() = &Trace::lock;
    void (*const unlock)() = &Trace::unlock;
    char *(*const timestamp)() = &updateTimestamp;
    void (Trace::*const toggle)() = &Trace::toggleConsolePrint;
    QVERIFY(log5 && log3 && logs && logId && lock && unlock && timestamp && toggle);

    static_assert(std::is_base_of<QObject, Trace>::value, "a Trace is a QObject");
    static_assert(std::is_same<decltype(Trace::instance), Trace *>::value, "instance");
    static_assert(std::is_same<decltype(Trace::threadIds), QList<int>>::value, "threadIds");
    static_assert(std::is_same<decltype(Trace::linenumber), int>::value, "linenumber");
    static_assert(std::is_same<decltype(Trace::traceMutex), QMutex>::value, "traceMutex");
    static_assert(std::is_same<decltype(Trace::syncLogging), bool>::value, "syncLogging");
    static_assert(std::is_same<decltype(Trace::blockOnFullQueue), bool>::value, "blocking");
    static_assert(std::is_same<decltype(flushAfterEachLogMsg), bool>::value, "flushing");
}

void TestTrace::isTheInstanceWhileItLives()
{
    {
        Trace trace(nullptr);
        QCOMPARE(Trace::instance, &trace);
        QVERIFY(!trace.parent());
    }
    QVERIFY(!Trace::instance);
}

void TestTrace::belongsToItsParent()
{
    {
        QObject parent;
        Trace *const trace = new Trace(&parent);
        QCOMPARE(trace->parent(), &parent);
        QCOMPARE(Trace::instance, trace);
    }
    QVERIFY(!Trace::instance);
}

void TestTrace::endsTheProcessIfItIsTheSecond()
{
    Trace trace(nullptr);
    std::fflush(nullptr);
    const pid_t child = fork();
    QVERIFY(child >= 0);
    if (child == 0) {
        isChild = true;
        Trace second(nullptr);
        _exit(0);
    }
    int status = 0;
    QCOMPARE(waitpid(child, &status, 0), child);
    QVERIFY(WIFEXITED(status));
    QCOMPARE(WEXITSTATUS(status), 255);
}

void TestTrace::startsAnewWithoutForgettingNumbersAndThreads()
{
    {
        Trace trace(nullptr);
        trace.applyLogFilters(6, 0);
        trace.toggleConsolePrint();
    }
    Trace::linenumber = 1234;
    Trace::threadIds = QList<int>() << 1 << 2;
    messages->clear();
    {
        Trace trace(nullptr);
        TraceLog lines(&trace);
        log(1, 1);
        log(32768, 1);
        QCOMPARE(lines.lines, QStringList() << names(1234) + pad(utf8("on"), 80) + tail(3)
                                            << names(1235) + pad(utf8("on"), 80) + tail(3));
    }
    QCOMPARE(messages->lines(), QStringList(utf8("debug: Delting Trace object ")));
    QCOMPARE(Trace::linenumber, 1236);
    QCOMPARE(Trace::threadIds, QList<int>() << 1 << 2 << thisThread());
}

void TestTrace::laysLinesOutInColumns()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    log("Pump is running");
    log(letters(80));
    log(letters(200));
    QCOMPARE(lines.lines.size(), 3);
    QCOMPARE(lines.lines.at(0),
             utf8("    1 Pump                           start                          "
                  "Pump is running                                                        "
                  "         , tid=1, 2024-03-01 13:04:05.042"));
    QCOMPARE(
        lines.lines.at(1),
        utf8("    2 Pump                           start                          "
             "[Long message(80)]                                                     "
             "        , tid=1, 2024-03-01 13:04:05.042\n"
             "abcdefghijklmnopqrstuvwxyzbcdefghijklmnopqrstuvwxyzacdefghijklmnopqrstuvwxyzabde"));
    QCOMPARE(lines.lines.at(2),
             utf8("    3 Pump                           start                          "
                  "[Long message(200)]                                                    "
                  "         , tid=1, 2024-03-01 13:04:05.042\n"
                  "abcdefghijklmnopqrstuvwxyzbcdefghijklmnopqrstuvwxyzacdefghijklmnopqrstuvwxyzab"
                  "defghijklmnopqrstuvwxyzabcefghijklmnopqrstuvwxyzabcdfghijklmnopqrstuvwxyzabcde"
                  "ghijklmnopqrstuvwxyzabcd\n"
                  "efhijklmnopqrstuvwxy"));
}

void TestTrace::formatsMessagesByLength_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("expected");

    const QString newline = utf8("\n");
    QTest::newRow("0") << 0 << names(1) + blanks(80) + tail();
    QTest::newRow("1") << 1 << names(1) + utf8("a") + blanks(79) + tail();
    QTest::newRow("79") << 79 << names(1) + letters(79) + utf8(" ") + tail();
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

void TestTrace::formatsMessagesByLength()
{
    QFETCH(int, length);
    QFETCH(QString, expected);
    Trace trace(nullptr);
    TraceLog lines(&trace);
    log(letters(length));
    log("next");
    QCOMPARE(lines.lines, QStringList() << expected << numbered(2, "next"));
}

void TestTrace::simplifiesMessages_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    QTest::newRow("blanks inside") << utf8("Pump  is   running") << line("Pump is running");
    QTest::newRow("blanks around") << utf8("   Pump ") << line("Pump");
    QTest::newRow("tabs") << utf8("\tPump\tis\t\trunning\t") << line("Pump is running");
    QTest::newRow("newlines") << utf8("\nPump\r\nis\n\nrunning\n") << line("Pump is running");
    QTest::newRow("other controls")
        << utf8("\v\fPump\v\fis\r\n\t running\v") << line("Pump is running");
    QTest::newRow("one blank") << utf8(" ") << line("");
    QTest::newRow("79 blanks") << blanks(79) << line("");
    QTest::newRow("80 blanks") << blanks(80) << header("80");
    QTest::newRow("179 newlines") << QString(179, QLatin1Char('\n')) << header("179");
    QTest::newRow("180 tabs") << QString(180, QLatin1Char('\t')) << header("180") + utf8("\n");
    QTest::newRow("359 blanks") << blanks(359) << header("359") + utf8("\n");
    QTest::newRow("360 blanks") << blanks(360) << QString();
    QTest::newRow("79 with 77 blanks") << utf8("a") + blanks(77) + utf8("b") << line("a b");
    QTest::newRow("80 with 78 blanks")
        << utf8("a") + blanks(78) + utf8("b") << header("80") + utf8("a b");
    QTest::newRow("NUL") << utf8("a ") + ofCode(0) + utf8("  b")
                         << line(utf8("a ") + ofCode(0) + utf8(" b"));
    const QString face = utf8("\xf0\x9f\x98\x80"); // two UTF-16 code units
    QTest::newRow("two code units") << face + utf8("  ") + face << line(face + utf8(" ") + face);
    QTest::newRow("79 code units") << face + letters(77) << line(face + letters(77));
    QTest::newRow("80 code units") << face + letters(78) << header("80") + face + letters(78);

    const int spaces[] = {0x09,   0x0a,   0x0b,   0x0c,   0x0d,   0x20,   0xa0,   0x1680, 0x180e,
                          0x2000, 0x2001, 0x2002, 0x2003, 0x2004, 0x2005, 0x2006, 0x2007, 0x2008,
                          0x2009, 0x200a, 0x2028, 0x2029, 0x202f, 0x205f, 0x3000};
    for (const int code : spaces) {
        const QString space = ofCode(code);
        QTest::newRow(QByteArray::number(code, 16).constData())
            << space + utf8("a") + space + space + utf8("b") + space << line("a b");
    }
    const int others[] = {0x01,   0x08,   0x0e,   0x1b,   0x1c,   0x1f,   0x7f,   0x84,
                          0x85,   0x86,   0xad,   0x180d, 0x180f, 0x200b, 0x200c, 0x2027,
                          0x202a, 0x2060, 0x3001, 0xd800, 0xdfff, 0xfeff, 0xffff};
    for (const int code : others) {
        const QString other = ofCode(code);
        const QString text = other + utf8("a") + other + other + utf8("b") + other;
        QTest::newRow(("not " + QByteArray::number(code, 16)).constData()) << text << line(text);
    }
}

void TestTrace::simplifiesMessages()
{
    QFETCH(QString, message);
    QFETCH(QString, expected);
    Trace trace(nullptr);
    TraceLog lines(&trace);
    log(message);
    QCOMPARE(lines.lines, QStringList(expected));
}

void TestTrace::splitsLongMessagesBeforeSimplifying_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    QTest::newRow("blank at the end of the first part")
        << letters(179) + utf8(" b") << header("181") + letters(179) + utf8("\nb");
    QTest::newRow("blank at the beginning of the rest")
        << letters(180) + utf8(" b") << header("182") + letters(180) + utf8("\nb");
    QTest::newRow("blanks around the cut")
        << letters(170) + blanks(20) + utf8("b c") << header("193") + letters(170) + utf8("\nb c");
    QTest::newRow("word across the cut") << letters(175) + utf8("  wording  ok")
                                         << header("188") + letters(175) + utf8(" wor\nding ok");
    QTest::newRow("nothing but blanks before the cut")
        << blanks(180) + utf8("b") << header("181") + utf8("\nb");
    QTest::newRow("nothing but blanks behind the cut")
        << letters(180) + blanks(100) << header("280") + letters(180) + utf8("\n");
    QTest::newRow("newlines inside") << utf8("a\n\nb") + letters(176) + utf8("\nc\nd\n")
                                     << header("185") + utf8("a b") + letters(176) + utf8("\nc d");
    QTest::newRow("character across the cut")
        << letters(179) + ofCode(0xd83d) + ofCode(0xde00)
        << header("181") + letters(179) + ofCode(0xd83d) + utf8("\n") + ofCode(0xde00);
}

void TestTrace::splitsLongMessagesBeforeSimplifying()
{
    simplifiesMessages();
}

void TestTrace::fillsUpNamesAndDoesNotCutThem_data()
{
    QTest::addColumn<QString>("className");
    QTest::addColumn<QString>("function");
    QTest::addColumn<QString>("expected");

    const QString number = utf8("    1 ");
    const QString blank = utf8(" ");
    QTest::newRow("empty") << QString() << QString() << number + blanks(62);
    QTest::newRow("29 and 30") << letters(29) << letters(30)
                               << number + letters(29) + utf8("  ") + letters(30) + blank;
    QTest::newRow("30 and 31") << letters(30) << letters(31)
                               << number + letters(30) + blank + letters(31) + blank;
    QTest::newRow("31 and 29") << letters(31) << letters(29)
                               << number + letters(31) + blank + letters(29) + utf8("  ");
    QTest::newRow("5000 and 100") << letters(5000) << letters(100)
                                  << number + letters(5000) + blank + letters(100) + blank;
    QTest::newRow("white space stays as it is")
        << utf8("  a \t b\n") << utf8("\xc2\xa0  ")
        << number + utf8("  a \t b\n") + blanks(23) + utf8("\xc2\xa0  ") + blanks(28);
    QTest::newRow("not Latin") << utf8("\xce\xa9") << utf8("\xf0\x9f\x98\x80")
                               << number + utf8("\xce\xa9") + blanks(30) +
                                      utf8("\xf0\x9f\x98\x80") + blanks(29);
}

void TestTrace::fillsUpNamesAndDoesNotCutThem()
{
    QFETCH(QString, className);
    QFETCH(QString, function);
    QFETCH(QString, expected);
    Trace trace(nullptr);
    TraceLog lines(&trace);
    Trace::log(8, 2, className, function, utf8("on"));
    Trace::linenumber = 1;
    Trace::log(8, 2, className, function, letters(80));
    QCOMPARE(lines.lines, QStringList() << expected + pad(utf8("on"), 80) + tail()
                                        << expected + utf8("[Long message(80)]") + utf8(gap) +
                                               tail() + utf8("\n") + letters(80));
}

void TestTrace::showsNumbersOfAnyWidth_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");

    QTest::newRow("0") << 0 << utf8("    0") << utf8("    1");
    QTest::newRow("9") << 9 << utf8("    9") << utf8("   10");
    QTest::newRow("9999") << 9999 << utf8(" 9999") << utf8("10000");
    QTest::newRow("99999") << 99999 << utf8("99999") << utf8("100000");
    QTest::newRow("100000") << 100000 << utf8("100000") << utf8("100001");
    QTest::newRow("1234567") << 1234567 << utf8("1234567") << utf8("1234568");
    QTest::newRow("-1") << -1 << utf8("   -1") << utf8("    0");
    QTest::newRow("-10000") << -10000 << utf8("-10000") << utf8("-9999");
    QTest::newRow("smallest") << INT_MIN << utf8("-2147483648") << utf8("-2147483647");
    // A board that logs a thousand lines a second gets there in 25 days.
    QTest::newRow("largest") << INT_MAX << utf8("2147483647") << utf8("-2147483648");
}

void TestTrace::showsNumbersOfAnyWidth()
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

void TestTrace::fillsPlaceholdersInNames_data()
{
    QTest::addColumn<QString>("className");
    QTest::addColumn<QString>("function");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    const QString pump = utf8("Pump");
    const QString start = utf8("start");
    const QString on = utf8("on");
    const QString number = utf8("    1 ");
    const QString time = utf8(stamp);

    // The lowest number is replaced first: what is in a name can stand in for what the line wants
    // next, and everything behind it moves on by one.
    const char *const low[] = {"%1", "%2", "%0", "%L1", "%L2", "%01", "%00", "%1%1"};
    for (const char *const name : low) {
        const int columns = int(qstrlen(name));
        const QString twice = columns == 4 ? start.leftJustified(30) : QString();
        QTest::newRow((QByteArray("class ") + name).constData())
            << utf8(name) << start << on
            << number + twice + pad(start, 30) + blanks(30 - columns) + utf8(" ") + pad(on, 80) +
                   utf8(" 1, tid=") + time + utf8(", %6");
    }
    const char *const lowForFunction[] = {"%1", "%2", "%3", "%0", "%L3", "%03"};
    for (const char *const name : lowForFunction)
        QTest::newRow((QByteArray("function ") + name).constData())
            << pump << utf8(name) << on
            << number + pad(pump, 30) + utf8(" ") + pad(on, 80) + blanks(30 - int(qstrlen(name))) +
                   utf8(" 1, tid=") + time + utf8(", %6");

    // The line's own numbers are filled in both places.
    const struct {
        const char *name;
        QString value;
    } same[] = {{"%4", pad(on, 80)}, {"%L4", pad(on, 80)}, {"%5", utf8("1")},
                {"%L5", utf8("1")},  {"%6", time},         {"%06", time}};
    for (const auto &row : same) {
        const QString filled = row.value + blanks(30 - int(qstrlen(row.name)));
        QTest::newRow((QByteArray("class ") + row.name).constData())
            << utf8(row.name) << start << on
            << number + filled + utf8(" ") + pad(start, 30) + utf8(" ") + pad(on, 80) + tail();
        QTest::newRow((QByteArray("function ") + row.name).constData())
            << pump << utf8(row.name) << on
            << number + pad(pump, 30) + utf8(" ") + filled + utf8(" ") + pad(on, 80) + tail();
    }
    QTest::newRow("class %3") << utf8("%3") << start << on
                              << number + pad(start, 30) + blanks(29) + pad(start, 30) + utf8(" ") +
                                     pad(on, 80) + tail();

    const char *const none[] = {"%7",   "%8", "%9",  "%10", "%99", "%L10", "%",  "%%", "%L",
                                "%LL1", "%x", "% 1", "%-1", "L1",  "1%",   "%d", "%s"};
    for (const char *const name : none)
        QTest::newRow((QByteArray("both ") + name).constData())
            << utf8(name) << utf8(name) << on
            << number + pad(utf8(name), 30) + utf8(" ") + pad(utf8(name), 30) + utf8(" ") +
                   pad(on, 80) + tail();

    QTest::newRow("class %%1") << utf8("%%1") << start << on
                               << number + utf8("%") + pad(start, 30) + blanks(28) + pad(on, 80) +
                                      utf8(" 1, tid=") + time + utf8(", %6");
    // A value may complete a new placeholder: "%" and the thread's number are "%1".
    QTest::newRow("class %%5") << utf8("%%5") << start << on
                               << number + time + blanks(28) + pad(start, 30) + utf8(" ") +
                                      pad(on, 80) + utf8(", tid=1, %6");
    QTest::newRow("class %2, function %1")
        << utf8("%2") << utf8("%1") << on
        << number + pad(on, 80) + blanks(28) + blanks(28) + utf8(" 1 ") + utf8("") + time +
               utf8(", tid=%5, %6");

    // Long messages: their length is the next number behind the names.
    const QString lines = utf8("\n") + letters(85);
    QTest::newRow("long, class %1")
        << utf8("%1") << start << letters(85)
        << number + pad(start, 30) + blanks(29) + utf8("85 [Long message(1)]") + utf8(gap) +
               utf8(", tid=") + time + utf8(", ") + letters(85) + utf8("\n%7");
    QTest::newRow("long, class %4") << utf8("%4") << start << letters(85)
                                    << number + utf8("85") + blanks(29) + pad(start, 30) +
                                           utf8(" [Long message(85)]") + utf8(gap) + tail() + lines;
    QTest::newRow("long, class %L4")
        << utf8("%L4") << start << letters(85)
        << number + utf8("85") + blanks(28) + pad(start, 30) + utf8(" [Long message(85)]") +
               utf8(gap) + tail() + lines;
    QTest::newRow("long, function %7")
        << pump << utf8("%7") << letters(85)
        << number + pad(pump, 30) + utf8(" ") + letters(85) + blanks(29) +
               utf8("[Long message(85)]") + utf8(gap) + tail() + lines;
    QTest::newRow("long, function %8")
        << pump << utf8("%8") << letters(85)
        << number + pad(pump, 30) + utf8(" ") + pad(utf8("%8"), 30) + utf8(" [Long message(85)]") +
               utf8(gap) + tail() + lines;
    QTest::newRow("split, function %8")
        << pump << utf8("%8") << letters(180) + utf8(" b")
        << number + pad(pump, 30) + utf8(" b") + blanks(29) + utf8("[Long message(182)]") +
               utf8(gap) + tail() + utf8("\n") + letters(180) + utf8("\nb");
    QTest::newRow("split, class %2")
        << utf8("%2") << start << letters(180) + utf8(" b")
        << number + pad(start, 30) + blanks(29) + utf8("182 [Long message(1)]") + utf8(gap) +
               utf8(", tid=") + time + utf8(", ") + letters(180) + utf8("\nb\n%8");
    QTest::newRow("360, class %1") << utf8("%1") << utf8("%2") << letters(360) << QString();
}

void TestTrace::fillsPlaceholdersInNames()
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

void TestTrace::fillsPlaceholdersInMessages_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    const QString time = utf8(stamp);
    const char *const low[] = {"%0", "%1", "%2", "%3", "%4", "%L1", "%L4", "%04"};
    for (const char *const text : low)
        QTest::newRow(text) << utf8(text)
                            << names(1) + utf8("1") + blanks(80 - int(qstrlen(text))) +
                                   utf8(", tid=") + time + utf8(", %6");
    const char *const thread[] = {"%5", "%L5", "%05"};
    for (const char *const text : thread)
        QTest::newRow(text) << utf8(text)
                            << names(1) + utf8("1") + blanks(80 - int(qstrlen(text))) + tail();
    const char *const when[] = {"%6", "%L6", "%06"};
    for (const char *const text : when)
        QTest::newRow(text) << utf8(text)
                            << names(1) + time + blanks(80 - int(qstrlen(text))) + tail();
    const char *const none[] = {"%7", "%8", "%9",  "%10", "%60", "%99",  "%L7", "%",  "%%", "%L",
                                "%x", "%d", "%-5", "% 5", "%Lx", "%LL5", "5%",  "%n", "%s", "100%"};
    for (const char *const text : none)
        QTest::newRow(text) << utf8(text) << line(text);
    QTest::newRow("%1 and %2") << utf8("%1 and %2")
                               << names(1) + utf8("1 and ") + time + blanks(71) +
                                      utf8(", tid=%5, %6");
    QTest::newRow("%5 of %6") << utf8("%5 of %6")
                              << names(1) + utf8("1 of ") + time + blanks(72) + tail();
    QTest::newRow("%%5") << utf8("%%5") << names(1) + time + blanks(77) + utf8(", tid=1, %6");
    QTest::newRow("%105") << utf8("%105") << line("%105");
    QTest::newRow("%55") << utf8("%55") << line("%55");
    QTest::newRow("blanks in it") << utf8("  % 5 \t %L\n5 ") << line("% 5 %L 5");
    QTest::newRow("blanks around it")
        << utf8("\t%5\n%6 ") << names(1) + utf8("1 ") + time + blanks(75) + tail();

    // The message itself is the last that is filled in.
    const QString full = utf8("%1%2%3%4%5%6%7%8%9%%%L1%10");
    QTest::newRow("long") << full + letters(54) << header("80") + full + letters(54);
    QTest::newRow("179") << full + letters(153) << header("179") + full + letters(153);
    // The rest of a split message is filled in last, in the first placeholder that is left.
    QTest::newRow("split, %1 in the first part")
        << utf8("%1") + letters(178) + utf8("rest")
        << header("184") + utf8("rest") + letters(178) + utf8("\n%8");
    QTest::newRow("split, %7 in the first part")
        << utf8("%7") + letters(178) + utf8("rest")
        << header("184") + utf8("rest") + letters(178) + utf8("\n%8");
    QTest::newRow("split, %8 in the first part")
        << utf8("%8") + letters(178) + utf8("rest")
        << header("184") + utf8("rest") + letters(178) + utf8("\nrest");
    QTest::newRow("split, %L8 in the first part")
        << letters(177) + utf8("%L8rest") << header("184") + letters(177) + utf8("rest\nrest");
    QTest::newRow("split, %9 in the first part")
        << utf8("%9") + letters(178) + utf8("rest")
        << header("184") + utf8("%9") + letters(178) + utf8("\nrest");
    QTest::newRow("split, all in the rest")
        << letters(180) + full << header("206") + letters(180) + utf8("\n") + full;
    QTest::newRow("split, cut in a placeholder")
        << letters(179) + utf8("%8") << header("181") + letters(179) + utf8("%\n8");
    QTest::newRow("360") << full + letters(334) << QString();
}

void TestTrace::fillsPlaceholdersInMessages()
{
    simplifiesMessages();
}

void TestTrace::fillsPlaceholdersWithOtherDigitsSilently_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    QTest::newRow("Arabic 5") << utf8("%\xd9\xa5") << names(1) + utf8("1") + blanks(78) + tail();
    QTest::newRow("Devanagari 5") << utf8("%\xe0\xa5\xab")
                                  << names(1) + utf8("1") + blanks(78) + tail();
    QTest::newRow("fullwidth 05") << utf8("%\xef\xbc\x90\xef\xbc\x95")
                                  << names(1) + utf8("1") + blanks(77) + tail();
    QTest::newRow("Arabic 11") << utf8("%\xd9\xa1\xd9\xa1") << line("%\xd9\xa1\xd9\xa1");
}

void TestTrace::fillsPlaceholdersWithOtherDigitsSilently()
{
    simplifiesMessages();
    QCOMPARE(messages->lines(), QStringList(utf8("debug: Delting Trace object ")));
}

void TestTrace::buildsALineInOneAllocation_data()
{
    QTest::addColumn<QString>("message");

    QTest::newRow("short") << letters(79);
    QTest::newRow("white space") << blanks(79);
    QTest::newRow("long") << letters(80);
    QTest::newRow("split") << letters(359);
    QTest::newRow("percent signs") << utf8("100 %, or %d of %s") + letters(50) + utf8("%");
}

void TestTrace::buildsALineInOneAllocation()
{
    QFETCH(QString, message);
    const QString pump = utf8("Pump");
    const QString start = utf8("start");
    Trace trace(nullptr);
    const LastLine kept(&trace);
    log("first");
    const QString first = kept.line();
    const QString copy(first.constData(), first.size());
    const long before = allocations();
    if (before < 0)
        SKIP_TEST(allocationsUnknown);
    Trace::log(8, 2, pump, start, message);
    QCOMPARE(allocations() - before, 1L);
    QCOMPARE(first, copy);
}

void TestTrace::neverShowsTheExtraText()
{
    Trace trace(nullptr);
    Journal journal(&trace);
    trace.openSysLog(utf8("pumpd"));
    trace.toggleConsolePrint();
    journal.entries.clear();
    journal.syslog.calls.clear();
    Trace::linenumber = 1;
    Trace::logId(8, 2, utf8("Pump"), utf8("start"), utf8("EXTRA %1 %2 %7"), utf8("on"));
    QCOMPARE(journal.entries, QStringList() << line("on") << utf8("syslog"));
    QCOMPARE(journal.syslog.calls.at(0).text, std::string("on"));
    QCOMPARE(messages->debugLines(), QStringList(shown(line("on"))));
    for (const int length : {80, 180, 360}) {
        Trace::logId(8, 2, utf8("Pump"), utf8("start"), utf8("EXTRA"), letters(length));
        QVERIFY(!journal.entries.join(QString()).contains(utf8("EXTRA")));
        QCOMPARE(journal.syslog.calls.last().text, letters(length).toStdString());
    }
}

void TestTrace::hasShorthandsForTracingAtDebugLevel_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("mask");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("defaults") << 1 << defaultMask << true;
    QTest::newRow("level 2") << 2 << defaultMask << false;
    QTest::newRow("group 1") << 1 << 1 << true;
    QTest::newRow("groups but 1") << 1 << 65534 << false;
}

void TestTrace::hasShorthandsForTracingAtDebugLevel()
{
    QFETCH(int, level);
    QFETCH(int, mask);
    QFETCH(bool, accepted);
    Trace trace(nullptr);
    trace.applyLogFilters(level, mask);
    Journal journal(&trace);
    Trace::linenumber = 1;
    Trace::logs(utf8("Pump"), utf8("start"), utf8("on"));
    Trace::log(utf8("Pump"), utf8("start"), utf8("on"));
    QCOMPARE(journal.entries,
             accepted ? QStringList() << line("on") << numbered(2, "on") : QStringList());
}

void TestTrace::showsTheTimeOfEachLine()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    log("on");
    setTimeOfDay(1709298246, 1000);
    log(letters(80));
    setTimeOfDay(1709251199, 999999);
    log("on");
    const QString text = names(3) + pad(utf8("on"), 80);
    QCOMPARE(lines.lines, QStringList()
                              << line("on")
                              << names(2) + utf8("[Long message(80)]") + utf8(gap) +
                                     utf8(", tid=1, 2024-03-01 13:04:06.001\n") + letters(80)
                              << text + utf8(", tid=1, 2024-02-29 23:59:59.999"));
}

void TestTrace::showsMillisecondsOnlyIfTheClockFails()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    failTimeOfDay();
    log("on");
    QCOMPARE(lines.lines, QStringList(names(1) + pad(utf8("on"), 80) + utf8(", tid=1, .000")));
}

void TestTrace::acceptsByLevelAndGroup_data()
{
    QTest::addColumn<int>("threshold");
    QTest::addColumn<int>("mask");
    QTest::addColumn<int>("group");
    QTest::addColumn<int>("level");
    QTest::addColumn<bool>("accepted");

    const struct {
        const char *name;
        int threshold;
        int mask;
        int group;
        int level;
        bool accepted;
    } rows[] = {
        {"defaults", -1, -1, 1, 1, true},
        {"level 0 by default", -1, -1, 1, 0, false},
        {"level -1 by default", -1, -1, 1, -1, false},
        {"smallest level by default", -1, -1, 1, INT_MIN, false},
        {"level 6 by default", -1, -1, 1, 6, true},
        {"largest level by default", -1, -1, 1, INT_MAX, true},
        {"group 0", -1, -1, 0, 5, false},
        {"group 8", -1, -1, 8, 1, true},
        {"group 32768", -1, -1, 32768, 1, true},
        {"group 65536", -1, -1, 65536, 5, false},
        {"group 65536 + 1", -1, -1, 65537, 1, true},
        {"group -1", -1, -1, -1, 1, true},
        {"group -65536", -1, -1, -65536, 5, false},
        {"group -65535", -1, -1, -65535, 1, true},
        {"smallest group", -1, -1, INT_MIN, 5, false},
        {"largest group", -1, -1, INT_MAX, 1, true},
        {"group 65536, all groups", -1, INT_MAX, 65536, 1, true},
        {"smallest group, all groups", -1, INT_MAX, INT_MIN, 5, false},
        {"group 8 of 8", -1, 8, 8, 1, true},
        {"group 1 of 8", -1, 8, 1, 5, false},
        {"groups 1 and 8 of 8", -1, 8, 9, 1, true},
        {"group 7 of 8", -1, 8, 7, 5, false},
        {"groups -1 of 8", -1, 8, -1, 1, true},
        {"groups -9 of 8", -1, 8, -9, 5, false},
        {"no groups", -1, 0, -1, 5, false},
        {"group 0 of no groups", -1, 0, 0, 5, false},
        {"level 1 of 2", 2, -1, 1, 1, false},
        {"level 2 of 2", 2, -1, 1, 2, true},
        {"group 8, level 2 of 3", 3, -1, 8, 2, false},
        {"group 8, level 3 of 3", 3, -1, 8, 3, true},
        {"level 0 of 0", 0, -1, 1, 0, true},
        {"level -1 of 0", 0, -1, 1, -1, false},
        {"level 5 of 6", 6, -1, 1, 5, false},
        {"level 6 of 6", 6, -1, 1, 6, true},
        {"level 5 of the largest", INT_MAX, -1, 1, 5, false},
        {"largest level of the largest", INT_MAX, -1, 1, INT_MAX, true},
        {"level too low, group right", 4, 8, 8, 3, false},
        {"level right, group wrong", 4, 8, 1, 4, false},
        {"both right", 4, 8, 8, 4, true},
    };
    for (const auto &row : rows)
        QTest::newRow(row.name) << row.threshold << row.mask << row.group << row.level
                                << row.accepted;
}

void TestTrace::acceptsByLevelAndGroup()
{
    QFETCH(int, threshold);
    QFETCH(int, mask);
    QFETCH(int, group);
    QFETCH(int, level);
    QFETCH(bool, accepted);
    Trace trace(nullptr);
    trace.applyLogFilters(threshold, mask);
    TraceLog lines(&trace);
    Trace::linenumber = 1;
    log(group, level);
    QCOMPARE(lines.lines, accepted ? QStringList(line("on")) : QStringList());
    QCOMPARE(Trace::linenumber, accepted ? 2 : 1);
}

void TestTrace::acceptsFromTheThresholdOn_data()
{
    QTest::addColumn<int>("threshold");
    QTest::addColumn<QString>("accepted");

    QTest::newRow("0") << 0 << utf8("0 1 2 3 4 5 6 7");
    QTest::newRow("1") << 1 << utf8("1 2 3 4 5 6 7");
    QTest::newRow("2") << 2 << utf8("2 3 4 5 6 7");
    QTest::newRow("3") << 3 << utf8("3 4 5 6 7");
    QTest::newRow("4") << 4 << utf8("4 5 6 7");
    QTest::newRow("5") << 5 << utf8("5 6 7");
    QTest::newRow("6") << 6 << utf8("6 7");
    QTest::newRow("100") << 100 << QString();
}

void TestTrace::acceptsFromTheThresholdOn()
{
    QFETCH(int, threshold);
    QFETCH(QString, accepted);
    Trace trace(nullptr);
    trace.applyLogFilters(threshold, -1);
    TraceLog lines(&trace);
    for (int level = -3; level <= 7; ++level)
        Trace::log(8, level, QString(), QString(), QString::number(level));
    QStringList levels;
    for (const QString &entry : lines.entries())
        levels << entry.section(QLatin1Char('|'), 2);
    QCOMPARE(levels.join(utf8(" ")), accepted);
}

void TestTrace::changesNothingForARejectedLine()
{
    Trace trace(nullptr);
    Journal journal(&trace);
    trace.openSysLog(utf8("pumpd"));
    trace.applyLogFilters(3, 8);
    trace.toggleConsolePrint();
    journal.entries.clear();
    Trace::linenumber = 77;
    Trace::threadIds.clear();
    const int asked = timeOfDayCalls();
    log(8, 2);
    log(1, 5);
    QCOMPARE(journal.entries, QStringList());
    QCOMPARE(messages->lines(), QStringList());
    QCOMPARE(Trace::linenumber, 77);
    QVERIFY(Trace::threadIds.isEmpty());
    QCOMPARE(timeOfDayCalls(), asked);
}

void TestTrace::rejectsWithoutLockOrAllocation()
{
    const QString pump = utf8("Pump");
    const QString start = utf8("start");
    const QString message = letters(100);
    Trace trace(nullptr);
    trace.applyLogFilters(-1, 8);

    Trace::lock(); // a rejected line that asked for it would wait forever
    const long before = allocations();
    Trace::log(8, 0, pump, start, message);
    Trace::log(1, 5, pump, start, message);
    Trace::logs(pump, start, message);
    Trace::log(pump, start, message);
    const long after = allocations();
    Trace::unlock();
    if (before < 0)
        SKIP_TEST(allocationsUnknown);
    QCOMPARE(after - before, 0L);

    // The count does count.
    Trace::log(8, 5, pump, start, message);
    QVERIFY(allocations() > after);
}

void TestTrace::logsFilterChangesUnderTheOldFilter_data()
{
    QTest::addColumn<int>("oldLevel");
    QTest::addColumn<int>("oldMask");
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("mask");
    QTest::addColumn<QStringList>("expected");

    const QString blank16 = blanks(16);
    const struct {
        const char *name;
        int oldLevel, oldMask, level, mask;
        const char *levelLine;
        const char *maskLine;
    } rows[] = {
        {"level 3", -1, -1, 3, -1, "Setting LogLevel to: 3", nullptr},
        {"level 0", -1, -1, 0, -1, "Setting LogLevel to: 0", nullptr},
        {"level 6", -1, -1, 6, -1, "Setting LogLevel to: 6", nullptr},
        {"largest level", -1, -1, INT_MAX, -1, "Setting LogLevel to: 2147483647", nullptr},
        {"mask 8", -1, -1, -1, 8, nullptr, "Setting GroupFilter Mask to: 1000"},
        {"mask 0", -1, -1, -1, 0, nullptr, "Setting GroupFilter Mask to: 0"},
        {"mask 65535", -1, -1, -1, 65535, nullptr, "Setting GroupFilter Mask to: 1111111111111111"},
        {"mask 65536", -1, -1, -1, 65536, nullptr,
         "Setting GroupFilter Mask to: 10000000000000000"},
        {"largest mask", -1, -1, -1, INT_MAX, nullptr,
         "Setting GroupFilter Mask to: 1111111111111111111111111111111"},
        {"both", -1, -1, 2, 9, "Setting LogLevel to: 2", "Setting GroupFilter Mask to: 1001"},
        {"mask line under the new level", -1, -1, 3, 8, "Setting LogLevel to: 3", nullptr},
        {"level line under the old level", 3, -1, 1, -1, nullptr, nullptr},
        {"mask line under the level just lowered", 3, -1, 1, 8, nullptr,
         "Setting GroupFilter Mask to: 1000"},
        {"level just accepted", 2, -1, 5, -1, "Setting LogLevel to: 5", nullptr},
        {"mask line under the old mask", -1, 8, -1, 65535, nullptr, nullptr},
        {"both under the old mask", -1, 8, 2, 1, nullptr, nullptr},
        {"negative both", -1, -1, -1, -1, nullptr, nullptr},
        {"most negative both", -1, -1, INT_MIN, INT_MIN, nullptr, nullptr},
    };
    for (const auto &row : rows) {
        QStringList lines;
        for (const char *const text : {row.levelLine, row.maskLine}) {
            if (text)
                lines << own(int(lines.size()) + 1, "applyLogFilters", text);
        }
        QTest::newRow(row.name) << row.oldLevel << row.oldMask << row.level << row.mask << lines;
    }
}

void TestTrace::logsFilterChangesUnderTheOldFilter()
{
    QFETCH(int, oldLevel);
    QFETCH(int, oldMask);
    QFETCH(int, level);
    QFETCH(int, mask);
    QFETCH(QStringList, expected);
    Trace trace(nullptr);
    trace.applyLogFilters(oldLevel, oldMask);
    TraceLog lines(&trace);
    Trace::linenumber = 1;
    trace.applyLogFilters(level, mask);
    QCOMPARE(lines.lines, expected);

    // What holds from now on: the new values, or the old ones where there is no new one.
    const int threshold = level >= 0 ? level : oldLevel >= 0 ? oldLevel : 1;
    const int groups = mask >= 0 ? mask : oldMask >= 0 ? oldMask : defaultMask;
    lines.lines.clear();
    for (const int group : {1, 8, 65536, 0x40000000}) {
        log(group, threshold);
        QCOMPARE(!lines.lines.isEmpty(), (group & groups) != 0);
        lines.lines.clear();
        log(group, threshold - 1);
        QVERIFY(lines.lines.isEmpty());
    }
}

void TestTrace::writesTheMaskInSixteenColumnsToSyslog()
{
    Trace trace(nullptr);
    Journal journal(&trace);
    trace.openSysLog(utf8("pumpd"));
    journal.syslog.calls.clear();
    trace.applyLogFilters(1, 65536);
    trace.applyLogFilters(-1, 65535); // no longer accepted
    QCOMPARE(journal.syslog.calls.size(), 2);
    QCOMPARE(journal.syslog.calls.at(0).text, std::string("Setting LogLevel to: 1"));
    QCOMPARE(journal.syslog.calls.at(1).text,
             std::string("Setting GroupFilter Mask to: 10000000000000000"));
    trace.applyLogFilters(-1, 8);
    QCOMPARE(journal.syslog.calls.last().text,
             std::string("Setting GroupFilter Mask to:             1000"));
    QCOMPARE(journal.syslog.calls.last().priority, int(LOG_INFO));
}

void TestTrace::numbersEveryAcceptedLine()
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

void TestTrace::remembersThreadsInOrder()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    log("on");
    log("on");
    QCOMPARE(Trace::threadIds, QList<int>() << thisThread());
    QCOMPARE(lines.lines, QStringList() << line("on") << numbered(2, "on"));
}

void TestTrace::findsAThreadThatHasLogged()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    QList<int> ids;
    for (int id = 1; id <= 1233; ++id)
        ids << (thisThread() ^ id);
    Trace::threadIds = ids;
    Trace::threadIds.insert(2, thisThread());
    log("on");
    QCOMPARE(lines.lines.at(0), names(1) + pad(utf8("on"), 80) + tail(3));
    QCOMPARE(Trace::threadIds.size(), ids.size() + 1);
    Trace::threadIds = ids;
    log("on");
    QCOMPARE(lines.lines.at(1), names(2) + pad(utf8("on"), 80) + tail(1234));
    QCOMPARE(Trace::threadIds, ids << thisThread());
}

/** The list is public: each line looks at it as it is then. */
void TestTrace::findsAThreadInWhateverListThereIs()
{
    Random random(20240301);
    const int cases = randomCases(20000);
    Trace trace(nullptr);
    TraceLog lines(&trace);
    QList<int> expected;
    for (int i = 0; i < cases; ++i) {
        QList<int> &ids = Trace::threadIds;
        const int place = random.below(int(ids.size()) + 1);
        switch (random.below(10)) {
        case 0:
            ids.clear();
            break;
        case 1:
            ids.insert(place, thisThread());
            break;
        case 2:
            ids.insert(place, random.below(100));
            break;
        case 3:
            ids.removeAll(thisThread());
            break;
        case 4:
            if (place < ids.size())
                ids.removeAt(place);
            break;
        default:
            break;
        }
        expected = ids;
        if (!expected.contains(thisThread()))
            expected << thisThread();
        log("on");
        const QString ordinal = utf8(", tid=%1, ").arg(expected.indexOf(thisThread()) + 1);
        if (!lines.lines.last().contains(ordinal) || Trace::threadIds != expected)
            QFAIL(qPrintable(QString::number(i) + lines.lines.last()));
        lines.lines.clear();
    }
}

void TestTrace::isNotPrintedUnlessToggled()
{
    Trace trace(nullptr);
    log("silent");
    QCOMPARE(messages->lines(), QStringList());
    trace.toggleConsolePrint();
    QCOMPARE(messages->lines(), QStringList());
    log("loud");
    log(letters(400));
    QVERIFY(QMetaObject::invokeMethod(&trace, "toggleConsolePrint"));
    log("silent again");
    QCOMPARE(messages->lines(),
             QStringList() << utf8("debug: ") + shown(numbered(2, "loud")) << utf8("debug: \"\" "));
    QCOMPARE(Trace::linenumber, 5);
}

void TestTrace::printsLinesInPlainQuotes_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    QTest::newRow("plain") << utf8("on") << line("on");
    QTest::newRow("quotes") << utf8("say \"on\"") << line("say \"on\"");
    QTest::newRow("backslashes") << utf8("C:\\new\\\\") << line("C:\\new\\\\");
    QTest::newRow("controls") << utf8("\x01\x1b[0m\x7f") << line("\x01\x1b[0m\x7f");
    QTest::newRow("not ASCII") << utf8("\xc3\xa6 \xce\xa9 \xe2\x82\xac \xf0\x9f\x98\x80")
                               << line("\xc3\xa6 \xce\xa9 \xe2\x82\xac \xf0\x9f\x98\x80");
    QTest::newRow("percent") << utf8("%d%n%s") << line("%d%n%s");
    QTest::newRow("newlines") << letters(200)
                              << header("200") + letters(180) + utf8("\n") + letters(200).mid(180);
    QTest::newRow("none") << letters(360) << QString();
}

void TestTrace::printsLinesInPlainQuotes()
{
    QFETCH(QString, message);
    QFETCH(QString, expected);
    Trace trace(nullptr);
    trace.toggleConsolePrint();
    TraceLog lines(&trace);
    log(message);
    QCOMPARE(lines.lines, QStringList(expected));
    QCOMPARE(messages->lines(), QStringList(utf8("debug: ") + shown(expected)));
}

void TestTrace::dropsLinesWithoutInstance()
{
    QVERIFY(!Trace::instance);
    SyslogRecord syslog;
    const int asked = timeOfDayCalls();
    log(8, 5);
    log(-1, INT_MAX);
    Trace::logs(utf8("Pump"), utf8("start"), utf8("on"));
    Trace::log(utf8("Pump"), utf8("start"), utf8("on"));
    Trace::logId(1, 5, utf8("Pump"), utf8("start"), QString(), utf8("on"));
    QCOMPARE(messages->lines(), QStringList());
    QVERIFY(syslog.calls.isEmpty());
    QCOMPARE(Trace::linenumber, 1);
    QVERIFY(Trace::threadIds.isEmpty());
    QCOMPARE(timeOfDayCalls(), asked);
}

void TestTrace::holdsTheLockWhileALineIsDelivered()
{
    Trace trace(nullptr);
    LockProbe probe(&trace);
    log("on");
    log(letters(400));
    QCOMPARE(probe.lines, 2);
    QCOMPARE(probe.locked, 2);
    QVERIFY(Trace::traceMutex.tryLock());
    Trace::traceMutex.unlock();
}

void TestTrace::locksOnceOnly()
{
    Trace::lock();
    QVERIFY(!Trace::traceMutex.tryLock());
    Trace::unlock();
    QVERIFY(Trace::traceMutex.tryLock());
    Trace::unlock();
    Trace::traceMutex.lock();
    Trace::unlock();
    Trace::lock();
    Trace::traceMutex.unlock();
}

void TestTrace::ignoresTheSpareSwitches_data()
{
    QTest::addColumn<bool>("sync");
    QTest::addColumn<bool>("block");
    QTest::addColumn<bool>("flush");
    for (int bits = 0; bits < 8; ++bits)
        QTest::newRow(QByteArray::number(bits, 2).constData())
            << bool(bits & 1) << bool(bits & 2) << bool(bits & 4);
}

void TestTrace::ignoresTheSpareSwitches()
{
    QFETCH(bool, sync);
    QFETCH(bool, block);
    QFETCH(bool, flush);
    Trace trace(nullptr);
    Journal journal(&trace);
    Trace::syncLogging = sync;
    Trace::blockOnFullQueue = block;
    flushAfterEachLogMsg = flush;
    log("on");
    trace.toggleConsolePrint();
    log(letters(360));
    log(8, 0);
    const bool untouched = Trace::syncLogging == sync && Trace::blockOnFullQueue == block &&
                           flushAfterEachLogMsg == flush;
    Trace::syncLogging = false;
    Trace::blockOnFullQueue = false;
    flushAfterEachLogMsg = true;
    QVERIFY(untouched);
    QCOMPARE(journal.entries, QStringList() << line("on") << QString());
    QCOMPARE(messages->lines(), QStringList(utf8("debug: \"\" ")));
}

void TestTrace::writesToSyslogByLevel_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("priority");

    QTest::newRow("0") << 0 << -1;
    QTest::newRow("1") << 1 << -1;
    QTest::newRow("2") << 2 << int(LOG_INFO);
    QTest::newRow("3") << 3 << int(LOG_WARNING);
    QTest::newRow("4") << 4 << int(LOG_ERR);
    QTest::newRow("5") << 5 << int(LOG_CRIT);
    QTest::newRow("6") << 6 << -1;
    QTest::newRow("258") << 258 << -1;
    QTest::newRow("largest") << INT_MAX << -1;
}

void TestTrace::writesToSyslogByLevel()
{
    QFETCH(int, level);
    QFETCH(int, priority);
    Trace trace(nullptr);
    Journal journal(&trace);
    trace.openSysLog(utf8("pumpd"));
    trace.applyLogFilters(0, -1);
    journal.entries.clear();
    journal.syslog.calls.clear();
    Trace::linenumber = 1;
    log(8, level);
    QStringList expected(line("on"));
    if (priority >= 0)
        expected << utf8("syslog");
    QCOMPARE(journal.entries, expected);
    if (priority >= 0) {
        QCOMPARE(journal.syslog.calls.at(0).priority, priority);
        QCOMPARE(journal.syslog.calls.at(0).text, std::string("on"));
    }
}

void TestTrace::writesRawTextToSyslog_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QByteArray>("text");

    const QByteArray blanked(" \tPump\n\n is   running \r\n");
    QTest::newRow("blanks and newlines") << QString::fromLatin1(blanked) << blanked;
    QTest::newRow("empty") << QString() << QByteArray();
    QTest::newRow("not ASCII") << utf8("\xc3\xa6 \xe2\x82\xac  \xf0\x9f\x98\x80")
                               << QByteArray("\xc3\xa6 \xe2\x82\xac  \xf0\x9f\x98\x80");
    for (const int length : {79, 80, 180, 359, 360, 361, 100000})
        QTest::newRow(QByteArray::number(length).constData())
            << letters(length) << letters(length).toLatin1();
    QTest::newRow("400 blanks") << blanks(400) << QByteArray(400, ' ');
}

void TestTrace::writesRawTextToSyslog()
{
    QFETCH(QString, message);
    QFETCH(QByteArray, text);
    Trace trace(nullptr);
    Journal journal(&trace);
    trace.openSysLog(utf8("pumpd"));
    journal.syslog.calls.clear();
    log(message);
    QCOMPARE(journal.syslog.calls.size(), 1);
    const SyslogRecord::Call call = journal.syslog.calls.at(0);
    QCOMPARE(QByteArray(call.text.c_str()), text);
    QCOMPARE(QByteArray(call.result.c_str()), text);
}

void TestTrace::handsTheTextAsFormatToSyslog()
{
    Trace trace(nullptr);
    Journal journal(&trace);
    trace.openSysLog(utf8("pumpd"));
    log("100%% of 50%%");
    QCOMPARE(journal.syslog.calls.last().text, std::string("100%% of 50%%"));
    QCOMPARE(journal.syslog.calls.last().result, std::string("100% of 50%"));
}

void TestTrace::writesToSyslogOnlyWhileOpen()
{
    Trace trace(nullptr);
    Journal journal(&trace);
    log(8, 5);
    QCOMPARE(journal.entries, QStringList(line("on")));
    trace.openSysLog(utf8("pumpd"));
    trace.closeLoggers();
    journal.entries.clear();
    log(8, 5);
    QCOMPARE(journal.entries, QStringList(numbered(3, "on")));
}

void TestTrace::writesToSyslogBehindTheSignal()
{
    Trace trace(nullptr);
    Journal journal(&trace);
    trace.openSysLog(utf8("pumpd"));
    journal.entries.clear();
    log(8, 3);
    log(letters(360));
    QCOMPARE(journal.entries,
             QStringList() << numbered(2, "on") << utf8("syslog") << QString() << utf8("syslog"));
}

void TestTrace::announcesSyslogBeforeItIsOpen()
{
    Trace trace(nullptr);
    Journal journal(&trace);
    trace.openSysLog(utf8("pumpd"));
    QCOMPARE(journal.entries, QStringList()
                                  << own(1, "openSysLog", "Opening syslog with ident: pumpd")
                                  << utf8("syslog") << utf8("openlog"));
    const SyslogRecord::Call announced = journal.syslog.calls.at(0);
    QCOMPARE(announced.priority, int(LOG_INFO));
    QCOMPARE(announced.text, std::string("Opening syslog with ident: pumpd"));
    const SyslogRecord::Call opened = journal.syslog.calls.at(1);
    QCOMPARE(opened.text, std::string("pumpd"));
    QCOMPARE(opened.priority, int(LOG_PID));
    QCOMPARE(opened.facility, int(LOG_LOCAL0));
}

void TestTrace::opensSyslogAgainWithoutClosing()
{
    Trace trace(nullptr);
    Journal journal(&trace);
    trace.openSysLog(utf8("pumpd"));
    trace.openSysLog(utf8("valved"));
    QCOMPARE(journal.entries, QStringList()
                                  << own(1, "openSysLog", "Opening syslog with ident: pumpd")
                                  << utf8("syslog") << utf8("openlog")
                                  << own(2, "openSysLog", "Opening syslog with ident: valved")
                                  << utf8("syslog") << utf8("openlog"));
    QCOMPARE(journal.syslog.calls.last().text, std::string("valved"));
}

void TestTrace::doesNotOpenSyslogWithoutInstance()
{
    Trace trace(nullptr);
    Journal journal(&trace);
    Trace::instance = nullptr;
    trace.openSysLog(utf8("pumpd"));
    Trace::instance = &trace;
    QCOMPARE(messages->lines(), QStringList(utf8("debug: No Trace Instance ")));
    log(8, 5);
    trace.closeLoggers();
    QCOMPARE(messages->lines().size(), 1);
    QCOMPARE(journal.entries, QStringList(line("on")));
}

void TestTrace::closesSyslogOnce()
{
    Trace trace(nullptr);
    Journal journal(&trace);
    trace.closeLoggers();
    QCOMPARE(messages->lines(), QStringList());
    trace.openSysLog(utf8("pumpd"));
    journal.entries.clear();
    trace.closeLoggers();
    trace.closeLoggers();
    QCOMPARE(messages->lines(), QStringList(utf8("debug: Closing Syslog object ")));
    QCOMPARE(journal.entries, QStringList(utf8("closelog")));
}

void TestTrace::endsInOrder()
{
    QStringList seen;
    Trace *const trace = new Trace(nullptr);
    SyslogRecord syslog;
    trace->openSysLog(utf8("pumpd"));
    syslog.before = [&](SyslogRecord::Call::Kind kind) {
        QCOMPARE(kind, SyslogRecord::Call::Close);
        seen = messages->lines();
        QVERIFY(!Trace::instance);
    };
    delete trace;
    const QStringList lines = QStringList() << utf8("debug: Delting Trace object ")
                                            << utf8("debug: Closing Syslog object ");
    QCOMPARE(seen, lines);
    QCOMPARE(messages->lines(), lines);
    QCOMPARE(Trace::linenumber, 2);
    QCOMPARE(Trace::threadIds, QList<int>() << thisThread());
    QVERIFY(Trace::traceMutex.tryLock());
    Trace::traceMutex.unlock();
}

void TestTrace::mayEndWhileALineIsDelivered()
{
    Trace *const trace = new Trace(nullptr);
    Journal journal(trace);
    trace->openSysLog(utf8("pumpd"));
    journal.entries.clear();
    Trace::linenumber = 1;
    Destroyer destroyer(trace);
    log("on");
    log("dropped");
    QVERIFY(!Trace::instance);
    QCOMPARE(journal.entries, QStringList() << line("on") << utf8("closelog"));
    QCOMPARE(Trace::linenumber, 2);
    QVERIFY(Trace::traceMutex.tryLock());
    Trace::traceMutex.unlock();
}

int main(int argc, char *argv[])
{
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("TZ", "UTC0", 1);
    QCoreApplication application(argc, argv);
    TestTrace test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_trace.moc"
