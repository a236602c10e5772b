// SPDX-License-Identifier: LGPL-2.1-or-later

// What a message handler of the application is told about the library's debug lines.

#include "trace.h"

#include <QtCore/QDebug>
#include <QtTest/QTest>

class TestDebugCategory : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void isThatOfQDebug();
    void showsInAMessagePattern();
};

#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)

static QStringList categories;
static QStringList formatted;

static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    categories << (context.category ? QLatin1String(context.category) : QString());
    formatted << qFormatLogMessage(type, context, text);
}

/** Destroys a Trace, which says so, and prints the same with qDebug(). */
static void printTwice()
{
    categories.clear();
    formatted.clear();
    qSetMessagePattern(QLatin1String("%{category}: %{message}"));
    const QtMessageHandler previous = qInstallMessageHandler(handle);
    delete new Trace(nullptr);
    qDebug() << "Delting Trace object";
    qInstallMessageHandler(previous);
}

void TestDebugCategory::isThatOfQDebug()
{
    printTwice();
    const QString expected = QLatin1String("default");
    QCOMPARE(categories, QStringList() << expected << expected);
}

void TestDebugCategory::showsInAMessagePattern()
{
    printTwice();
    QCOMPARE(formatted, QStringList() << QLatin1String("default: Delting Trace object ")
                                      << formatted.value(1));
    QVERIFY(formatted.value(1).startsWith(QLatin1String("default: Delting Trace object")));
}

#else

static QByteArray handled;

static void handle(QtMsgType, const char *text)
{
    handled = text;
}

void TestDebugCategory::isThatOfQDebug()
{
    const QtMsgHandler previous = qInstallMsgHandler(handle);
    delete new Trace(nullptr);
    const QByteArray own = handled;
    qDebug() << "Delting Trace object";
    qInstallMsgHandler(previous);
    QCOMPARE(own, handled); // there are no categories on Qt 4
}

void TestDebugCategory::showsInAMessagePattern()
{
    QSKIP("Qt 4 has no message patterns", SkipSingle);
}

#endif

QTEST_APPLESS_MAIN(TestDebugCategory)
#include "tst_debugcategory.moc"
