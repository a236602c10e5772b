// SPDX-License-Identifier: LGPL-2.1-or-later

// Tests a part of an application against the stand-in for the daemon. The library always goes to
// /tmp/kivd, so the test has a /tmp of its own:
//
//     cmake -S . -B build && cmake --build build && (cd build && ctest)
//     ./private-tmp build/tst_limitwatch            the same by hand, with any option of QtTest
//
// Each test starts its own stand-in with the data that it needs, and edits the data as the device
// would. It waits for signals, never for a time.

#include "limitwatch.h"

#include "kivinterface.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QScopedPointer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

/** Waits until a signal has come so many times. @return whether it has */
static bool waitFor(const QSignalSpy &spy, int times)
{
    const int patience = 10000; // ms; only a test that fails takes them
    for (int waited = 0; spy.count() < times && waited < patience; waited += 10)
        QTest::qWait(10);
    return spy.count() == times;
}

class TestLimitWatch : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void saysWhenTheLimitIsExceeded();
    void repeatsNothing();
    void goesOnAfterARestart();

private:
    void startStandIn(int number);
    void stopStandIn();
    void connectToStandIn();
    void setNumber(int number);

    QScopedPointer<QProcess> standIn;
    QScopedPointer<KivInterface> kiv;
    QScopedPointer<LimitWatch> watch;
};

void TestLimitWatch::init()
{
    startStandIn(20);
    kiv.reset(new KivInterface(nullptr));
    watch.reset(new LimitWatch(kiv.data(), "/state/temperature", 80));
    connectToStandIn();
}

void TestLimitWatch::cleanup()
{
    watch.reset();
    kiv.reset();
    stopStandIn();
}

void TestLimitWatch::startStandIn(int number)
{
    QFile data("/tmp/device.xml");
    QVERIFY(data.open(QIODevice::WriteOnly));
    data.write(QString("<device><state><temperature>%1</temperature></state></device>")
                   .arg(number)
                   .toUtf8());
    data.close();
    standIn.reset(new QProcess);
    standIn->start(KIVSIM, QStringList() << "--data" << data.fileName());
    QVERIFY2(standIn->waitForReadyRead(), KIVSIM " does not start"); // it says when it listens
}

void TestLimitWatch::stopStandIn()
{
    standIn->terminate();
    QVERIFY(standIn->waitForFinished());
    standIn.reset();
}

void TestLimitWatch::connectToStandIn()
{
    QSignalSpy connected(kiv.data(), SIGNAL(kivLocalUnixSocketConnectedSignal()));
    kiv->connectToLocalKivSocketSlot(); // at once, not after seconds
    QVERIFY(waitFor(connected, 1));
}

void TestLimitWatch::setNumber(int number)
{
    const QString element = QString("<temperature>%1</temperature>").arg(number);
    QVERIFY(KivInterface::requestDataEdit("test", "/state/temperature", "patch", element));
}

void TestLimitWatch::saysWhenTheLimitIsExceeded()
{
    QSignalSpy exceeded(watch.data(), SIGNAL(exceeded(int)));
    QSignalSpy normal(watch.data(), SIGNAL(normal(int)));
    setNumber(81);
    QVERIFY(waitFor(exceeded, 1));
    QCOMPARE(exceeded.at(0).at(0).toInt(), 81);
    setNumber(80);
    QVERIFY(waitFor(normal, 1));
    QCOMPARE(normal.at(0).at(0).toInt(), 80);
}

void TestLimitWatch::repeatsNothing()
{
    QSignalSpy exceeded(watch.data(), SIGNAL(exceeded(int)));
    QSignalSpy normal(watch.data(), SIGNAL(normal(int)));
    setNumber(100);
    setNumber(101);
    setNumber(3); // behind it nothing of the others can come any more
    QVERIFY(waitFor(normal, 1));
    QCOMPARE(exceeded.count(), 1);
}

void TestLimitWatch::goesOnAfterARestart()
{
    QSignalSpy exceeded(watch.data(), SIGNAL(exceeded(int)));
    QSignalSpy disconnected(kiv.data(), SIGNAL(kivLocalUnixSocketDisConnectedSignal()));
    stopStandIn();
    QVERIFY(waitFor(disconnected, 1));
    startStandIn(99);
    connectToStandIn();
    QVERIFY(waitFor(exceeded, 1));
    QCOMPARE(exceeded.at(0).at(0).toInt(), 99);
}

QTEST_MAIN(TestLimitWatch)
#include "tst_limitwatch.moc"
