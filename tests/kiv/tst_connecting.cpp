// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connectionsupport.h"
#include "kivfixture.h"
#include "scripteddaemon.h"
#include "waiting.h"

#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

class TestConnecting : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void connectsAndReconnectsByItsTimers();
    void leavesALocalAttemptAlone();
    void restartsALocalSocketThatIsClosing();
    void restartsTheDomainSocketInMostStates_data();
    void restartsTheDomainSocketInMostStates();
    void restartsALookUpOfTheHost();
};

void TestConnecting::init()
{
    resetKivd();
}

void TestConnecting::connectsAndReconnectsByItsTimers()
{
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    local.stop();
    domain.stop();
    KivFixture fixture(KivFixture::RunningTimers);
    KivInterface::updateDomainServerIpAddress(loopback, domain.port());
    KivInterface::domainServerActivateTcpConnection(true);
    fixture.take();

    QStringList record;
    QVERIFY(spinUntil([&]() {
        record << fixture.take();
        return record.size() >= 5;
    }));
    QVERIFY(sameRecord(record.mid(0, 5), localError(latin1(notFoundText)) + domainError()));

    local.start();
    domain.start();
    QVERIFY(spinUntil(
        [&]() { return local.lastReceived() == handshake && domain.lastReceived() == handshake; }));
    record = fixture.take();
    QCOMPARE(record.count(latin1("signal: local connected")), 1);
    QCOMPARE(record.count(latin1("signal: domain connected")), 1);
}

void TestConnecting::leavesALocalAttemptAlone()
{
    BusyDaemon daemon;
    KivFixture fixture;
    fixture.take();
    KivInterface::debugPrintEnable();
    fixture.kiv->connectToLocalKivSocketSlot();
    QCOMPARE(localSocket(fixture)->state(), QLocalSocket::ConnectingState);
    QCOMPARE(fixture.take(), QStringList(latin1(localRestarted)));
    fixture.kiv->connectToLocalKivSocketSlot();
    QCOMPARE(localSocket(fixture)->state(), QLocalSocket::ConnectingState);
    QCOMPARE(fixture.take(), QStringList());

    daemon.accept();
    QVERIFY(
        spinUntil([&]() { return localSocket(fixture)->state() == QLocalSocket::ConnectedState; }));
    QVERIFY(fixture.take().contains(latin1("signal: local connected")));
    fixture.kiv->connectToLocalKivSocketSlot();
    QCOMPARE(fixture.take(), QStringList());
}

void TestConnecting::restartsALocalSocketThatIsClosing()
{
    ScriptedDaemon daemon(ScriptedDaemon::Local);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    // Left to itself the socket does not stay in this state on every Qt.
    QTcpSocket *const inner = localSocket(fixture)->findChild<QTcpSocket *>();
    QVERIFY(inner);
    QVERIFY(QMetaObject::invokeMethod(
        inner, "stateChanged", Q_ARG(QAbstractSocket::SocketState, QAbstractSocket::ClosingState)));
    QCOMPARE(localSocket(fixture)->state(), QLocalSocket::ClosingState);
    QVERIFY(!fixture.kiv->verifyLocalKivSocketOk());
    QCOMPARE(fixture.take(),
             QStringList(traced("verifyLocalKivSocketOk", "localKivSocket->state(): 6")));

    fixture.kiv->connectToLocalKivSocketSlot();
    QVERIFY(spinUntil(
        [&]() { return daemon.connections() == 2 && daemon.lastReceived() == handshake; }));
    QCOMPARE(localSocket(fixture)->state(), QLocalSocket::ConnectedState);
}

void TestConnecting::restartsTheDomainSocketInMostStates_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("restarted");
    QTest::newRow("unconnected") << 0 << true;
    QTest::newRow("host lookup") << 1 << true;
    QTest::newRow("connecting") << 2 << false;
    QTest::newRow("connected") << 3 << false;
    QTest::newRow("bound") << 4 << true;
    QTest::newRow("listening") << 5 << true;
    QTest::newRow("closing") << 6 << true;
}

void TestConnecting::restartsTheDomainSocketInMostStates()
{
    QFETCH(int, state);
    QFETCH(bool, restarted);
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    KivInterface::debugPrintEnable();
    fixture.take();
    setState(domainSocket(fixture), state);
    fixture.kiv->connectToDomainKivSocketSlot();
    const QStringList record = fixture.take();
    if (!restarted) {
        QCOMPARE(record, QStringList());
        QCOMPARE(int(domainSocket(fixture)->state()), state);
        setState(domainSocket(fixture), 0);
        return;
    }
    QCOMPARE(int(record.size()), 1);
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == handshake; }));
}

void TestConnecting::restartsALookUpOfTheHost()
{
    KivFixture fixture;
    KivInterface::updateDomainServerIpAddress(QLatin1String("localhost"), 7);
    KivInterface::domainServerActivateTcpConnection(true);
    KivInterface::debugPrintEnable();
    fixture.take();
    fixture.kiv->connectToDomainKivSocketSlot();
    if (domainSocket(fixture)->state() != QAbstractSocket::HostLookupState)
        QFAIL("the name was looked up without the event loop");
    QCOMPARE(int(fixture.take().size()), 1);
    QVERIFY(!fixture.kiv->verifyDomainKivSocketOk());
    QCOMPARE(fixture.take(),
             QStringList(traced("verifyDomainKivSocketOk", "domainKivSocket->state()")));
    fixture.kiv->connectToDomainKivSocketSlot();
    QCOMPARE(int(fixture.take().size()), 1);
}

QTEST_MAIN(TestConnecting)
#include "tst_connecting.moc"
