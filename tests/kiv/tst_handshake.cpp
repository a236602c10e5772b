// SPDX-License-Identifier: LGPL-2.1-or-later
#include "clock.h"
#include "connectionsupport.h"
#include "kivfixture.h"
#include "scripteddaemon.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

namespace
{

/** What a debug line shows of a time. */
QString rendered(time_t time)
{
    tm parts;
    localtime_r(&time, &parts);
    char text[64];
    std::strftime(text, sizeof text, "QDateTime(\"%a %b # %H:%M:%S %Y\") ", &parts);
    return QString::fromLatin1(text).replace(QLatin1Char('#'), QString::number(parts.tm_mday));
}

QString domainRestarted(time_t time)
{
    return latin1("debug: Restart connection to domain kivd (tcp socket) ") + rendered(time);
}

} // namespace

class TestHandshake : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void greetsTheLocalDaemon_data();
    void greetsTheLocalDaemon();
    void greetsTheDomainDaemon_data();
    void greetsTheDomainDaemon();
    void greetsNobodyForAWrongTarget_data();
    void greetsNobodyForAWrongTarget();
    void logsTheGreetingAtTheRightLevels();
};

void TestHandshake::init()
{
    resetKivd();
}

void TestHandshake::greetsTheLocalDaemon_data()
{
    QTest::addColumn<bool>("debug");
    QTest::newRow("quiet") << false;
    QTest::newRow("debug") << true;
}

void TestHandshake::greetsTheLocalDaemon()
{
    QFETCH(bool, debug);
    ScriptedDaemon daemon(ScriptedDaemon::Local);
    KivFixture fixture;
    fixture.take();
    KivInterface::enableDebugPrint = debug;
    fixture.kiv->connectToLocalKivSocketSlot();
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == handshake; }));

    QStringList expected;
    expected << traced("connectedToLocalKivSlot",
                       "Application is connceted to local kivd daemon through a unix socket.")
             << traced("connectedToLocalKivSlot", "socket->state: 3");
    if (debug)
        expected << traced("setXmlFormat", handshake);
    expected << latin1("signal: local connected");
    if (debug)
        expected << latin1(localRestarted);
    QVERIFY(sameRecord(fixture.take(), expected));
    QCOMPARE(daemon.lastReceived(), QByteArray("\x0c\x0a"
                                               "encode:xml\x0d\x0a\x0d\x0a\x0c\x0a"));

    // Once connected, nothing more is done.
    fixture.kiv->connectToLocalKivSocketSlot();
    tick(fixture);
    settle();
    QCOMPARE(fixture.take(), QStringList());
    QCOMPARE(daemon.connections(), 1);
}

void TestHandshake::greetsTheDomainDaemon_data()
{
    greetsTheLocalDaemon_data();
}

void TestHandshake::greetsTheDomainDaemon()
{
    QFETCH(bool, debug);
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    fixture.take();
    KivInterface::enableDebugPrint = debug;
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    const time_t before = currentSecond();
    fixture.kiv->connectToDomainKivSocketSlot();
    const time_t after = currentSecond();
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == handshake; }));

    QStringList greeting;
    if (debug) {
        greeting << traced("connectedToDomainKivSlot",
                           "Connceted to domain kivd deamon through a tcp socket.")
                 << traced("connectedToDomainKivSlot", "socket->state: %d")
                 << traced("setXmlFormat", handshake);
    }
    greeting << latin1("signal: domain connected");
    QStringList record = fixture.take();
    if (debug) {
        QStringList possible;
        for (time_t second = before; second <= after; ++second)
            possible << domainRestarted(second);
        const QString restarted = record.takeFirst();
        QVERIFY2(possible.contains(restarted), qPrintable(restarted));
    }
    QVERIFY(sameRecord(record, greeting));
    QCOMPARE(daemon.lastReceived(), QByteArray("\x0c\x0a"
                                               "encode:xml\x0d\x0a\x0d\x0a\x0c\x0a"));

    fixture.kiv->connectToDomainKivSocketSlot();
    KivInterface::debugPrintDisable(); // the local socket is not connected
    fixture.kiv->connectToDomainKivSocketSlot();
    settle();
    QCOMPARE(fixture.take(), QStringList());
    QCOMPARE(daemon.connections(), 1);
}

void TestHandshake::greetsNobodyForAWrongTarget_data()
{
    QTest::addColumn<int>("target");
    QTest::newRow("2") << 2;
    QTest::newRow("-1") << -1;
}

void TestHandshake::greetsNobodyForAWrongTarget()
{
    QFETCH(int, target);
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(local));
    QVERIFY(fixture.connectTo(domain));
    const KivInterface::KIVTARGET_ENUM wrong = KivInterface::KIVTARGET_ENUM(target);
    fixture.kiv->setXmlFormat(wrong);
    QCOMPARE(fixture.take(), QStringList());
    KivInterface::debugPrintEnable();
    fixture.kiv->setXmlFormat(wrong);
    QCOMPARE(fixture.take(), QStringList() << traced("setXmlFormat", handshake)
                                           << latin1("debug: Wrong kiv target!! "));
    settle();
    QCOMPARE(local.lastReceived(), QByteArray());
    QCOMPARE(domain.lastReceived(), QByteArray());

    fixture.kiv->setXmlFormat(KivInterface::KIVTARGET_LOCAL);
    fixture.kiv->setXmlFormat(KivInterface::KIVTARGET_DOMAIN);
    QVERIFY(spinUntil(
        [&]() { return local.lastReceived() == handshake && domain.lastReceived() == handshake; }));
}

void TestHandshake::logsTheGreetingAtTheRightLevels()
{
    ScriptedDaemon local(ScriptedDaemon::Local);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(local));
    KivInterface::debugPrintEnable();
    KivInterface &kiv = *fixture.kiv;

    const QList<TraceLine> greeting =
        QList<TraceLine>()
        << TraceLine{1, "connectedToLocalKivSlot",
                     latin1("Application is connceted to local kivd daemon through a unix socket.")}
        << TraceLine{1, "connectedToLocalKivSlot", latin1("socket->state: 3")}
        << TraceLine{1, "setXmlFormat", latin1(handshake)}
        << TraceLine{1, "connectedToDomainKivSlot",
                     latin1("Connceted to domain kivd deamon through a tcp socket.")}
        << TraceLine{1, "connectedToDomainKivSlot", latin1("socket->state: %d")}
        << TraceLine{1, "setXmlFormat", latin1(handshake)}
        << TraceLine{1, "verifyDomainKivSocketOk", latin1("domainKivSocket->state()")};
    QCOMPARE(compareUnderFilters(fixture, greeting,
                                 [&]() {
                                     kiv.connectedToLocalKivSlot();
                                     kiv.connectedToDomainKivSlot();
                                 }),
             QString());
}

int main(int argc, char **argv)
{
    // Day and month names in English, wherever the test runs.
    qputenv("LC_ALL", "C.UTF-8");
    QCoreApplication application(argc, argv);
    TestHandshake test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_handshake.moc"
