// SPDX-License-Identifier: LGPL-2.1-or-later

// Lines on the debug output.

#include "tracefixture.h"

#include <QtTest/QTest>

class TestTraceConsole : public TraceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void isNotPrintedUnlessToggled();
    void printsLinesInPlainQuotes_data();
    void printsLinesInPlainQuotes();
};

void TestTraceConsole::isNotPrintedUnlessToggled()
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
             QStringList() << text("debug: ") + shown(numbered(2, "loud")) << text("debug: \"\" "));
    QCOMPARE(Trace::linenumber, 5);
}

void TestTraceConsole::printsLinesInPlainQuotes_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");

    QTest::newRow("plain") << text("on") << line("on");
    QTest::newRow("quotes") << text("say \"on\"") << line("say \"on\"");
    QTest::newRow("backslashes") << text("C:\\new\\\\") << line("C:\\new\\\\");
    QTest::newRow("controls") << text("\x01\x1b[0m\x7f") << line("\x01\x1b[0m\x7f");
    QTest::newRow("not ASCII") << text("\xc3\xa6 \xce\xa9 \xe2\x82\xac \xf0\x9f\x98\x80")
                               << line("\xc3\xa6 \xce\xa9 \xe2\x82\xac \xf0\x9f\x98\x80");
    QTest::newRow("percent") << text("%d%n%s") << line("%d%n%s");
    QTest::newRow("newlines") << letters(200)
                              << header("200") + letters(180) + text("\n") + letters(200).mid(180);
    QTest::newRow("none") << letters(360) << QString();
}

void TestTraceConsole::printsLinesInPlainQuotes()
{
    QFETCH(QString, message);
    QFETCH(QString, expected);
    Trace trace(nullptr);
    trace.toggleConsolePrint();
    TraceLog lines(&trace);
    log(message);
    QCOMPARE(lines.lines, QStringList(expected));
    QCOMPARE(messages->lines(), QStringList(text("debug: ") + shown(expected)));
}

int main(int argc, char *argv[])
{
    return runTraceTest<TestTraceConsole>(argc, argv);
}

#include "tst_traceconsole.moc"
