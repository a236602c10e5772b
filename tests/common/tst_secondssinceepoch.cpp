// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qtcompat/time.h"

#include <QtTest/QTest>

#include <ctime>

class TestSecondsSinceEpoch : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void countsSecondsUpToTheLargest_data();
    void countsSecondsUpToTheLargest();
    void isTheSameInEveryZone();
};

void TestSecondsSinceEpoch::countsSecondsUpToTheLargest_data()
{
    QTest::addColumn<qint64>("milliseconds");
    QTest::addColumn<uint>("expected");

    const uint largest = 4294967295U;
    QTest::newRow("begin") << qint64(0) << 0U;
    QTest::newRow("less than a second") << qint64(999) << 0U;
    QTest::newRow("one second") << qint64(1000) << 1U;
    QTest::newRow("just before the begin") << qint64(-1) << largest;
    QTest::newRow("1969") << qint64(-1000) << largest;
    QTest::newRow("2024") << Q_INT64_C(1709298245042) << 1709298245U;
    QTest::newRow("2038, last signed second") << Q_INT64_C(2147483647999) << 2147483647U;
    QTest::newRow("2038, one more") << Q_INT64_C(2147483648000) << 2147483648U;
    QTest::newRow("2106, last but one") << Q_INT64_C(4294967294999) << 4294967294U;
    QTest::newRow("2106, too late") << Q_INT64_C(4294967295000) << largest;
    QTest::newRow("2106, and one more") << Q_INT64_C(4294967296000) << largest;
    QTest::newRow("9999") << Q_INT64_C(253402300799000) << largest;
}

void TestSecondsSinceEpoch::countsSecondsUpToTheLargest()
{
    QFETCH(qint64, milliseconds);
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(milliseconds);
    const uint actual = qvcommon::secondsSinceEpoch(time);
    QTEST(actual, "expected");
    const uint actualInUtc = qvcommon::secondsSinceEpoch(time.toUTC());
    QTEST(actualInUtc, "expected");
}

void TestSecondsSinceEpoch::isTheSameInEveryZone()
{
    const QDateTime utc(QDate(2024, 3, 1), QTime(13, 4, 5, 42), Qt::UTC);
    for (const char *zone : {"UTC", "Europe/Copenhagen", "America/New_York", "Asia/Kolkata"}) {
        qputenv("TZ", zone);
        tzset();
        QCOMPARE(qvcommon::secondsSinceEpoch(utc.toLocalTime()), 1709298245U);
    }
}

QTEST_APPLESS_MAIN(TestSecondsSinceEpoch)

#include "tst_secondssinceepoch.moc"
