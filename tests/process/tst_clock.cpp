// SPDX-License-Identifier: LGPL-2.1-or-later

// A clock that is set back and forth each time that somebody looks. What is promised: lines keep their
// order and their numbers and show what the clock said; the flush timer and the client's attempts to
// connect do not depend on it.

#include "kivfixture.h"
#include "logfolder.h"
#include "loghandler.h"
#include "scripteddaemon.h"
#include "waiting.h"

#include <QtTest/QtTest>

#include <atomic>
#include <ctime>
#include <dlfcn.h>
#include <sys/time.h>
#include <unistd.h>

namespace
{

std::atomic<bool> jumping(false);
std::atomic<unsigned> looks(0);

/** How far off the clock is this time. */
time_t nextJump()
{
    const time_t hour = 3600;
    const time_t year = 365 * 24 * hour;
    const time_t jumps[] = {0, -hour, hour, -20 * year, 10 * year, -1, 1};
    return jumping ? jumps[++looks % (sizeof jumps / sizeof *jumps)] : 0;
}

} // namespace

// The program's own definitions come before the C library's, for the library and for Qt too.
#pragma GCC visibility push(default)
extern "C" {

int gettimeofday(timeval *time, void *zone) noexcept
{
    typedef int (*Call)(timeval *, void *);
    static const Call call = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "gettimeofday"));
    const int result = call(time, zone);
    time->tv_sec += nextJump();
    return result;
}

int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    typedef int (*Call)(clockid_t, timespec *);
    static const Call call = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = call(clock, time);
    if (clock == CLOCK_REALTIME)
        time->tv_sec += nextJump();
    return result;
}

time_t time(time_t *result) noexcept
{
    typedef time_t (*Call)(time_t *);
    static const Call call = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "time"));
    const time_t now = call(nullptr) + nextJump();
    if (result)
        *result = now;
    return now;
}
}
#pragma GCC visibility pop

class TestClock : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup() { jumping = false; }
    void keepsTheOrderOfLines();
    void flushesAndConnectsAllTheSame();
};

void TestClock::keepsTheOrderOfLines()
{
    const MessageLog quiet;
    Trace trace(nullptr);
    TraceLog log(&trace);
    jumping = true;
    const int first = Trace::linenumber;
    const int count = 700;
    for (int i = 0; i < count; ++i)
        Trace::log(8, 4, QLatin1String("Clock"), QLatin1String("log"), QString::number(i));
    jumping = false;
    QCOMPARE(int(log.lines.size()), count);
    QStringList years;
    for (int i = 0; i < count; ++i) {
        const QString line = log.lines.at(i);
        QCOMPARE(line.left(line.indexOf(QLatin1String(" Clock"))).trimmed().toInt(), first + i);
        const QString time = line.section(QLatin1String(", "), 2);
        QCOMPARE(int(time.size()), 23);
        years << time.left(4);
    }
    years.removeDuplicates();
    QVERIFY(years.size() >= 3);
}

void TestClock::flushesAndConnectsAllTheSame()
{
    jumping = true;
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    KivFixture fixture(KivFixture::RunningTimers);
    KivInterface::updateDomainServerIpAddress(QLatin1String("127.0.0.1"), domain.port());
    KivInterface::domainServerActivateTcpConnection(true);
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), QLatin1String("app")));
    flushAfterEachLogMsg = false;
    handler.logMessage(QLatin1String("line"));
    QCOMPARE(folder.read(0), QByteArray());
    QByteArray said;
    bool flushed = false;
    {
        StandardOutput output;
        handler.startFlushTimer();
        flushed = spinUntil([&]() { return folder.read(0) == "line\n"; });
        said = output.take();
    }
    flushAfterEachLogMsg = true;
    QVERIFY(flushed);
    QVERIFY(said.startsWith("onTimeout\n"));
    QVERIFY(spinUntil(
        [&]() { return local.lastReceived() == handshake && domain.lastReceived() == handshake; }));
    QVERIFY(looks > 0);
}

QTEST_MAIN(TestClock)
#include "tst_clock.moc"
