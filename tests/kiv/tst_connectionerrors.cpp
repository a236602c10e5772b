// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connectionsupport.h"
#include "kivdredirect.h"
#include "kivfixture.h"
#include "scripteddaemon.h"
#include "waiting.h"

#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

class TestConnectionErrors : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void tellsEachErrorOfTheLocalSocket_data();
    void tellsEachErrorOfTheLocalSocket();
    void tellsEachErrorOfTheDomainSocketAlike_data();
    void tellsEachErrorOfTheDomainSocketAlike();
    void tellsWhyTheLocalDaemonIsOutOfReach_data();
    void tellsWhyTheLocalDaemonIsOutOfReach();
    void tellsThatTheDomainDaemonRefuses();
    void tellsOfALostConnectionOnce_data();
    void tellsOfALostConnectionOnce();
    void logsErrorsAtTheRightLevels();
};

void TestConnectionErrors::init()
{
    resetKivd();
}

void TestConnectionErrors::tellsEachErrorOfTheLocalSocket_data()
{
    const QString other = QLatin1String("The following error occurred: %1.");
    const char function[] = "handleLocalKivSocketErrorSlot";
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("-3") << -3 << traced(function, other);
    QTest::newRow("-2") << -2 << traced(function, other);
    QTest::newRow("-1") << -1 << latin1("warning: KivInterface : An unidentified error occurred. ");
    QTest::newRow("0") << 0 << latin1(refusedText);
    QTest::newRow("1") << 1 << traced(function, peerClosedText);
    QTest::newRow("2") << 2 << latin1(notFoundText);
    QTest::newRow("3") << 3 << latin1(accessText);
    QTest::newRow("4") << 4
                       << latin1("warning: KivInterface : The local system ran out of resources "
                                 "(e.g., too many sockets) ");
    QTest::newRow("5") << 5 << latin1("warning: KivInterface : The socket operation timed out. ");
    QTest::newRow("6") << 6
                       << latin1("warning: KivInterface : The datagram was larger than the "
                                 "operating system's limit (which can be as low as 8192 bytes). ");
    QTest::newRow("7") << 7
                       << latin1("warning: KivInterface : An error occurred with the connection. ");
    QTest::newRow("8") << 8 << traced(function, other);
    QTest::newRow("9") << 9 << traced(function, other);
    QTest::newRow("10") << 10
                        << latin1("warning: KivInterface : The requested socket operation is not "
                                  "supported by the local operating system. ");
    QTest::newRow("11") << 11 << traced(function, other);
    QTest::newRow("12") << 12 << traced(function, other);
    QTest::newRow("15") << 15 << traced(function, other);
}

void TestConnectionErrors::tellsEachErrorOfTheLocalSocket()
{
    QFETCH(int, value);
    QFETCH(QString, text);
    KivFixture fixture;
    fixture.kiv->connectToLocalKivSocketSlot(); // fails, and so sets the error text
    fixture.take();
    const QString errorString = localSocket(fixture)->errorString();
    QVERIFY(!errorString.isEmpty());
    text.replace(QLatin1String("%1"), errorString);
    for (const bool debug : {false, true}) {
        KivInterface::enableDebugPrint = debug;
        fixture.kiv->handleLocalKivSocketErrorSlot(QLocalSocket::LocalSocketError(value));
        QVERIFY(sameRecord(fixture.take(), localError(text)));
    }
}

void TestConnectionErrors::tellsEachErrorOfTheDomainSocketAlike_data()
{
    QTest::addColumn<int>("value");
    for (int value = -1; value <= 22; ++value)
        QTest::newRow(QByteArray::number(value).constData()) << value;
}

void TestConnectionErrors::tellsEachErrorOfTheDomainSocketAlike()
{
    QFETCH(int, value);
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    for (const bool debug : {false, true}) {
        KivInterface::enableDebugPrint = debug;
        fixture.kiv->handleDomainKivSocketErrorSlot(QAbstractSocket::SocketError(value));
        QVERIFY(sameRecord(fixture.take(), domainError()));
        QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::ConnectedState);
    }
}

void TestConnectionErrors::tellsWhyTheLocalDaemonIsOutOfReach_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("deadFile");
    QTest::addColumn<QString>("text");
    QTest::newRow("no socket file") << 0 << false << latin1(notFoundText);
    QTest::newRow("nobody listens") << 0 << true << latin1(refusedText);
    QTest::newRow("access denied") << EACCES << true << latin1(accessText);
}

void TestConnectionErrors::tellsWhyTheLocalDaemonIsOutOfReach()
{
    QFETCH(int, error);
    QFETCH(bool, deadFile);
    QFETCH(QString, text);
    BusyDaemon dead;
    dead.close();
    if (!deadFile)
        redirectKivd(QLatin1String("/nonexistent/kivd"));
    failKivdConnections(error);
    KivFixture fixture;
    fixture.take();
    for (int attempt = 0; attempt < 2; ++attempt) {
        fixture.kiv->connectToLocalKivSocketSlot();
        settle();
        QVERIFY(sameRecord(fixture.take(), localError(text)));
        QCOMPARE(localSocket(fixture)->state(), QLocalSocket::UnconnectedState);
    }
    failKivdConnections(0);
    ScriptedDaemon daemon(ScriptedDaemon::Local);
    tick(fixture);
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == handshake; }));
}

void TestConnectionErrors::tellsThatTheDomainDaemonRefuses()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    daemon.stop();
    KivFixture fixture;
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    fixture.take();
    for (int attempt = 0; attempt < 2; ++attempt) {
        fixture.kiv->connectToDomainKivSocketSlot();
        QVERIFY(spinUntil(
            [&]() { return domainSocket(fixture)->state() == QAbstractSocket::UnconnectedState; }));
        settle();
        QVERIFY(sameRecord(fixture.take(), domainError()));
    }
}

void TestConnectionErrors::tellsOfALostConnectionOnce_data()
{
    QTest::addColumn<bool>("local");
    QTest::addColumn<bool>("politely");
    QTest::newRow("local, closed") << true << true;
    QTest::newRow("local, cut") << true << false;
    QTest::newRow("domain, closed") << false << true;
    QTest::newRow("domain, cut") << false << false;
}

void TestConnectionErrors::tellsOfALostConnectionOnce()
{
    QFETCH(bool, local);
    QFETCH(bool, politely);
    ScriptedDaemon daemon(local ? ScriptedDaemon::Local : ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    if (politely)
        daemon.hangUp();
    else
        daemon.cut();
    QVERIFY(spinUntil([&]() {
        return local ? localSocket(fixture)->state() == QLocalSocket::UnconnectedState
                     : domainSocket(fixture)->state() == QAbstractSocket::UnconnectedState;
    }));
    settle();
    const QString closed = traced("handleLocalKivSocketErrorSlot", peerClosedText);
    QVERIFY(sameRecord(fixture.take(), local ? localError(closed) : domainError()));

    QVERIFY(!(local ? fixture.kiv->sendMsgToLocalKiv(QLatin1String("lost"))
                    : fixture.kiv->sendMsgToDomainKiv(QLatin1String("lost"))));
    tick(fixture);
    QVERIFY(spinUntil(
        [&]() { return daemon.connections() == 2 && daemon.lastReceived() == handshake; }));
}

void TestConnectionErrors::logsErrorsAtTheRightLevels()
{
    ScriptedDaemon local(ScriptedDaemon::Local);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(local));
    KivInterface::debugPrintEnable();
    KivInterface &kiv = *fixture.kiv;

    const char localFunction[] = "handleLocalKivSocketErrorSlot";
    const QList<TraceLine> errors =
        QList<TraceLine>() << TraceLine{2, "handleDomainKivSocketErrorSlot",
                                        latin1("KivInterface::handleDomainKivSocketErrorSlot%s")}
                           << TraceLine{2, localFunction, latin1("KivInterface::displayError %s")}
                           << TraceLine{2, localFunction, latin1(peerClosedText)}
                           << TraceLine{2, localFunction, latin1("KivInterface::displayError %s")}
                           << TraceLine{2, localFunction,
                                        latin1("The following error occurred: ") +
                                            localSocket(fixture)->errorString() + QLatin1Char('.')};
    QCOMPARE(compareUnderFilters(
                 fixture, errors,
                 [&]() {
                     kiv.handleDomainKivSocketErrorSlot(QAbstractSocket::SocketTimeoutError);
                     kiv.handleLocalKivSocketErrorSlot(QLocalSocket::PeerClosedError);
                     kiv.handleLocalKivSocketErrorSlot(QLocalSocket::LocalSocketError(8));
                 }),
             QString());
}

QTEST_MAIN(TestConnectionErrors)
#include "tst_connectionerrors.moc"
