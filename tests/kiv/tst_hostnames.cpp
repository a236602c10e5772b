// SPDX-License-Identifier: LGPL-2.1-or-later

// Host names of the domain daemon that cannot be resolved, or not yet, and a server that is changed
// in whatever state the connection is. Names are resolved by this program itself.

#include "connectionsupport.h"
#include "kivfixture.h"
#include "scripteddaemon.h"
#include "waiting.h"

#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

#include <arpa/inet.h>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

namespace
{

/** What resolving a name comes to. */
enum Answer { Unknown, Loopback, NoAnswer };

std::atomic<int> answer(Unknown);
std::atomic<int> lookUps(0);

addrinfo *loopbackInfo()
{
    struct Info {
        addrinfo info;
        sockaddr_in address;
    };
    Info *const result = static_cast<Info *>(std::calloc(1, sizeof(Info)));
    result->address.sin_family = AF_INET;
    result->address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    result->info.ai_family = AF_INET;
    result->info.ai_socktype = SOCK_STREAM;
    result->info.ai_addrlen = sizeof result->address;
    result->info.ai_addr = reinterpret_cast<sockaddr *>(&result->address);
    return &result->info;
}

} // namespace

// The program's own definitions come before the C library's, for QtNetwork too.
#pragma GCC visibility push(default)
extern "C" {

int getaddrinfo(const char *, const char *, const addrinfo *, addrinfo **result)
{
    ++lookUps;
    while (answer == NoAnswer)
        usleep(1000);
    if (answer == Unknown)
        return EAI_NONAME;
    *result = loopbackInfo();
    return 0;
}

void freeaddrinfo(addrinfo *info) noexcept
{
    std::free(info);
}
}
#pragma GCC visibility pop

class TestHostNames : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void tellsOfAnUnknownHostOnceAnAttempt();
    void findsAHostThatBecomesKnown();
    void outlivesALookUpThatStandsStill();
    void changesTheServerInEveryState_data();
    void changesTheServerInEveryState();
    void mayBeDeletedInEveryState_data() { changesTheServerInEveryState_data(); }
    void mayBeDeletedInEveryState();
};

/** A name that no look-up before has had, as Qt remembers what it was told. */
static QString newName()
{
    static int count = 0;
    return QString::fromLatin1("kivd%1.invalid").arg(++count);
}

static void connectTo(const QString &host, int port, KivFixture &fixture)
{
    KivInterface::updateDomainServerIpAddress(host, port);
    KivInterface::domainServerActivateTcpConnection(true);
    fixture.take();
    fixture.kiv->connectToDomainKivSocketSlot();
}

void TestHostNames::init()
{
    resetKivd();
    lookUps = 0;
}

void TestHostNames::cleanup()
{
    answer = Unknown; // for look-ups that are under way
}

void TestHostNames::tellsOfAnUnknownHostOnceAnAttempt()
{
    KivFixture fixture;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        connectTo(newName(), 7, fixture);
        QVERIFY(!fixture.kiv->sendMsgToDomainKiv(QLatin1String("dropped")));
        fixture.take();
        QVERIFY(spinUntil(
            [&]() { return domainSocket(fixture)->state() == QAbstractSocket::UnconnectedState; }));
        QVERIFY(settle());
        QVERIFY(sameRecord(fixture.take(), domainError()));
        QCOMPARE(int(lookUps), attempt);
    }
}

void TestHostNames::findsAHostThatBecomesKnown()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    const QString name = newName();
    connectTo(name, daemon.port(), fixture);
    QVERIFY(spinUntil([&]() { return !fixture.take().isEmpty(); }));
    answer = Loopback;
    QVERIFY(spinUntil([&]() {
        fixture.kiv->connectToDomainKivSocketSlot(); // as the timer does again and again
        return domainSocket(fixture)->state() != QAbstractSocket::HostLookupState &&
               daemon.lastReceived() == handshake;
    }));
}

/** Each attempt gives up the one before; one of them comes through when there is an answer. */
void TestHostNames::outlivesALookUpThatStandsStill()
{
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(local));
    answer = NoAnswer;
    connectTo(newName(), daemon.port(), fixture);
    for (int ticks = 0; ticks < 20; ++ticks) {
        QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::HostLookupState);
        tick(fixture);
    }
    QCOMPARE(fixture.take(), QStringList());
    // Nobody else is held up.
    QVERIFY(fixture.kiv->sendMsgToLocalKiv(QLatin1String("text")));
    QVERIFY(spinUntil([&]() { return local.lastReceived() == "text"; }));
    answer = Loopback;
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == handshake; }));
    QVERIFY(settle());
    QCOMPARE(daemon.connections(), 1);
    QCOMPARE(fixture.take(), QStringList(latin1("signal: domain connected")));
}

namespace
{

typedef void (*StateMaker)(KivFixture &fixture, ScriptedDaemon &daemon);

void makeUnconnected(KivFixture &, ScriptedDaemon &) {}

void makeLookingUp(KivFixture &fixture, ScriptedDaemon &daemon)
{
    answer = NoAnswer;
    connectTo(newName(), daemon.port(), fixture);
}

void makeConnecting(KivFixture &fixture, ScriptedDaemon &daemon)
{
    connectTo(loopback, daemon.port(), fixture);
}

void makeConnected(KivFixture &fixture, ScriptedDaemon &daemon)
{
    if (!fixture.connectTo(daemon))
        qFatal("no connection");
}

/** What was sent waits for a daemon that does not read while the socket is being closed. */
void makeClosing(KivFixture &fixture, ScriptedDaemon &daemon)
{
    makeConnected(fixture, daemon);
    for (int i = 0; i < 200; ++i)
        fixture.kiv->sendMsgToDomainKiv(QString(100000, QLatin1Char('x')));
    domainSocket(fixture)->disconnectFromHost();
}

/** The daemon has gone, which the client is not told before the event loop runs. */
void makeLost(KivFixture &fixture, ScriptedDaemon &daemon)
{
    makeConnected(fixture, daemon);
    daemon.cut();
}

} // namespace

Q_DECLARE_METATYPE(StateMaker)

void TestHostNames::changesTheServerInEveryState_data()
{
    QTest::addColumn<StateMaker>("make");
    QTest::addColumn<int>("state");
    QTest::newRow("unconnected") << StateMaker(makeUnconnected) << 0;
    QTest::newRow("looking up") << StateMaker(makeLookingUp) << 1;
    QTest::newRow("connecting") << StateMaker(makeConnecting) << 2;
    QTest::newRow("connected") << StateMaker(makeConnected) << 3;
    QTest::newRow("lost") << StateMaker(makeLost) << 3;
    QTest::newRow("closing") << StateMaker(makeClosing) << 6;
}

/** Nothing is told of the old connection, and the next attempt goes to the new server alone. */
void TestHostNames::changesTheServerInEveryState()
{
    QFETCH(StateMaker, make);
    QFETCH(int, state);
    ScriptedDaemon first(ScriptedDaemon::Tcp);
    ScriptedDaemon second(ScriptedDaemon::Tcp);
    KivFixture fixture;
    make(fixture, first);
    QCOMPARE(int(domainSocket(fixture)->state()), state);
    fixture.take();
    KivInterface::updateDomainServerIpAddress(loopback, second.port());
    KivInterface::domainServerActivateTcpConnection(true);
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::UnconnectedState);
    answer = Loopback; // a look-up that was given up comes to its end
    QVERIFY(settle());
    QCOMPARE(fixture.take(), QStringList());
    QCOMPARE(second.connections(), 0);

    const int before = first.connections();
    fixture.kiv->connectToDomainKivSocketSlot();
    QVERIFY(spinUntil([&]() { return second.lastReceived() == handshake; }));
    QVERIFY(settle());
    QCOMPARE(fixture.take(), QStringList(latin1("signal: domain connected")));
    QCOMPARE(first.connections(), before);
    QCOMPARE(second.connections(), 1);
}

void TestHostNames::mayBeDeletedInEveryState()
{
    QFETCH(StateMaker, make);
    QFETCH(int, state);
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    make(fixture, daemon);
    QCOMPARE(int(domainSocket(fixture)->state()), state);
    fixture.restart();
    answer = Loopback;
    QVERIFY(settle());
    fixture.take();
    QVERIFY(fixture.connectTo(daemon));
}

QTEST_MAIN(TestHostNames)
#include "tst_hostnames.moc"
