// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/debugline.h"

#include "localcodec.h"
#include "messagelog.h"
#include "program.h"

#include <QtCore/QLocale>
#include <QtTest/QtTest>

#include <cstdio>
#include <cstring>
#include <limits>

using qvcommon::DebugLine;

namespace
{

QDateTime someTime()
{
    return QDateTime(QDate(2024, 3, 1), QTime(3, 4, 5, 678));
}

/** What a line shows of that time, with the names of the day and the month in some language. */
QString rendered(const QLocale &language)
{
    return QString::fromLatin1("QDateTime(\"%1 %2 1 03:04:05 2024\") ")
        .arg(language.dayName(5, QLocale::ShortFormat),
             language.monthName(3, QLocale::ShortFormat));
}

} // namespace

class TestDebugLine : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void putsABlankBehindEachItem();
    void quotesTextsButEscapesNothing();
    void takesBytesForLatin1();
    void takesBytesForTheCodecOfCStrings();
    void writesNumbersInFull();
    void writesWarnings();
    void endsAtANul_data();
    void endsAtANul();
    void writesTheTimeInAsciiDigits_data();
    void writesTheTimeInAsciiDigits();
    void caresNotForTheDefaultLocale();
    void sendsTheLineAtItsEnd();
};

void TestDebugLine::putsABlankBehindEachItem()
{
    MessageLog log;
    DebugLine() << "one"
                << "two " << QString(QLatin1String("three")) << qint64(4);
    DebugLine();
    DebugLine() << "" << QString();
    QCOMPARE(log.lines(), QStringList()
                              << QLatin1String("debug: one two  \"three\" 4 ")
                              << QLatin1String("debug: ") << QLatin1String("debug:  \"\" "));
}

void TestDebugLine::quotesTextsButEscapesNothing()
{
    setLocalCodec("UTF-8"); // in which Qt 4 hands lines to their handler
    MessageLog log;
    const QString text = QLatin1String("a\"b\\c\n\t\x01\x7f\xe9") + QChar(0x20ac);
    DebugLine() << text;
    setLocalCodec(nullptr);
    QCOMPARE(log.lines(), QStringList(QLatin1String("debug: \"") + text + QLatin1String("\" ")));
}

void TestDebugLine::takesBytesForLatin1()
{
    setLocalCodec("UTF-8");
    MessageLog log;
    DebugLine() << "\xc3\xa9\xff";
    setLocalCodec(nullptr);
    QCOMPARE(log.lines(), QStringList(QString(QLatin1String("debug: \xc3\xa9\xff "))));
}

void TestDebugLine::takesBytesForTheCodecOfCStrings()
{
    setLocalCodec("UTF-8");
    const bool chosen = setCodecForCStrings("UTF-8");
    MessageLog log;
    DebugLine() << "\xc3\xa9";
    setCodecForCStrings(nullptr);
    setLocalCodec(nullptr);
    const QLatin1String expected(chosen ? "debug: \xe9 " : "debug: \xc3\xa9 ");
    QCOMPARE(log.lines(), QStringList(QString(expected)));
}

void TestDebugLine::writesNumbersInFull()
{
    MessageLog log;
    DebugLine() << Q_INT64_C(0) << Q_INT64_C(-1) << std::numeric_limits<qint64>::max()
                << std::numeric_limits<qint64>::min();
    QCOMPARE(log.lines(),
             QStringList(QLatin1String("debug: 0 -1 9223372036854775807 -9223372036854775808 ")));
}

void TestDebugLine::writesWarnings()
{
    MessageLog log;
    DebugLine(QtWarningMsg) << "text";
    QCOMPARE(log.lines(), QStringList(QLatin1String("warning: text ")));
}

void TestDebugLine::endsAtANul_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("line");
    const QString nul(1, QChar(0));
    QTest::newRow("within") << QString(QLatin1String("ab") + nul + QLatin1String("cd"))
                            << QString(QLatin1String("debug: before \"ab"));
    QTest::newRow("in front") << QString(nul + QLatin1String("cd"))
                              << QString(QLatin1String("debug: before \""));
}

void TestDebugLine::endsAtANul()
{
    QFETCH(QString, text);
    QFETCH(QString, line);
    MessageLog log;
    DebugLine() << "before" << text << "behind";
    QCOMPARE(log.lines(), QStringList(line));
}

void TestDebugLine::writesTheTimeInAsciiDigits_data()
{
    QTest::addColumn<QByteArray>("locale");
    for (const char *const locale : {"C.UTF-8", "en_US.UTF-8", "de_DE.UTF-8", "ar_EG.UTF-8",
                                     "fa_IR.UTF-8", "ne_NP.UTF-8", "my_MM.UTF-8"})
        QTest::newRow(locale) << QByteArray(locale);
}

// Qt looks at the environment once, so each locale has a process of its own.
void TestDebugLine::writesTheTimeInAsciiDigits()
{
    QFETCH(QByteArray, locale);
    const QByteArray before = qgetenv("LC_ALL");
    qputenv("LC_ALL", locale);
    Program program("/proc/self/exe", QStringList(QLatin1String("time")));
    qputenv("LC_ALL", before);
    const QLocale language(QString::fromLatin1(locale.left(locale.indexOf('.'))));
    QCOMPARE(QString::fromUtf8(program.readLine().constData()),
             QString(QLatin1String("debug: ") + rendered(language)));
    QCOMPARE(program.wait(), 0);
}

void TestDebugLine::caresNotForTheDefaultLocale()
{
    QLocale::setDefault(QLocale(QLatin1String("ar_EG")));
    MessageLog log;
    DebugLine() << someTime();
    QLocale::setDefault(QLocale::c());
    QCOMPARE(log.lines(), QStringList(QLatin1String("debug: ") + rendered(QLocale::c())));
}

void TestDebugLine::sendsTheLineAtItsEnd()
{
    MessageLog log;
    {
        DebugLine line;
        line << "text";
        QCOMPARE(log.lines(), QStringList());
    }
    QCOMPARE(log.lines(), QStringList(QLatin1String("debug: text ")));
}

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "time") == 0) {
        setLocalCodec("UTF-8");
        MessageLog log;
        DebugLine() << someTime();
        std::puts(log.lines().value(0).toUtf8().constData());
        return 0;
    }
    qputenv("LC_ALL", "C.UTF-8"); // for the names of the day and the month
    TestDebugLine test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_debugline.moc"
