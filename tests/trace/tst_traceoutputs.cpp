// SPDX-License-Identifier: LGPL-2.1-or-later

// What reaches syslog and in which order, the filters, and the texts of errno.

#include "kivlogs.h"
#include "messagelog.h"
#include "trace.h"

#include <QtTest/QTest>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <printf.h>
#include <syslog.h>

namespace
{

// What the library has called, as "syslog(6, text)".
QStringList calls;
// What the last message came to, and the format it was made of.
QByteArray lastText;
QByteArray lastFormat;
const char *lastIdent = nullptr;

} // namespace

// These come before the C library's. The checked variant must not be called at all.
extern "C" __attribute__((visibility("default"))) void syslog(int priority, const char *format, ...)
{
    static char text[65536];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    lastFormat = format;
    lastText = length < 0 ? "(lost)" : text;
    calls << QString::fromLatin1("syslog(%1, %2)").arg(priority).arg(QString::fromUtf8(lastText));
}

extern "C" __attribute__((visibility("default"))) void __syslog_chk(int, int, const char *, ...)
{
    calls << QLatin1String("__syslog_chk");
}

extern "C" __attribute__((visibility("default"))) void openlog(const char *ident, int option,
                                                               int facility)
{
    lastIdent = ident;
    calls << QString::fromLatin1("openlog(%1, %2, %3)")
                 .arg(QString::fromUtf8(ident))
                 .arg(option)
                 .arg(facility);
}

extern "C" __attribute__((visibility("default"))) void closelog()
{
    calls << QLatin1String("closelog()");
}

class TestTraceOutputs : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void opensSyslogAfterAnnouncingIt();
    void keepsTheIdent();
    void opensSyslogAgain();
    void opensNothingWithoutAnInstance();
    void closesSyslogOnce();
    void closesSyslogWhenDestroyed();
    void givesEachLevelItsPriority_data();
    void givesEachLevelItsPriority();
    void sendsTheRawMessage();
    void sendsAcceptedLinesOnly();
    void usesTheTextAsFormat_data();
    void usesTheTextAsFormat();
    void survivesAnyFormat();
    void changesFilters_data();
    void changesFilters();
    void filtersItsOwnLinesByTheOldFilter();
    void tellsErrors_data();
    void tellsErrors();

private:
    QStringList takeCalls()
    {
        QStringList taken;
        taken.swap(calls);
        return taken;
    }

    MessageLog *messages;
    Trace *trace;
};

static const QString name = QLatin1String("Name");

void TestTraceOutputs::init()
{
    messages = new MessageLog;
    trace = new Trace(nullptr);
    calls.clear();
}

void TestTraceOutputs::cleanup()
{
    delete trace;
    delete messages;
}

void TestTraceOutputs::opensSyslogAfterAnnouncingIt()
{
    TraceLog lines(trace);
    trace->openSysLog(QLatin1String("pump"));
    QCOMPARE(takeCalls(), QStringList()
                              << QLatin1String("syslog(6, Opening syslog with ident: pump)")
                              << QLatin1String("openlog(pump, 1, 128)"));
    QCOMPARE(lines.entries(),
             QStringList(QLatin1String("Trace|openSysLog|Opening syslog with ident: pump")));
    QCOMPARE(messages->lines(), QStringList());
}

void TestTraceOutputs::keepsTheIdent()
{
    {
        QString ident = QString::fromUtf8("b\xc3\xbchne");
        trace->openSysLog(ident);
        ident.fill(QLatin1Char('x'));
    }
    QCOMPARE(QByteArray(lastIdent), QString::fromUtf8("b\xc3\xbchne").toLocal8Bit());
}

void TestTraceOutputs::opensSyslogAgain()
{
    trace->openSysLog(QLatin1String("one"));
    takeCalls();
    trace->openSysLog(QLatin1String("two"));
    QCOMPARE(takeCalls(), QStringList()
                              << QLatin1String("syslog(6, Opening syslog with ident: two)")
                              << QLatin1String("openlog(two, 1, 128)"));
    QCOMPARE(messages->lines(), QStringList());
}

void TestTraceOutputs::opensNothingWithoutAnInstance()
{
    Trace::instance = nullptr;
    trace->openSysLog(QLatin1String("pump"));
    trace->closeLoggers();
    Trace::instance = trace;
    QCOMPARE(messages->lines(), QStringList(QLatin1String("debug: No Trace Instance ")));
    Trace::log(8, 4, name, name, name);
    QCOMPARE(takeCalls(), QStringList());
}

void TestTraceOutputs::closesSyslogOnce()
{
    trace->closeLoggers();
    QCOMPARE(messages->lines(), QStringList());
    trace->openSysLog(QLatin1String("pump"));
    takeCalls();
    trace->closeLoggers();
    trace->closeLoggers();
    Trace::log(8, 4, name, name, name);
    QCOMPARE(messages->lines(), QStringList(QLatin1String("debug: Closing Syslog object ")));
    QCOMPARE(takeCalls(), QStringList(QLatin1String("closelog()")));
}

void TestTraceOutputs::closesSyslogWhenDestroyed()
{
    std::unique_ptr<Trace> owned(trace);
    trace->openSysLog(QLatin1String("pump"));
    takeCalls();
    trace = nullptr;
    owned.reset();
    Trace::log(8, 4, name, name, name);
    QCOMPARE(messages->lines(), QStringList() << QLatin1String("debug: Delting Trace object ")
                                              << QLatin1String("debug: Closing Syslog object "));
    QCOMPARE(takeCalls(), QStringList(QLatin1String("closelog()")));
}

void TestTraceOutputs::givesEachLevelItsPriority_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("priority");
    QTest::newRow("debug") << 1 << -1;
    QTest::newRow("information") << 2 << LOG_INFO;
    QTest::newRow("warning") << 3 << LOG_WARNING;
    QTest::newRow("error") << 4 << LOG_ERR;
    QTest::newRow("critical") << 5 << LOG_CRIT;
    QTest::newRow("above") << 6 << -1;
    QTest::newRow("far above") << 1000 << -1;
}

void TestTraceOutputs::givesEachLevelItsPriority()
{
    QFETCH(int, level);
    QFETCH(int, priority);
    trace->openSysLog(name);
    takeCalls();
    Trace::log(8, level, name, name, QLatin1String("text"));
    QCOMPARE(takeCalls(), priority < 0
                              ? QStringList()
                              : QStringList(QString::fromLatin1("syslog(%1, text)").arg(priority)));
}

void TestTraceOutputs::sendsTheRawMessage()
{
    trace->openSysLog(name);
    const QStringList texts =
        QStringList() << QString() << QLatin1String("  a\t b\n") << QString(359, QLatin1Char('x'))
                      << QString(360, QLatin1Char('x')) << QString(5000, QLatin1Char('x'))
                      << QString::fromUtf8("\xc3\xa4\xe2\x82\xac");
    for (const QString &text : texts) {
        Trace::log(8, 4, name, name, text);
        QCOMPARE(lastFormat, text.toLocal8Bit());
        QCOMPARE(lastText, text.toLocal8Bit());
    }
}

void TestTraceOutputs::sendsAcceptedLinesOnly()
{
    trace->openSysLog(name);
    trace->applyLogFilters(4, 8);
    takeCalls();
    Trace::log(8, 3, name, name, name);
    Trace::log(1, 5, name, name, name);
    QCOMPARE(takeCalls(), QStringList());
    Trace::log(9, 4, name, name, name);
    QCOMPARE(takeCalls(), QStringList(QLatin1String("syslog(3, Name)")));
}

void TestTraceOutputs::usesTheTextAsFormat_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("asFormat");
    const struct {
        const char *text;
        bool asFormat;
    } rows[] = {{"plain", true},
                {"100%% done", true},
                {"100 %", false},
                {"%", false},
                {"a%5", false},
                {"a%.", false},
                {"a%l", false},
                {"50% off", true},
                {"(5%)", true},
                {"%d %u %x %p", true},
                {"%s %s %s %s %s %s %s %s", true},
                {"%s%s%s%s%s%s%s%s%s", false},
                {"%n", true},
                {"%hhn%hn%n%ln%lln%jn%zn%tn", true},
                {"%n%n%n%n%n%n%n%n%s", false},
                {"%s%n%d", true},
                {"%f %e %g %a", true},
                {"%Lf %La", true},
                {"%lld %llx %jd", true},
                {"%m", true},
                {"%-5d|%+5d|% d|%#x|%05d", true},
                {"%.3s|%5.3s|%.s", true},
                {"%999d", true},
                {"%1000d", false},
                {"%999999999d", false},
                {"%.999999999d", false},
                {"%.9999f", false},
                {"%*d", false},
                {"%.*s", false},
                {"%-*d", false},
                {"%5.*f", false},
                {"%1$s", false},
                {"%99$n", false},
                {"%0$d", false},
                {"%ls", false},
                {"%S", false},
                {"%C", false},
                {"%lc", false},
                {"%Ls", false},
                {"%zs", false},
                {"%hs", false},
                {"%5%%*d", false},
                {"%-%%99$s", false},
                {"%l%%999999999d", false},
                {"%%%d", true},
                {"%%%%", true},
                {"%%%", false}};
    for (const auto &row : rows)
        QTest::newRow(row.text) << QString::fromLatin1(row.text) << row.asFormat;
}

/**
 * The text itself is the format, unless it asks for more than spare arguments can give, or would
 * not arrive.
 */
void TestTraceOutputs::usesTheTextAsFormat()
{
    QFETCH(QString, message);
    QFETCH(bool, asFormat);
    trace->openSysLog(name);
    takeCalls();
    Trace::log(8, 4, name, name, message);
    QCOMPARE(int(calls.size()), 1);
    QCOMPARE(lastFormat, asFormat ? message.toLatin1() : QByteArray("%s"));
    if (!asFormat)
        QCOMPARE(lastText, message.toLatin1());
    QVERIFY(lastText != "(lost)");
}

/** What the C library's own parser says about a format, against the arguments there are. */
static QByteArray problemWith(const QByteArray &format)
{
    int types[64];
    const size_t count = parse_printf_format(format.constData(), 64, types);
    if (count > 8)
        return "too many arguments";
    for (size_t i = 0; i < count; ++i) {
        if ((types[i] & ~PA_FLAG_MASK) == PA_WSTRING || (types[i] & ~PA_FLAG_MASK) == PA_WCHAR)
            return "wide";
    }
    return QByteArray();
}

void TestTraceOutputs::survivesAnyFormat()
{
    trace->openSysLog(name);
    const char alphabet[] = "%%%%%%0123456789.*$-+ #'IhlLqjztdiouxXeEfFgGaAcCsSpnm(y";
    unsigned seed = 1;
    const auto random = [&seed](unsigned below) {
        seed = seed * 1103515245u + 12345u;
        return int((seed >> 16) % below);
    };
    int raw = 0;
    for (int round = 0; round < 200000; ++round) {
        QByteArray text;
        for (int length = random(14) + 1; length > 0; --length)
            text += alphabet[random(sizeof alphabet - 1)];
        Trace::log(8, 4, name, name, QString::fromLatin1(text));
        QVERIFY2(lastText != "(lost)", text.constData());
        if (lastFormat == "%s")
            continue;
        ++raw;
        QCOMPARE(lastFormat, text);
        const QByteArray problem = problemWith(text);
        QVERIFY2(problem.isEmpty(), (text + ": " + problem).constData());
        calls.clear();
    }
    QVERIFY(raw > 10000);
}

void TestTraceOutputs::changesFilters_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("mask");
    QTest::addColumn<QStringList>("logged");
    QTest::addColumn<QString>("accepted"); // of the levels 1 to 6, in group 8, then in group 16
    const QString levelLine = QLatin1String("Trace|applyLogFilters|Setting LogLevel to: %1");
    const QString maskLine = QLatin1String("Trace|applyLogFilters|Setting GroupFilter Mask to: %1");
    const auto entry = [](const QString &line, const char *value) {
        return line.arg(QLatin1String(value));
    };
    const QString all = QLatin1String("123456 123456");
    QTest::newRow("neither") << -1 << -1 << QStringList() << all;
    QTest::newRow("neither, far below") << INT_MIN << INT_MIN << QStringList() << all;
    QTest::newRow("level 3") << 3 << -1 << QStringList(entry(levelLine, "3"))
                             << QString::fromLatin1("3456 3456");
    QTest::newRow("level 0") << 0 << -1 << QStringList(entry(levelLine, "0")) << all;
    QTest::newRow("level 7") << 7 << -1 << QStringList(entry(levelLine, "7"))
                             << QString::fromLatin1(" ");
    QTest::newRow("mask 8") << -1 << 8 << QStringList(entry(maskLine, "1000"))
                            << QString::fromLatin1("123456 ");
    QTest::newRow("mask 0") << -1 << 0 << QStringList(entry(maskLine, "0"))
                            << QString::fromLatin1(" ");
    QTest::newRow("mask with all bits")
        << -1 << INT_MAX << QStringList(entry(maskLine, "1111111111111111111111111111111")) << all;
    QTest::newRow("both") << 2 << 16
                          << (QStringList() << entry(levelLine, "2") << entry(maskLine, "10000"))
                          << QString::fromLatin1(" 23456");
    QTest::newRow("level hides the mask")
        << 3 << 16 << QStringList(entry(levelLine, "3")) << QString::fromLatin1(" 3456");
}

void TestTraceOutputs::changesFilters()
{
    QFETCH(int, level);
    QFETCH(int, mask);
    QFETCH(QStringList, logged);
    QFETCH(QString, accepted);
    TraceLog lines(trace);
    trace->applyLogFilters(level, mask);
    QStringList said;
    for (const QString &line : lines.take())
        said << line.simplified();
    QCOMPARE(said, logged);
    QString passed;
    for (int group : {8, 16}) {
        for (int tried = 1; tried <= 6; ++tried) {
            Trace::log(group, tried, name, name, name);
            if (!lines.take().isEmpty())
                passed += QString::number(tried);
        }
        if (group == 8)
            passed += QLatin1Char(' ');
    }
    QCOMPARE(passed, accepted);
}

void TestTraceOutputs::filtersItsOwnLinesByTheOldFilter()
{
    trace->openSysLog(name);
    trace->applyLogFilters(-1, 8);
    // Simplified in the line, with its blanks in syslog.
    QCOMPARE(lastText, QByteArray("Setting GroupFilter Mask to:             1000"));
    takeCalls();
    TraceLog lines(trace);
    trace->applyLogFilters(1, 9);
    QCOMPARE(lines.take(), QStringList());
    trace->applyLogFilters(3, -1);
    QCOMPARE(lines.take(),
             QStringList(QLatin1String("Trace|applyLogFilters|Setting LogLevel to: 3")));
    trace->applyLogFilters(1, -1);
    QCOMPARE(lines.take(), QStringList());
}

void TestTraceOutputs::tellsErrors_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("suffix");
    QTest::newRow("none") << 0 << QString();
    QTest::newRow("ENOENT") << ENOENT << QString();
    QTest::newRow("unknown") << 4242 << QString();
    QTest::newRow("negative") << -5 << QString::fromLatin1("<unknown error> = -5");
}

void TestTraceOutputs::tellsErrors()
{
    QFETCH(int, error);
    QFETCH(QString, suffix);
    const QString expected = QString::fromLocal8Bit(strerror(error)) + suffix;
    errno = error;
    const QString told = Trace::getError();
    QCOMPARE(told, expected);
}

QTEST_MAIN(TestTraceOutputs)
#include "tst_traceoutputs.moc"
