// SPDX-License-Identifier: LGPL-2.1-or-later

// What reaches syslog, as what, and in which order.

#include "formatproblem.h"
#include "localcodec.h"
#include "random.h"
#include "tracefixture.h"

#include <QtTest/QTest>

#include <climits>
#include <syslog.h>

class TestTraceSyslog : public TraceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void announcesSyslogBeforeItIsOpen();
    void keepsTheIdent();
    void opensSyslogAgainWithoutClosing();
    void doesNotOpenSyslogWithoutInstance();
    void closesSyslogOnce();
    void writesOnlyWhileOpen();
    void writesBehindTheSignal();
    void deliversInOrder();
    void givesEachLevelItsPriority_data();
    void givesEachLevelItsPriority();
    void writesTheRawMessage_data();
    void writesTheRawMessage();
    void writesInTheLocalEncoding_data();
    void writesInTheLocalEncoding();
    void writesTheMaskInSixteenColumns();
    void convertsDoubledPercentSigns();
    void usesTheTextAsFormat_data();
    void usesTheTextAsFormat();
    void survivesAnyFormat();
};

void TestTraceSyslog::announcesSyslogBeforeItIsOpen()
{
    Trace trace(nullptr);
    keepJournal(trace);
    trace.openSysLog(text("pumpd"));
    // LOG_INFO; LOG_PID and LOG_LOCAL0
    QCOMPARE(calls->take(), QStringList()
                                << own(1, "openSysLog", "Opening syslog with ident: pumpd")
                                << text("syslog 6 Opening syslog with ident: pumpd")
                                << text("openlog pumpd 1 128"));
    QCOMPARE(messages->lines(), QStringList());
}

void TestTraceSyslog::keepsTheIdent()
{
    Trace trace(nullptr);
    {
        QString ident = text("b\xc3\xbchne");
        trace.openSysLog(ident);
        ident.fill(QLatin1Char('x'));
    }
    QCOMPARE(QByteArray(calls->syslogIdent), text("b\xc3\xbchne").toLocal8Bit());
}

void TestTraceSyslog::opensSyslogAgainWithoutClosing()
{
    Trace trace(nullptr);
    keepJournal(trace);
    trace.openSysLog(text("pumpd"));
    calls->take();
    trace.openSysLog(text("valved"));
    const QStringList renamed = QStringList()
                                << own(2, "openSysLog", "Opening syslog with ident: valved")
                                << text("syslog 6 Opening syslog with ident: valved")
                                << text("openlog valved 1 128");
    QCOMPARE(calls->take(), renamed);
    Trace::linenumber = 2;
    trace.openSysLog(text("valved"));
    QCOMPARE(calls->take(), renamed);
    QCOMPARE(messages->lines(), QStringList());
}

void TestTraceSyslog::doesNotOpenSyslogWithoutInstance()
{
    Trace trace(nullptr);
    keepJournal(trace);
    Trace::instance = nullptr;
    trace.openSysLog(text("pumpd"));
    trace.closeLoggers();
    Trace::instance = &trace;
    QCOMPARE(messages->lines(), QStringList(text("debug: No Trace Instance ")));
    log(8, 5);
    trace.closeLoggers();
    QCOMPARE(messages->lines().size(), 1);
    QCOMPARE(calls->take(), QStringList(line("on")));
}

void TestTraceSyslog::closesSyslogOnce()
{
    Trace trace(nullptr);
    keepJournal(trace);
    trace.closeLoggers();
    QCOMPARE(messages->lines(), QStringList());
    trace.openSysLog(text("pumpd"));
    calls->take();
    trace.closeLoggers();
    trace.closeLoggers();
    QCOMPARE(messages->lines(), QStringList(text("debug: Closing Syslog object ")));
    QCOMPARE(calls->take(), QStringList(text("closelog")));
}

void TestTraceSyslog::writesOnlyWhileOpen()
{
    Trace trace(nullptr);
    keepJournal(trace);
    log(8, 5);
    QCOMPARE(calls->take(), QStringList(line("on")));
    trace.openSysLog(text("pumpd"));
    trace.closeLoggers();
    calls->take();
    log(8, 5);
    QCOMPARE(calls->take(), QStringList(numbered(3, "on")));
}

void TestTraceSyslog::writesBehindTheSignal()
{
    Trace trace(nullptr);
    keepJournal(trace);
    trace.openSysLog(text("pumpd"));
    calls->take();
    log(8, 3);
    log(letters(360));
    QCOMPARE(calls->take(), QStringList() << numbered(2, "on") << text("syslog 4 on") << QString()
                                          << text("syslog 6 ") + letters(360));
}

/** The time, the debug output, the signal, syslog: with the lock held, before the next number. */
void TestTraceSyslog::deliversInOrder()
{
    Trace trace(nullptr);
    trace.openSysLog(text("pumpd"));
    trace.toggleConsolePrint();
    keepJournal(trace);
    calls->record("gettimeofday syslog");
    Trace::linenumber = 1;
    int number = 0;
    int unlocked = 0;
    calls->before = [&](const QString &) {
        number = Trace::linenumber;
        if (Trace::traceMutex.tryLock()) {
            Trace::traceMutex.unlock();
            ++unlocked;
        }
    };
    messages->forward([&](const QString &shown) { calls->note(shown); });
    log("on");
    messages->forward(nullptr);
    QCOMPARE(calls->take(), QStringList() << text("gettimeofday") << shown(line("on")) << line("on")
                                          << text("syslog 6 on"));
    QCOMPARE(number, 1);
    QCOMPARE(unlocked, 0);
    QCOMPARE(Trace::linenumber, 2);
}

void TestTraceSyslog::givesEachLevelItsPriority_data()
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
    QTest::newRow("1000") << 1000 << -1;
    QTest::newRow("largest") << INT_MAX << -1;
}

void TestTraceSyslog::givesEachLevelItsPriority()
{
    QFETCH(int, level);
    QFETCH(int, priority);
    Trace trace(nullptr);
    keepJournal(trace);
    trace.openSysLog(text("pumpd"));
    trace.applyLogFilters(0, -1);
    calls->take();
    Trace::linenumber = 1;
    log(8, level);
    QStringList expected(line("on"));
    if (priority >= 0)
        expected << text("syslog %1 on").arg(priority);
    QCOMPARE(calls->take(), expected);
}

void TestTraceSyslog::writesTheRawMessage_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QByteArray>("sent");

    const QByteArray blanked(" \tPump\n\n is   running \r\n");
    QTest::newRow("blanks and newlines") << QString::fromLatin1(blanked) << blanked;
    QTest::newRow("empty") << QString() << QByteArray();
    QTest::newRow("not ASCII") << text("\xc3\xa6 \xe2\x82\xac  \xf0\x9f\x98\x80")
                               << QByteArray("\xc3\xa6 \xe2\x82\xac  \xf0\x9f\x98\x80");
    for (const int length : {79, 80, 180, 359, 360, 361, 5000, 100000})
        QTest::newRow(QByteArray::number(length).constData())
            << letters(length) << letters(length).toLatin1();
    QTest::newRow("400 blanks") << blanks(400) << QByteArray(400, ' ');
}

void TestTraceSyslog::writesTheRawMessage()
{
    QFETCH(QString, message);
    QFETCH(QByteArray, sent);
    Trace trace(nullptr);
    trace.openSysLog(text("pumpd"));
    calls->record("syslog");
    log(message);
    QCOMPARE(int(calls->take().size()), 1);
    QCOMPARE(calls->syslogFormat, sent);
    QCOMPARE(calls->syslogText, sent);
}

void TestTraceSyslog::writesInTheLocalEncoding_data()
{
    QTest::addColumn<QByteArray>("codec");
    for (const char *const codec : {"UTF-8", "ISO-8859-1", "rot"})
        QTest::newRow(codec) << QByteArray(codec);
}

/** The name, too. */
void TestTraceSyslog::writesInTheLocalEncoding()
{
    QFETCH(QByteArray, codec);
    const QString name = text("b\xc3\xbchne");
    const QString message = text("\xc3\xa6 and \xe2\x82\xac");
    Trace trace(nullptr);
    setLocalCodec(codec.constData());
    trace.openSysLog(name);
    log(message);
    const QByteArray nameBytes = name.toLocal8Bit();
    const QByteArray messageBytes = message.toLocal8Bit();
    setLocalCodec(nullptr);
    QCOMPARE(QByteArray(calls->syslogIdent), nameBytes);
    QCOMPARE(calls->syslogFormat, messageBytes);
}

/** Lines show its blanks as one. */
void TestTraceSyslog::writesTheMaskInSixteenColumns()
{
    Trace trace(nullptr);
    trace.openSysLog(text("pumpd"));
    calls->record("syslog");
    trace.applyLogFilters(1, 65536);
    trace.applyLogFilters(-1, 65535); // no longer accepted
    QCOMPARE(calls->take(), QStringList()
                                << text("syslog 6 Setting LogLevel to: 1")
                                << text("syslog 6 Setting GroupFilter Mask to: 10000000000000000"));
    trace.applyLogFilters(-1, 8);
    QCOMPARE(calls->take(),
             QStringList(text("syslog 6 Setting GroupFilter Mask to:             1000")));
}

void TestTraceSyslog::convertsDoubledPercentSigns()
{
    Trace trace(nullptr);
    trace.openSysLog(text("pumpd"));
    log("100%% of 50%%");
    QCOMPARE(calls->syslogFormat, QByteArray("100%% of 50%%"));
    QCOMPARE(calls->syslogText, QByteArray("100% of 50%"));
}

void TestTraceSyslog::usesTheTextAsFormat_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("asFormat");
    const struct {
        const char *message;
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
        QTest::newRow(row.message) << text(row.message) << row.asFormat;
}

/**
 * The text itself is the format, unless it asks for more than spare arguments can give, or would
 * not arrive.
 */
void TestTraceSyslog::usesTheTextAsFormat()
{
    QFETCH(QString, message);
    QFETCH(bool, asFormat);
    Trace trace(nullptr);
    trace.openSysLog(text("pumpd"));
    calls->record("syslog");
    Trace::log(8, 4, text("Pump"), text("start"), message);
    QCOMPARE(calls->take(), QStringList(text("syslog 3 ") + QString::fromUtf8(calls->syslogText)));
    QCOMPARE(calls->syslogFormat, asFormat ? message.toLatin1() : QByteArray("%s"));
    if (!asFormat)
        QCOMPARE(calls->syslogText, message.toLatin1());
    QVERIFY(calls->syslogText != "(lost)");
}

void TestTraceSyslog::survivesAnyFormat()
{
    const char alphabet[] = "%%%%%%0123456789.*$-+ #'IhlLqjztdiouxXeEfFgGaAcCsSpnm(y";
    Random random(20240301);
    const int cases = randomCases(200000);
    int raw = 0;
    Trace trace(nullptr);
    trace.openSysLog(text("pumpd"));
    for (int i = 0; i < cases; ++i) {
        QByteArray format;
        for (int length = random.below(14) + 1; length > 0; --length)
            format += alphabet[random.below(int(sizeof alphabet) - 1)];
        log(QString::fromLatin1(format));
        QVERIFY2(calls->syslogText != "(lost)", format.constData());
        if (calls->syslogFormat == "%s")
            continue;
        ++raw;
        QCOMPARE(calls->syslogFormat, format);
        const QByteArray problem = formatProblem(format);
        QVERIFY2(problem.isEmpty(), (format + ": " + problem).constData());
    }
    QVERIFY(raw > cases / 20);
}

int main(int argc, char *argv[])
{
    return runTraceTest<TestTraceSyslog>(argc, argv);
}

#include "tst_tracesyslog.moc"
