// SPDX-License-Identifier: LGPL-2.1-or-later
#include "libccalls.h"
#include "privatemounts.h"
#include "random.h"
#include "skip.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QScopedPointer>
#include <QtCore/QTime>
#include <QtTest/QTest>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <limits>
#include <stdlib.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

Q_DECLARE_METATYPE(long)

/**
 * QtTest's watchdog reads the environment in a thread of its own, while the tests change it, which
 * the C library does not allow. It finds nothing there.
 */
extern "C" __attribute__((visibility("default"))) char *getenv(const char *name) noexcept
{
    static const pid_t mainThread = getpid();
    if (syscall(SYS_gettid) != mainThread)
        return nullptr;
    static const auto call = reinterpret_cast<char *(*)(const char *)>(dlsym(RTLD_NEXT, "getenv"));
    return call(name);
}

static void setTimeZone(const char *zone)
{
    setenv("TZ", zone, 1);
}

class TestTimestamp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { calls.reset(new LibcCalls); }
    void cleanup() { calls.reset(); }

    void isLocalTimeWithMilliseconds_data();
    void isLocalTimeWithMilliseconds();
    void followsTheZonesOfTheSystem_data();
    void followsTheZonesOfTheSystem();
    void followsAChangedZone();
    void followsTheZoneInAnyEnvironment();
    void followsTheZoneOfTheSystem();
    void equalsThePlainForm();
    void restoresAChangedBuffer();
    void cutsMicroseconds_data();
    void cutsMicroseconds();
    void knowsYearsOfAnyLength();
    void hasMillisecondsOnlyIfTheClockFails();
    void isInTheSameBufferAlways();
    void asksTheClockOncePerCall();
    void endsInAZero();
    void followsAVariableThatIsRenamed();

private:
    QScopedPointer<LibcCalls> calls;
};

void TestTimestamp::isLocalTimeWithMilliseconds_data()
{
    const char *const utc = "UTC0";
    const char *const danish = "CET-1CEST,M3.5.0,M10.5.0/3";
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<long>("microseconds");
    QTest::addColumn<QByteArray>("timestamp");

    QTest::newRow("epoch") << QByteArray(utc) << qint64(0) << 0L
                           << QByteArray("1970-01-01 00:00:00.000");
    QTest::newRow("before the epoch")
        << QByteArray(utc) << qint64(-1) << 0L << QByteArray("1969-12-31 23:59:59.000");
    QTest::newRow("afternoon") << QByteArray(utc) << qint64(1709298245) << 42000L
                               << QByteArray("2024-03-01 13:04:05.042");
    QTest::newRow("leap day") << QByteArray(utc) << qint64(1709251199) << 999000L
                              << QByteArray("2024-02-29 23:59:59.999");
    QTest::newRow("last second of 31 bits")
        << QByteArray(utc) << qint64(2147483647) << 1000L << QByteArray("2038-01-19 03:14:07.001");
    QTest::newRow("winter") << QByteArray(danish) << qint64(1709298245) << 42000L
                            << QByteArray("2024-03-01 14:04:05.042");
    QTest::newRow("last of winter") << QByteArray(danish) << qint64(1711846799) << 999999L
                                    << QByteArray("2024-03-31 01:59:59.999");
    QTest::newRow("first of summer")
        << QByteArray(danish) << qint64(1711846800) << 0L << QByteArray("2024-03-31 03:00:00.000");
    QTest::newRow("last of summer") << QByteArray(danish) << qint64(1729990799) << 999999L
                                    << QByteArray("2024-10-27 02:59:59.999");
    QTest::newRow("first of winter")
        << QByteArray(danish) << qint64(1729990800) << 0L << QByteArray("2024-10-27 02:00:00.000");
    QTest::newRow("half-hour zone")
        << QByteArray("<+0530>-5:30") << qint64(0) << 0L << QByteArray("1970-01-01 05:30:00.000");
    QTest::newRow("west") << QByteArray("EST5") << qint64(0) << 0L
                          << QByteArray("1969-12-31 19:00:00.000");
}

void TestTimestamp::isLocalTimeWithMilliseconds()
{
    QFETCH(QByteArray, zone);
    QFETCH(qint64, seconds);
    QFETCH(long, microseconds);
    QFETCH(QByteArray, timestamp);

    setTimeZone(zone.constData());
    calls->setTimeOfDay(time_t(seconds), microseconds);
    QCOMPARE(QByteArray(updateTimestamp()), timestamp);
}

void TestTimestamp::followsTheZonesOfTheSystem_data()
{
    QTest::addColumn<qint64>("seconds");
    QTest::addColumn<QByteArray>("timestamp");

    QTest::newRow("winter") << qint64(1709298245) << QByteArray("2024-03-01 14:04:05.042");
    QTest::newRow("last of winter") << qint64(1711846799) << QByteArray("2024-03-31 01:59:59.042");
    QTest::newRow("first of summer") << qint64(1711846800) << QByteArray("2024-03-31 03:00:00.042");
    QTest::newRow("last of summer") << qint64(1729990799) << QByteArray("2024-10-27 02:59:59.042");
    QTest::newRow("first of winter") << qint64(1729990800) << QByteArray("2024-10-27 02:00:00.042");
    QTest::newRow("no summer time yet")
        << qint64(236000000) << QByteArray("1977-06-24 12:33:20.042");
}

void TestTimestamp::followsTheZonesOfTheSystem()
{
    QFETCH(qint64, seconds);
    QFETCH(QByteArray, timestamp);
    if (!QFile::exists(QLatin1String("/usr/share/zoneinfo/Europe/Copenhagen")))
        SKIP_TEST("no time zones are installed; apt-get install tzdata provides them");

    setTimeZone("Europe/Copenhagen");
    calls->setTimeOfDay(time_t(seconds), 42000);
    QCOMPARE(QByteArray(updateTimestamp()), timestamp);
}

void TestTimestamp::followsAChangedZone()
{
    calls->setTimeOfDay(1709298245, 42000);
    setTimeZone("UTC0");
    QCOMPARE(QByteArray(updateTimestamp()), QByteArray("2024-03-01 13:04:05.042"));
    setTimeZone("JST-9");
    QCOMPARE(QByteArray(updateTimestamp()), QByteArray("2024-03-01 22:04:05.042"));
    setTimeZone("UTC0");
    QCOMPARE(QByteArray(updateTimestamp()), QByteArray("2024-03-01 13:04:05.042"));
}

/** The timestamp as it is laid down, with everything done each time. */
static QByteArray plainTimestamp(time_t seconds, long microseconds)
{
    char text[256];
    char milliseconds[32];
    const tm *const local = localtime(&seconds);
    if (!local || strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", local) == 0)
        text[0] = '\0';
    std::snprintf(milliseconds, sizeof milliseconds, ".%3.3ld", microseconds / 1000);
    std::strncat(text, milliseconds, sizeof text - 1 - std::strlen(text));
    return text;
}

/** Another environment than the one of the process, for as long as the object lives. */
class Environment
{
public:
    /** @param entries in memory of their own, or none for no environment at all */
    explicit Environment(std::vector<char *> *entries)
        : saved(environ)
    {
        environ = entries ? entries->data() : nullptr;
    }
    ~Environment() { environ = saved; }

private:
    Q_DISABLE_COPY(Environment)

    char **const saved;
};

void TestTimestamp::followsTheZoneInAnyEnvironment()
{
    const QByteArray inUtc = "2024-03-01 13:04:05.042";
    const QByteArray inTokyo = "2024-03-01 22:04:05.042";
    char other[] = "OTHER=TZ=JST-9";
    char similar[] = "TZX=JST-9";
    char utc[] = "TZ=UTC0";
    char tokyo[] = "TZ=JST-9";
    calls->setTimeOfDay(1709298245, 42000);

    std::vector<char *> entries = {other, similar, utc, nullptr};
    const Environment environment(&entries);
    QCOMPARE(QByteArray(updateTimestamp()), inUtc);
    entries[2] = tokyo;
    QCOMPARE(QByteArray(updateTimestamp()), inTokyo);
    std::memcpy(tokyo, utc, sizeof utc); // as putenv() allows
    QCOMPARE(QByteArray(updateTimestamp()), inUtc);
    std::strcpy(tokyo, "TZ=JST-9");
    QCOMPARE(QByteArray(updateTimestamp()), inTokyo);
    std::swap(entries[0], entries[2]);
    QCOMPARE(QByteArray(updateTimestamp()), inTokyo);
    entries[0] = utc;
    QCOMPARE(QByteArray(updateTimestamp()), inUtc);

    std::vector<char *> longer(200, other);
    longer[150] = tokyo;
    longer.push_back(nullptr);
    const Environment long_(&longer);
    QCOMPARE(QByteArray(updateTimestamp()), inTokyo);
    longer[150] = utc;
    QCOMPARE(QByteArray(updateTimestamp()), inUtc);
    longer[63] = tokyo; // comes first
    QCOMPARE(QByteArray(updateTimestamp()), inTokyo);
    longer[63] = nullptr;
    const QByteArray inSystemZone = plainTimestamp(1709298245, 42000);
    QCOMPARE(QByteArray(updateTimestamp()), inSystemZone);
    longer[63] = tokyo;
    QCOMPARE(QByteArray(updateTimestamp()), inTokyo);

    std::vector<char *> empty(1, nullptr);
    const Environment none(&empty);
    QCOMPARE(QByteArray(updateTimestamp()), inSystemZone);
    const Environment nothing(nullptr);
    QCOMPARE(QByteArray(updateTimestamp()), inSystemZone);
}

/** What is read when TZ is not set is another file's content from the next second on. */
void TestTimestamp::followsTheZoneOfTheSystem()
{
    const char tokyo[] = "/usr/share/zoneinfo/Asia/Tokyo";
    const char systemZone[] = "/etc/localtime";
    const time_t now = 1709298245;
    const QString problem = privateMountsProblem();
    if (!problem.isEmpty())
        SKIP_TEST(qPrintable(problem));
    if (!QFile::exists(QLatin1String(tokyo)) || !QFile::exists(QLatin1String(systemZone)))
        SKIP_TEST("no time zones are installed; apt-get install tzdata provides them");

    unsetenv("TZ");
    calls->setTimeOfDay(now, 42000);
    const QByteArray before = plainTimestamp(now, 42000);
    QCOMPARE(QByteArray(updateTimestamp()), before);
    {
        const MountedFile file(tokyo, systemZone);
        QVERIFY(file.isMounted());
        calls->setTimeOfDay(now + 1, 42000);
        QCOMPARE(QByteArray(updateTimestamp()), QByteArray("2024-03-01 22:04:06.042"));
    }
    calls->setTimeOfDay(now, 42000);
    QCOMPARE(QByteArray(updateTimestamp()), before);
}

void TestTimestamp::equalsThePlainForm()
{
    const QByteArray longText = QByteArray(70, 'L') + "-3";
    const char *const zones[] = {nullptr,
                                 nullptr,
                                 "",
                                 ":",
                                 "UTC0",
                                 "UTC1",
                                 "UTC",
                                 "JST-9",
                                 "CET-1CEST,M3.5.0,M10.5.0/3",
                                 "CET-1CEST,M3.5.0,M10.5.0/2",
                                 ":Europe/Copenhagen",
                                 "America/St_Johns",
                                 "nowhere",
                                 "<+0530>-5:30",
                                 longText.constData()};
    const char *const others[] = {"A", "T", "TZX", "XTZ", "Z"};
    const time_t starts[] = {0, -1, 1709298245, 1711846799, 1729990799, 2147483646};
    Random random(20240301);
    const int cases = randomCases(100000);
    time_t seconds = 0;
    for (int i = 0; i < cases; ++i) {
        const int step = random.below(16);
        if (step == 0)
            seconds = random.oneOf(starts);
        else if (step == 1)
            ++seconds;
        if (step == 2 || step == 3) {
            const char *const zone = random.oneOf(zones);
            if (zone)
                setTimeZone(zone);
            else
                unsetenv("TZ");
        }
        if (step == 4)
            setenv(random.oneOf(others), "TZ=UTC1", 1);
        if (step == 5)
            unsetenv(random.oneOf(others));
        const long microseconds = random.below(1000000);
        calls->setTimeOfDay(seconds, microseconds);
        const QByteArray timestamp = updateTimestamp();
        QCOMPARE(timestamp, plainTimestamp(seconds, microseconds));
    }
}

/** The buffer is at the disposal of whoever has asked for it. */
void TestTimestamp::restoresAChangedBuffer()
{
    const QByteArray expected = "2024-03-01 13:04:05.042";
    setTimeZone("UTC0");
    calls->setTimeOfDay(1709298245, 42000);
    char *const buffer = updateTimestamp();
    QCOMPARE(QByteArray(buffer), expected);
    std::memset(buffer, 'x', 200);
    QCOMPARE(QByteArray(updateTimestamp()), expected);
}

void TestTimestamp::cutsMicroseconds_data()
{
    QTest::addColumn<long>("microseconds");
    QTest::addColumn<QByteArray>("milliseconds");

    QTest::newRow("0") << 0L << QByteArray(".000");
    QTest::newRow("999") << 999L << QByteArray(".000");
    QTest::newRow("1000") << 1000L << QByteArray(".001");
    QTest::newRow("9999") << 9999L << QByteArray(".009");
    QTest::newRow("10000") << 10000L << QByteArray(".010");
    QTest::newRow("99999") << 99999L << QByteArray(".099");
    QTest::newRow("100000") << 100000L << QByteArray(".100");
    QTest::newRow("500500") << 500500L << QByteArray(".500");
    QTest::newRow("999999") << 999999L << QByteArray(".999");
}

void TestTimestamp::cutsMicroseconds()
{
    QFETCH(long, microseconds);
    QFETCH(QByteArray, milliseconds);

    setTimeZone("UTC0");
    calls->setTimeOfDay(1709298245, microseconds);
    QCOMPARE(QByteArray(updateTimestamp()), QByteArray("2024-03-01 13:04:05") + milliseconds);
}

void TestTimestamp::knowsYearsOfAnyLength()
{
    if (std::numeric_limits<time_t>::digits < 63)
        SKIP_TEST("32 bits of time end in 2038; a 64-bit machine has more");
    setTimeZone("UTC0");
    calls->setTimeOfDay(time_t(Q_INT64_C(253402300800)), 0);
    QCOMPARE(QByteArray(updateTimestamp()), QByteArray("10000-01-01 00:00:00.000"));
    calls->setTimeOfDay(time_t(Q_INT64_C(67767976233532799)), 999999);
    QCOMPARE(QByteArray(updateTimestamp()), QByteArray("2147483647-12-31 23:59:59.999"));
    // No year that localtime() could tell.
    calls->setTimeOfDay(std::numeric_limits<time_t>::max(), 42000);
    QCOMPARE(QByteArray(updateTimestamp()), QByteArray(".042"));
}

void TestTimestamp::hasMillisecondsOnlyIfTheClockFails()
{
    setTimeZone("UTC0");
    calls->setTimeOfDay(1709298245, 42000);
    QCOMPARE(QByteArray(updateTimestamp()), QByteArray("2024-03-01 13:04:05.042"));
    calls->fail("gettimeofday", EINVAL);
    QCOMPARE(QByteArray(updateTimestamp()), QByteArray(".000"));
    calls->stopFailing();
    calls->setTimeOfDay(1709298246, 43000);
    QCOMPARE(QByteArray(updateTimestamp()), QByteArray("2024-03-01 13:04:06.043"));
}

void TestTimestamp::isInTheSameBufferAlways()
{
    setTimeZone("UTC0");
    calls->setTimeOfDay(1709298245, 42000);
    char *const first = updateTimestamp();
    calls->setTimeOfDay(1709298246, 43000);
    QCOMPARE(static_cast<void *>(updateTimestamp()), static_cast<void *>(first));
    QCOMPARE(QByteArray(first), QByteArray("2024-03-01 13:04:06.043"));

    char *inThread = nullptr;
    std::thread thread([&inThread] { inThread = updateTimestamp(); });
    thread.join();
    QCOMPARE(static_cast<void *>(inThread), static_cast<void *>(first));
}

void TestTimestamp::asksTheClockOncePerCall()
{
    calls->record("gettimeofday");
    updateTimestamp();
    QCOMPARE(calls->take(), QStringList(QLatin1String("gettimeofday")));
}

void TestTimestamp::endsInAZero()
{
    setTimeZone("UTC0");
    calls->setTimeOfDay(1709298245, 42000);
    char *const buffer = updateTimestamp();
    std::memset(buffer, 'x', 256);
    QCOMPARE(static_cast<void *>(updateTimestamp()), static_cast<void *>(buffer));
    QCOMPARE(QByteArray(buffer), QByteArray("2024-03-01 13:04:05.042"));
    QCOMPARE(int(buffer[255]), 0);
}

/** A TZ that appears, and changes, without a new variable. */
void TestTimestamp::followsAVariableThatIsRenamed()
{
    calls->setTimeOfDay(1709298245, 42000);
    char renamed[] = "XZ=JST-9";
    char path[] = "PATH=/bin";
    char *entries[] = {path, renamed, nullptr};
    char **const saved = environ;
    environ = entries;
    updateTimestamp();
    std::memcpy(renamed, "TZ", 2);
    const QByteArray inJapan = updateTimestamp();
    std::memcpy(renamed + 3, "UTC0\0", 6);
    const QByteArray universal = updateTimestamp();
    environ = saved;
    QCOMPARE(inJapan, QByteArray("2024-03-01 22:04:05.042"));
    QCOMPARE(universal, QByteArray("2024-03-01 13:04:05.042"));
}

int main(int argc, char *argv[])
{
    enterPrivateMounts();
    TestTimestamp test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_timestamp.moc"
