// SPDX-License-Identifier: LGPL-2.1-or-later

// What a message handler of the application is told about the library's debug lines.

#include "handledmessages.h"
#include "skip.h"
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

/** Destroys a Trace, which says so, and prints the same with qDebug(). */
static void printTwice()
{
    delete new Trace(nullptr);
    qDebug() << "Delting Trace object";
}

void TestDebugCategory::isThatOfQDebug()
{
    const HandledMessages messages;
    printTwice();
    const QString expected = messages.haveCategories() ? QString::fromLatin1("default") : QString();
    QCOMPARE(messages.categories(), QStringList() << expected << expected);
}

void TestDebugCategory::showsInAMessagePattern()
{
    if (!HandledMessages::haveCategories())
        SKIP_TEST("Qt 4 has no message patterns; any later Qt has them");
    const HandledMessages messages;
    printTwice();
    const QStringList formatted = messages.formatted();
    QCOMPARE(formatted, QStringList() << QLatin1String("default: Delting Trace object ")
                                      << formatted.value(1));
    QVERIFY(formatted.value(1).startsWith(QLatin1String("default: Delting Trace object")));
}

QTEST_APPLESS_MAIN(TestDebugCategory)
#include "tst_debugcategory.moc"
