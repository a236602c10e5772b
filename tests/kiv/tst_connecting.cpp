// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connectionsupport.h"
#include "kivdredirect.h"
#include "kivfixture.h"
#include "scripteddaemon.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

namespace
{

int openDescriptors()
{
    return int(QDir(QLatin1String("/proc/self/fd")).entryList(QDir::NoDotAndDotDot).size());
}

} // namespace

class TestConnecting : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void connectsAndReconnectsByItsTimers();
    void triesTheLocalDaemonFirst();
    void leavesALocalAttemptAlone();
    void triesABusyDaemonOncePerTick_data();
    void triesABusyDaemonOncePerTick();
    void connectsToADaemonThatHasBeenBusy();
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

void TestConnecting::triesTheLocalDaemonFirst()
{
    KivFixture fixture;
    KivInterface::domainServerActivateTcpConnection(true);
    KivInterface::debugPrintEnable();
    fixture.take();
    for (int ticks = 0; ticks < 2; ++ticks) {
        tick(fixture);
        QVERIFY(sameRecord(fixture.take(), localError(latin1(notFoundText))
                                               << latin1(localRestarted)
                                               << latin1(unknownAddress)));
    }
}

void TestConnecting::leavesALocalAttemptAlone()
{
    BusyDaemon daemon;
    KivFixture fixture;
    fixture.take();
    KivInterface::debugPrintEnable();
    localSocket(fixture)->connectToServer(QLatin1String("/tmp/kivd"));
    QCOMPARE(localSocket(fixture)->state(), QLocalSocket::ConnectingState);
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

void TestConnecting::triesABusyDaemonOncePerTick_data()
{
    QTest::addColumn<bool>("debug");
    QTest::newRow("quiet") << false;
    QTest::newRow("debug") << true;
}

void TestConnecting::triesABusyDaemonOncePerTick()
{
    QFETCH(bool, debug);
    BusyDaemon daemon;
    KivFixture fixture;
    fixture.take();
    KivInterface::enableDebugPrint = debug;
    const int attempts = kivdAttempts();
    const int descriptors = openDescriptors();
    for (int ticks = 1; ticks <= 3; ++ticks) {
        tick(fixture);
        QCOMPARE(localSocket(fixture)->state(), QLocalSocket::UnconnectedState);
        // An attempt that goes on would try again each time the event loop runs.
        for (int round = 0; round < 20; ++round)
            QCoreApplication::processEvents();
        QCOMPARE(kivdAttempts() - attempts, ticks);
        QCOMPARE(openDescriptors(), descriptors);
        QCOMPARE(fixture.take(), debug ? QStringList(latin1(localRestarted)) : QStringList());
        QVERIFY(!fixture.kiv->sendMsgToLocalKiv(QLatin1String("dropped")));
        QCOMPARE(fixture.take(),
                 QStringList(traced("verifyLocalKivSocketOk", "localKivSocket->state(): 0")));
    }
}

void TestConnecting::connectsToADaemonThatHasBeenBusy()
{
    BusyDaemon daemon;
    KivFixture fixture;
    tick(fixture);
    tick(fixture);
    fixture.take();
    daemon.accept();
    tick(fixture);
    QCOMPARE(localSocket(fixture)->state(), QLocalSocket::ConnectedState);
    QVERIFY(sameRecord(fixture.take(), QStringList()
                                           << traced("connectedToLocalKivSlot",
                                                     "Application is connceted to local kivd "
                                                     "daemon through a unix socket.")
                                           << traced("connectedToLocalKivSlot", "socket->state: 3")
                                           << latin1("signal: local connected")));
    QCOMPARE(daemon.receive(), QByteArray(handshake));
    const int attempts = kivdAttempts();
    tick(fixture);
    QCOMPARE(kivdAttempts(), attempts);
    QVERIFY(fixture.kiv->sendMsgToLocalKiv(QLatin1String("kept")));
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

    QSignalSpy ended(localSocket(fixture), SIGNAL(disconnected()));
    fixture.kiv->connectToLocalKivSocketSlot();
    QCOMPARE(int(ended.count()), 1);
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
