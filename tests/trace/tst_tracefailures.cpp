// SPDX-License-Identifier: LGPL-2.1-or-later

// Lines that are not finished, because a slot throws or memory runs out, and very long ones.

#include "loghandler.h"
#include "messagelog.h"
#include "skip.h"
#include "trace.h"

#include <QtTest/QTest>

#include <malloc.h>
#include <new>

#if defined(__has_feature)
#    if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#        define SANITIZER_ALLOCATES
#    endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#    define SANITIZER_ALLOCATES
#endif

#ifndef SANITIZER_ALLOCATES

/** Allocations of the calling thread that are larger than this fail, if it is not 0. */
static __thread size_t largest = 0;

extern "C" void *__libc_malloc(size_t size);

extern "C" __attribute__((visibility("default"))) void *malloc(size_t size) noexcept
{
    return largest != 0 && size > largest ? nullptr : __libc_malloc(size);
}

#else

static const char sanitizerAllocates[] =
    "the sanitizer has its own allocator; the release build runs this test";

#endif

static const QString app = QLatin1String("app");

static void log(const QString &className)
{
    Trace::log(8, 4, className, app, QLatin1String("message"));
}

/** Throws while it is told to, and keeps the numbers of the lines. */
class Thrower : public QObject
{
    Q_OBJECT
public:
    bool throwing = false;
    QStringList numbers;
public Q_SLOTS:
    void line(const QString &text)
    {
        numbers << text.left(5).trimmed();
        if (throwing)
            throw 42;
    }
};

class TestTraceFailures : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { Trace::linenumber = 1; }
    void goesOnAfterASlotThatThrows();
    void goesOnWhenMemoryWasShort();
    void keepsNoMemoryOfALongLine();
};

static bool isLockFree()
{
    const bool free = Trace::traceMutex.tryLock();
    if (free)
        Trace::traceMutex.unlock();
    return free;
}

void TestTraceFailures::goesOnAfterASlotThatThrows()
{
    const MessageLog quiet;
    Trace trace(nullptr);
    Thrower thrower;
    connect(&trace, SIGNAL(LogMessage(QString)), &thrower, SLOT(line(QString)),
            Qt::DirectConnection);
    thrower.throwing = true;
    int caught = 0;
    try {
        log(app);
    } catch (int number) {
        caught = number;
    }
    QCOMPARE(caught, 42);
    QVERIFY(isLockFree());
    QCOMPARE(Trace::linenumber, 2);
    thrower.throwing = false;
    log(app);
    QCOMPARE(thrower.numbers, QStringList() << QLatin1String("1") << QLatin1String("2"));
    // The destructor of a handler does not wait for the line that was left.
    LogHandler(nullptr, false).flush();
}

void TestTraceFailures::goesOnWhenMemoryWasShort()
{
#ifdef SANITIZER_ALLOCATES
    SKIP_TEST(sanitizerAllocates);
#else
    const MessageLog quiet;
    Trace trace(nullptr);
    Thrower thrower;
    connect(&trace, SIGNAL(LogMessage(QString)), &thrower, SLOT(line(QString)),
            Qt::DirectConnection);
    const QString longName(100000, QLatin1Char('x'));
    bool caught = false;
    largest = 100000;
    try {
        log(longName);
    } catch (const std::bad_alloc &) {
        caught = true;
    }
    largest = 0;
    QVERIFY(caught);
    QVERIFY(isLockFree());
    QCOMPARE(Trace::linenumber, 1); // nobody has seen a line with this number
    log(app);
    QCOMPARE(thrower.numbers, QStringList(QLatin1String("1")));
#endif
}

void TestTraceFailures::keepsNoMemoryOfALongLine()
{
#ifdef SANITIZER_ALLOCATES
    SKIP_TEST(sanitizerAllocates);
#else
    const MessageLog quiet;
    Trace trace(nullptr);
    log(app);
    const QString longName(5000000, QLatin1Char('x'));
    const struct mallinfo2 before = mallinfo2();
    log(longName);
    const struct mallinfo2 after = mallinfo2();
    const qint64 kept =
        qint64(after.uordblks + after.hblkhd) - qint64(before.uordblks + before.hblkhd);
    QVERIFY2(kept < 100000, qPrintable(QString::number(kept)));
#endif
}

QTEST_MAIN(TestTraceFailures)
#include "tst_tracefailures.moc"
