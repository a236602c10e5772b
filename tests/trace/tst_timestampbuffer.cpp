// SPDX-License-Identifier: LGPL-2.1-or-later

// The buffer of updateTimestamp() as a whole, and a TZ that appears without a new variable.

#include "trace.h"

#include <QtTest/QTest>

#include <cstring>
#include <ctime>
#include <stdlib.h>
#include <unistd.h>

class TestTimestampBuffer : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void endsInAZero();
    void followsAVariableThatIsRenamed();
};

void TestTimestampBuffer::endsInAZero()
{
    char *const buffer = updateTimestamp();
    std::memset(buffer, 'x', 256);
    QCOMPARE(updateTimestamp(), buffer);
    QCOMPARE(int(std::strlen(buffer)), int(std::strlen("2024-03-01 13:04:05.042")));
    QCOMPARE(int(buffer[255]), 0);
    QCOMPARE(buffer[254], 'x');
}

/** The hour in the timestamp, which is of a second that does not end between two calls. */
static int hour()
{
    return QByteArray(updateTimestamp()).mid(11, 2).toInt();
}

void TestTimestampBuffer::followsAVariableThatIsRenamed()
{
    char renamed[] = "XZ=JST-9";
    char path[] = "PATH=/bin";
    char *entries[] = {path, renamed, nullptr};
    char **const saved = environ;
    environ = entries;
    int before, after;
    time_t second;
    do {
        std::memcpy(renamed, "XZ", 2);
        second = time(nullptr);
        updateTimestamp();
        std::memcpy(renamed, "TZ", 2);
        after = hour();
        std::memcpy(renamed + 3, "UTC0\0", 6);
        before = hour();
        std::memcpy(renamed + 3, "JST-9", 6);
    } while (time(nullptr) != second);
    environ = saved;
    QCOMPARE(after, (before + 9) % 24);
}

QTEST_APPLESS_MAIN(TestTimestampBuffer)
#include "tst_timestampbuffer.moc"
