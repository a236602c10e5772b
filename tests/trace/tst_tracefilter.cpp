// SPDX-License-Identifier: LGPL-2.1-or-later

// Which lines are accepted, and what is logged when that changes.

#include "tracefixture.h"

#include <QtTest/QTest>

#include <climits>

class TestTraceFilter : public TraceFixture
{
    Q_OBJECT

private Q_SLOTS:
    void acceptsByLevelAndGroup_data();
    void acceptsByLevelAndGroup();
    void acceptsFromTheThresholdOn_data();
    void acceptsFromTheThresholdOn();
    void changesNothingForARejectedLine();
    void hasShorthandsForTracingAtDebugLevel_data();
    void hasShorthandsForTracingAtDebugLevel();
    void logsFilterChangesUnderTheOldFilter_data();
    void logsFilterChangesUnderTheOldFilter();
};

void TestTraceFilter::acceptsByLevelAndGroup_data()
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

void TestTraceFilter::acceptsByLevelAndGroup()
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

void TestTraceFilter::acceptsFromTheThresholdOn_data()
{
    QTest::addColumn<int>("threshold");
    QTest::addColumn<QString>("accepted");

    QTest::newRow("0") << 0 << text("0 1 2 3 4 5 6 7");
    QTest::newRow("1") << 1 << text("1 2 3 4 5 6 7");
    QTest::newRow("2") << 2 << text("2 3 4 5 6 7");
    QTest::newRow("3") << 3 << text("3 4 5 6 7");
    QTest::newRow("4") << 4 << text("4 5 6 7");
    QTest::newRow("5") << 5 << text("5 6 7");
    QTest::newRow("6") << 6 << text("6 7");
    QTest::newRow("100") << 100 << QString();
}

void TestTraceFilter::acceptsFromTheThresholdOn()
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
    QCOMPARE(levels.join(text(" ")), accepted);
}

void TestTraceFilter::changesNothingForARejectedLine()
{
    Trace trace(nullptr);
    keepJournal(trace);
    trace.openSysLog(text("pumpd"));
    trace.applyLogFilters(3, 8);
    trace.toggleConsolePrint();
    calls->record("gettimeofday openlog syslog closelog");
    calls->take();
    Trace::linenumber = 77;
    Trace::threadIds.clear();
    log(8, 2);
    log(1, 5);
    QCOMPARE(calls->take(), QStringList());
    QCOMPARE(messages->lines(), QStringList());
    QCOMPARE(Trace::linenumber, 77);
    QVERIFY(Trace::threadIds.isEmpty());

    log(9, 4);
    QCOMPARE(calls->take(),
             QStringList() << text("gettimeofday") << numbered(77, "on") << text("syslog 3 on"));
    QCOMPARE(messages->debugLines(), QStringList(shown(numbered(77, "on"))));
}

void TestTraceFilter::hasShorthandsForTracingAtDebugLevel_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("mask");
    QTest::addColumn<bool>("accepted");

    QTest::newRow("defaults") << 1 << defaultMask << true;
    QTest::newRow("level 2") << 2 << defaultMask << false;
    QTest::newRow("group 1") << 1 << 1 << true;
    QTest::newRow("groups but 1") << 1 << 65534 << false;
}

void TestTraceFilter::hasShorthandsForTracingAtDebugLevel()
{
    QFETCH(int, level);
    QFETCH(int, mask);
    QFETCH(bool, accepted);
    Trace trace(nullptr);
    trace.applyLogFilters(level, mask);
    keepJournal(trace);
    Trace::linenumber = 1;
    Trace::logs(text("Pump"), text("start"), text("on"));
    Trace::log(text("Pump"), text("start"), text("on"));
    QCOMPARE(calls->take(),
             accepted ? QStringList() << line("on") << numbered(2, "on") : QStringList());
}

void TestTraceFilter::logsFilterChangesUnderTheOldFilter_data()
{
    QTest::addColumn<int>("oldLevel");
    QTest::addColumn<int>("oldMask");
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("mask");
    QTest::addColumn<QStringList>("expected");

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
        {"level 7", -1, -1, 7, -1, "Setting LogLevel to: 7", nullptr},
        {"mask 8", -1, -1, -1, 8, nullptr, "Setting GroupFilter Mask to: 1000"},
        {"mask 0", -1, -1, -1, 0, nullptr, "Setting GroupFilter Mask to: 0"},
        {"mask 65535", -1, -1, -1, 65535, nullptr, "Setting GroupFilter Mask to: 1111111111111111"},
        {"mask 65536", -1, -1, -1, 65536, nullptr,
         "Setting GroupFilter Mask to: 10000000000000000"},
        {"largest mask", -1, -1, -1, INT_MAX, nullptr,
         "Setting GroupFilter Mask to: 1111111111111111111111111111111"},
        {"both", -1, -1, 2, 9, "Setting LogLevel to: 2", "Setting GroupFilter Mask to: 1001"},
        {"both, group 16", -1, -1, 2, 16, "Setting LogLevel to: 2",
         "Setting GroupFilter Mask to: 10000"},
        {"mask line under the new level, group 16", -1, -1, 3, 16, "Setting LogLevel to: 3",
         nullptr},
        {"mask line under the new level", -1, -1, 3, 8, "Setting LogLevel to: 3", nullptr},
        {"level line under the old level", 3, -1, 1, -1, nullptr, nullptr},
        {"mask line under the level just lowered", 3, -1, 1, 8, nullptr,
         "Setting GroupFilter Mask to: 1000"},
        {"level just accepted", 2, -1, 5, -1, "Setting LogLevel to: 5", nullptr},
        {"mask line under the old mask", -1, 8, -1, 65535, nullptr, nullptr},
        {"both under the old mask", -1, 8, 2, 1, nullptr, nullptr},
        {"both under the old mask, with its group", -1, 8, 1, 9, nullptr, nullptr},
        {"negative both", -1, -1, -1, -1, nullptr, nullptr},
        {"most negative both", -1, -1, INT_MIN, INT_MIN, nullptr, nullptr},
    };
    for (const auto &row : rows) {
        QStringList lines;
        for (const char *const entry : {row.levelLine, row.maskLine}) {
            if (entry)
                lines << own(int(lines.size()) + 1, "applyLogFilters", entry);
        }
        QTest::newRow(row.name) << row.oldLevel << row.oldMask << row.level << row.mask << lines;
    }
}

void TestTraceFilter::logsFilterChangesUnderTheOldFilter()
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
    for (const int group : {1, 8, 16, 65536, 0x40000000}) {
        for (const int tried : {threshold - 1, threshold, 0, 1, 2, 3, 4, 5, 6}) {
            log(group, tried);
            QCOMPARE(!lines.lines.isEmpty(), (group & groups) != 0 && tried >= threshold);
            lines.lines.clear();
        }
    }
}

int main(int argc, char *argv[])
{
    return runTraceTest<TestTraceFilter>(argc, argv);
}

#include "tst_tracefilter.moc"
