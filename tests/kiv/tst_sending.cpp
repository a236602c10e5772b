// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connectionsupport.h"
#include "kivfixture.h"
#include "scripteddaemon.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

class TestSending : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void tellsTheStateOfTheLocalSocket();
    void tellsTheStateOfTheDomainSocket_data();
    void tellsTheStateOfTheDomainSocket();
    void refusesTextsWhileConnecting();
    void dropsTextsWithoutAConnection();
    void writesTextsAsTheyStand_data();
    void writesTextsAsTheyStand();
    void acceptsTextsForADaemonThatHasGone_data();
    void acceptsTextsForADaemonThatHasGone();
    void tellsWhatTheSlotIsToldWasWritten();
};

void TestSending::init()
{
    resetKivd();
}

void TestSending::tellsTheStateOfTheLocalSocket()
{
    {
        KivFixture fixture;
        fixture.take();
        QVERIFY(!fixture.kiv->verifyLocalKivSocketOk());
        QCOMPARE(fixture.take(),
                 QStringList(traced("verifyLocalKivSocketOk", "localKivSocket->state(): 0")));

        BusyDaemon busy;
        fixture.kiv->connectToLocalKivSocketSlot();
        QVERIFY(!fixture.kiv->verifyLocalKivSocketOk());
        QCOMPARE(fixture.take(),
                 QStringList(traced("verifyLocalKivSocketOk", "localKivSocket->state(): 2")));
    }
    ScriptedDaemon daemon(ScriptedDaemon::Local);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    QVERIFY(fixture.kiv->verifyLocalKivSocketOk());
    QCOMPARE(fixture.take(), QStringList());
}

void TestSending::tellsTheStateOfTheDomainSocket_data()
{
    const char unconnected[] = "domainKivSocket->state()";
    const char unknown[] = "Unknown domainKivSocket->state()";
    QTest::addColumn<int>("state");
    QTest::addColumn<QString>("text");
    QTest::newRow("unconnected") << 0 << latin1(unconnected);
    QTest::newRow("host lookup") << 1 << latin1(unconnected);
    QTest::newRow("connecting") << 2 << latin1("Connecting .......Domain Kiv Tcp socket !");
    QTest::newRow("connected") << 3 << QString();
    QTest::newRow("bound") << 4 << latin1(unknown);
    QTest::newRow("listening") << 5 << latin1(unknown);
    QTest::newRow("closing") << 6 << latin1(unknown);
    QTest::newRow("any other") << 7 << latin1(unknown);
}

void TestSending::tellsTheStateOfTheDomainSocket()
{
    QFETCH(int, state);
    QFETCH(QString, text);
    KivFixture fixture;
    fixture.take();
    setState(domainSocket(fixture), state);
    const bool ok = fixture.kiv->verifyDomainKivSocketOk();
    const bool sent = state != 3 && fixture.kiv->sendMsgToDomainKiv(QLatin1String("x"));
    setState(domainSocket(fixture), 0);
    QCOMPARE(ok, state == 3);
    QVERIFY(!sent);
    QStringList expected;
    if (!text.isNull())
        expected << traced("verifyDomainKivSocketOk", text)
                 << traced("verifyDomainKivSocketOk", text);
    QCOMPARE(fixture.take(), expected);
}

void TestSending::refusesTextsWhileConnecting()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    fixture.take();
    fixture.kiv->connectToDomainKivSocketSlot();
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::ConnectingState);
    QVERIFY(!fixture.kiv->sendMsgToDomainKiv(QLatin1String("dropped")));
    QCOMPARE(fixture.take(), QStringList(traced("verifyDomainKivSocketOk",
                                                "Connecting .......Domain Kiv Tcp socket !")));
    fixture.kiv->connectToDomainKivSocketSlot();
    QCOMPARE(fixture.take(), QStringList());

    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == handshake; }));
    QVERIFY(fixture.kiv->sendMsgToDomainKiv(QLatin1String("kept")));
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == QByteArray(handshake) + "kept"; }));
    QCOMPARE(daemon.connections(), 1);
}

void TestSending::dropsTextsWithoutAConnection()
{
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    KivFixture fixture;
    fixture.take();
    QVERIFY(!fixture.kiv->sendMsgToLocalKiv(QLatin1String("dropped")));
    QVERIFY(!fixture.kiv->sendMsgToDomainKiv(QLatin1String("dropped")));
    QCOMPARE(fixture.take(), QStringList()
                                 << traced("verifyLocalKivSocketOk", "localKivSocket->state(): 0")
                                 << traced("verifyDomainKivSocketOk", "domainKivSocket->state()"));
    // The handshake is all that a later connection carries.
    QVERIFY(fixture.connectTo(local));
    QVERIFY(fixture.connectTo(domain));
}

void TestSending::writesTextsAsTheyStand_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("plain") << latin1("abc\r\n\f\n") << QByteArray("abc\r\n\f\n");
    QTest::newRow("no separator of its own") << latin1("abc") << QByteArray("abc");
    QTest::newRow("nothing") << QString() << QByteArray();
    QTest::newRow("local 8-bit") << QString::fromUtf8("d\xc3\xa9\xc3\xbc\xe2\x82\xac.")
                                 << QByteArray("d\xc3\xa9\xc3\xbc\xe2\x82\xac.");
    QTest::newRow("NUL within") << QString(latin1("ab") + QChar(0) + latin1("cd\f\n"))
                                << QByteArray("ab");
    QTest::newRow("NUL in front") << QString(QChar(0) + latin1("cd")) << QByteArray();
    QTest::newRow("placeholders") << latin1("%1 %s %%") << QByteArray("%1 %s %%");
    QTest::newRow("large") << QString(3000000, QLatin1Char('x')) << QByteArray(3000000, 'x');
}

void TestSending::writesTextsAsTheyStand()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, bytes);
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(local));
    QVERIFY(fixture.connectTo(domain));
    QVERIFY(fixture.kiv->sendMsgToLocalKiv(text));
    QVERIFY(fixture.kiv->sendMsgToDomainKiv(text));
    // The mark behind shows that nothing else was written.
    QVERIFY(fixture.kiv->sendMsgToLocalKiv(QLatin1String("|local")));
    QVERIFY(fixture.kiv->sendMsgToDomainKiv(QLatin1String("|domain")));
    QVERIFY(spinUntil([&]() {
        return local.lastReceived().endsWith("|local") && domain.lastReceived().endsWith("|domain");
    }));
    QVERIFY(local.lastReceived() == bytes + "|local");
    QVERIFY(domain.lastReceived() == bytes + "|domain");
    QCOMPARE(fixture.take(), QStringList());
}

void TestSending::acceptsTextsForADaemonThatHasGone_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("little") << latin1("lost");
    QTest::newRow("much") << QString(3000000, QLatin1Char('x'));
}

/** That a daemon has gone shows when the event loop runs, not before. */
void TestSending::acceptsTextsForADaemonThatHasGone()
{
    QFETCH(QString, text);
    ScriptedDaemon daemon(ScriptedDaemon::Local);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    daemon.cut();
    QCOMPARE(localSocket(fixture)->state(), QLocalSocket::ConnectedState);
    QVERIFY(fixture.kiv->sendMsgToLocalKiv(text));
    QVERIFY(spinUntil(
        [&]() { return localSocket(fixture)->state() == QLocalSocket::UnconnectedState; }));
    settle();
    QVERIFY(sameRecord(fixture.take(),
                       localError(traced("handleLocalKivSocketErrorSlot", peerClosedText))));
    QVERIFY(!fixture.kiv->sendMsgToLocalKiv(text));
    tick(fixture);
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == handshake; }));
}

void TestSending::tellsWhatTheSlotIsToldWasWritten()
{
    KivFixture fixture;
    fixture.take();
    fixture.kiv->bytesWrittenSlot(18);
    QCOMPARE(fixture.take(), QStringList());
    KivInterface::debugPrintEnable();
    fixture.kiv->bytesWrittenSlot(18);
    fixture.kiv->bytesWrittenSlot(Q_INT64_C(5000000000));
    QCOMPARE(fixture.take(), QStringList() << latin1("debug: domain bytesWrittenSlot 18 ")
                                           << latin1("debug: domain bytesWrittenSlot 5000000000 "));
}

int main(int argc, char **argv)
{
    // Texts in UTF-8, wherever the test runs.
    qputenv("LC_ALL", "C.UTF-8");
    QCoreApplication application(argc, argv);
    TestSending test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_sending.moc"
