// SPDX-License-Identifier: LGPL-2.1-or-later

// The number that a line shows for its thread.

#include "random.h"
#include "tracefixture.h"

#include <QtTest/QTest>

class TestThreadOrdinals : public TraceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void remembersThreadsInOrder();
    void findsAThreadThatHasLogged();
    void findsAThreadInWhateverListThereIs();
};

void TestThreadOrdinals::remembersThreadsInOrder()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    log("on");
    log("on");
    QCOMPARE(Trace::threadIds, QList<int>() << thisThread());
    QCOMPARE(lines.lines, QStringList() << line("on") << numbered(2, "on"));
}

void TestThreadOrdinals::findsAThreadThatHasLogged()
{
    Trace trace(nullptr);
    TraceLog lines(&trace);
    QList<int> ids;
    for (int id = 1; id <= 1233; ++id)
        ids << (thisThread() ^ id);
    Trace::threadIds = ids;
    Trace::threadIds.insert(2, thisThread());
    log("on");
    QCOMPARE(lines.lines.at(0), names(1) + pad(text("on"), 80) + tail(3));
    QCOMPARE(Trace::threadIds.size(), ids.size() + 1);
    Trace::threadIds = ids;
    log("on");
    QCOMPARE(lines.lines.at(1), names(2) + pad(text("on"), 80) + tail(1234));
    QCOMPARE(Trace::threadIds, ids << thisThread());
}

/** The list is public: each line looks at it as it is then. */
void TestThreadOrdinals::findsAThreadInWhateverListThereIs()
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
        const QString ordinal = text(", tid=%1, ").arg(expected.indexOf(thisThread()) + 1);
        if (!lines.lines.last().contains(ordinal) || Trace::threadIds != expected)
            QFAIL(qPrintable(QString::number(i) + lines.lines.last()));
        lines.lines.clear();
    }
}

int main(int argc, char *argv[])
{
    return runTraceTest<TestThreadOrdinals>(argc, argv);
}

#include "tst_threadordinals.moc"
