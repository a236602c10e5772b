// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connectionsupport.h"
#include "kivfixture.h"
#include "scripteddaemon.h"
#include "waiting.h"

#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

class TestDomainServer : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void needsActivationAddressAndPort_data();
    void needsActivationAddressAndPort();
    void keepsTheConnectionToTheSameServer();
    void dropsTheConnectionForAnotherServer_data();
    void dropsTheConnectionForAnotherServer();
    void tellsServersApartByTheirTexts_data();
    void tellsServersApartByTheirTexts();
    void truncatesThePort();
    void keepsTheConnectionWhenDeactivated();
};

void TestDomainServer::init()
{
    resetKivd();
}

void TestDomainServer::needsActivationAddressAndPort_data()
{
    QTest::addColumn<bool>("active");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("port");
    QTest::addColumn<bool>("told");
    QTest::newRow("nothing") << false << QString() << 0 << false;
    QTest::newRow("not active") << false << loopback << 7 << false;
    QTest::newRow("no address and no port") << true << QString() << 0 << true;
    QTest::newRow("null address") << true << QString() << 7 << true;
    QTest::newRow("empty address") << true << latin1("") << 7 << true;
    QTest::newRow("port 0") << true << loopback << 0 << true;
    QTest::newRow("port 65536") << true << loopback << 65536 << true;
}

void TestDomainServer::needsActivationAddressAndPort()
{
    QFETCH(bool, active);
    QFETCH(QString, address);
    QFETCH(int, port);
    QFETCH(bool, told);
    ScriptedDaemon daemon(ScriptedDaemon::Local);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    KivInterface::updateDomainServerIpAddress(address, port);
    KivInterface::domainServerActivateTcpConnection(active);
    fixture.kiv->connectToDomainKivSocketSlot();
    tick(fixture);
    QCOMPARE(fixture.take(), QStringList());

    KivInterface::debugPrintEnable();
    const QStringList line = told ? QStringList(latin1(unknownAddress)) : QStringList();
    fixture.kiv->connectToDomainKivSocketSlot();
    QCOMPARE(fixture.take(), line);
    tick(fixture);
    QCOMPARE(fixture.take(), line);
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::UnconnectedState);

    // The state of the socket comes last.
    for (const int state : {2, 3}) {
        setState(domainSocket(fixture), state);
        fixture.kiv->connectToDomainKivSocketSlot();
        setState(domainSocket(fixture), 0);
        QCOMPARE(fixture.take(), line);
    }
}

void TestDomainServer::keepsTheConnectionToTheSameServer()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    QVERIFY(KivInterface::updateDomainServerIpAddress(loopback, daemon.port()));
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::ConnectedState);
    QVERIFY(fixture.kiv->sendMsgToDomainKiv(QLatin1String("still here")));
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == "still here"; }));
    QCOMPARE(daemon.connections(), 1);
    QCOMPARE(fixture.take(), QStringList());
}

void TestDomainServer::dropsTheConnectionForAnotherServer_data()
{
    QTest::addColumn<bool>("otherPort");
    QTest::addColumn<bool>("active");
    QTest::newRow("other port") << true << true;
    QTest::newRow("other address") << false << true;
    QTest::newRow("deactivated") << true << false;
}

void TestDomainServer::dropsTheConnectionForAnotherServer()
{
    QFETCH(bool, otherPort);
    QFETCH(bool, active);
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon first(ScriptedDaemon::Tcp);
    ScriptedDaemon second(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(local));
    QVERIFY(fixture.connectTo(first));
    KivInterface::domainServerActivateTcpConnection(active);

    // The same address in another notation is another address.
    const QString address = otherPort ? loopback : QLatin1String("::ffff:127.0.0.1");
    const ScriptedDaemon &next = otherPort ? second : first;
    const int before = next.connections();
    QVERIFY(KivInterface::updateDomainServerIpAddress(address, next.port()));
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::UnconnectedState);
    settle();
    QCOMPARE(fixture.take(), QStringList());
    QCOMPARE(next.connections(), before);

    tick(fixture);
    if (!active) {
        settle();
        QCOMPARE(next.connections(), before);
        QCOMPARE(fixture.take(), QStringList());
        return;
    }
    QVERIFY(spinUntil(
        [&]() { return next.connections() == before + 1 && next.lastReceived() == handshake; }));
    QCOMPARE(fixture.take(), QStringList(latin1("signal: domain connected")));
    QCOMPARE(local.connections(), 1);
}

void TestDomainServer::tellsServersApartByTheirTexts_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::addColumn<bool>("same");
    QTest::newRow("same") << latin1("localhost") << latin1("localhost") << true;
    QTest::newRow("null and empty") << QString() << latin1("") << true;
    QTest::newRow("other case") << latin1("localhost") << latin1("LocalHost") << false;
    QTest::newRow("blank behind") << latin1("localhost") << latin1("localhost ") << false;
    QTest::newRow("none any more") << latin1("localhost") << QString() << false;
}

void TestDomainServer::tellsServersApartByTheirTexts()
{
    QFETCH(QString, before);
    QFETCH(QString, after);
    QFETCH(bool, same);
    KivFixture fixture;
    KivInterface::updateDomainServerIpAddress(before, 7);
    setState(domainSocket(fixture), QAbstractSocket::ConnectingState);
    KivInterface::updateDomainServerIpAddress(after, 7);
    const bool isLeftAlone = domainSocket(fixture)->state() == QAbstractSocket::ConnectingState;
    setState(domainSocket(fixture), QAbstractSocket::UnconnectedState);
    QCOMPARE(isLeftAlone, same);
}

void TestDomainServer::truncatesThePort()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    const int port = daemon.port() + 65536;
    KivInterface::updateDomainServerIpAddress(loopback, port);
    KivInterface::domainServerActivateTcpConnection(true);
    fixture.kiv->connectToDomainKivSocketSlot();
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == handshake; }));

    // What is kept is the truncated port: it is the same, the one it was made of is not.
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::ConnectedState);
    KivInterface::updateDomainServerIpAddress(loopback, port);
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::UnconnectedState);

    KivInterface::updateDomainServerIpAddress(loopback, daemon.port() - 65536);
    fixture.kiv->connectToDomainKivSocketSlot();
    QVERIFY(spinUntil([&]() { return daemon.connections() == 2; }));
}

void TestDomainServer::keepsTheConnectionWhenDeactivated()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    QVERIFY(KivInterface::domainServerActivateTcpConnection(false));
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::ConnectedState);
    QVERIFY(fixture.kiv->sendMsgToDomainKiv(QLatin1String("still here")));
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == "still here"; }));
    QCOMPARE(fixture.take(), QStringList());

    // Once lost it is not brought back.
    daemon.hangUp();
    QVERIFY(spinUntil(
        [&]() { return domainSocket(fixture)->state() == QAbstractSocket::UnconnectedState; }));
    fixture.kiv->connectToDomainKivSocketSlot();
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::UnconnectedState);
    QVERIFY(KivInterface::domainServerActivateTcpConnection(true));
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::UnconnectedState);
    fixture.kiv->connectToDomainKivSocketSlot();
    QVERIFY(spinUntil([&]() { return daemon.connections() == 2; }));
}

QTEST_MAIN(TestDomainServer)
#include "tst_domainserver.moc"
