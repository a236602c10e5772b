// SPDX-License-Identifier: LGPL-2.1-or-later

// What a line costs: allocations, and the lock.

#include "allocations.h"
#include "skip.h"
#include "tracefixture.h"

#include <QtTest/QTest>

namespace
{

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

const char allocationsUnknown[] = "a sanitizer owns the allocator; build with -DQVCOMMON_SANITIZE=";

} // namespace

class TestTraceAllocations : public TraceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void buildsALineInOneAllocation_data();
    void buildsALineInOneAllocation();
    void rejectsWithoutLockOrAllocation();
};

void TestTraceAllocations::buildsALineInOneAllocation_data()
{
    QTest::addColumn<QString>("message");

    QTest::newRow("short") << letters(79);
    QTest::newRow("white space") << blanks(79);
    QTest::newRow("long") << letters(80);
    QTest::newRow("split") << letters(359);
    QTest::newRow("percent signs") << text("100 %, or %d of %s") + letters(50) + text("%");
}

void TestTraceAllocations::buildsALineInOneAllocation()
{
    QFETCH(QString, message);
    const QString pump = text("Pump");
    const QString start = text("start");
    calls.reset(); // keeping a journal takes memory, too
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

void TestTraceAllocations::rejectsWithoutLockOrAllocation()
{
    const QString pump = text("Pump");
    const QString start = text("start");
    const QString message = letters(100);
    calls.reset(); // keeping a journal takes memory, too
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
    const QString copy(message.constData(), message.size());
    QVERIFY(allocations() > after);
    QCOMPARE(copy, message);
}

int main(int argc, char *argv[])
{
    return runTraceTest<TestTraceAllocations>(argc, argv);
}

#include "tst_traceallocations.moc"
