// SPDX-License-Identifier: LGPL-2.1-or-later

// A TCP connection whose other end has gone without a word, as when a cable is cut: the daemon's end
// is closed while the network is down. The network is one that this process has for itself.

#include "connectionsupport.h"
#include "kivfixture.h"
#include "scripteddaemon.h"
#include "skip.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

QString problem;

/** Takes the loopback interface, the only one there is, up or down. */
bool setNetwork(bool up)
{
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request;
    std::memset(&request, 0, sizeof request);
    std::strcpy(request.ifr_name, "lo");
    request.ifr_flags = up ? IFF_UP : 0;
    const bool done = ioctl(socket, SIOCSIFFLAGS, &request) == 0;
    const int error = errno;
    ::close(socket);
    errno = error;
    return done;
}

/** Must be called while there is one thread. */
void enterPrivateNetwork()
{
    const bool isPrivate = unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
    if (!isPrivate || !setNetwork(true))
        problem = QString::fromLatin1("no private network (%1); run as root, or \"sysctl "
                                      "kernel.unprivileged_userns_clone=1\"")
                      .arg(QLatin1String(std::strerror(errno)));
}

} // namespace

class TestHalfOpen : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void showsWhenSomethingIsSent();
    void lastsOverATimeWithoutNetwork();
    void mayBeGivenUp();
};

void TestHalfOpen::initTestCase()
{
    if (!problem.isEmpty())
        SKIP_TEST(qPrintable(problem));
    resetKivd();
}

/** Loses the daemon's end of the connection without telling the client's. */
static void loseTheOtherEnd(ScriptedDaemon &daemon)
{
    if (!setNetwork(false))
        qFatal("the network stays up: %s", std::strerror(errno));
    daemon.cut();
    daemon.stop();
    if (!setNetwork(true))
        qFatal("the network stays down: %s", std::strerror(errno));
    daemon.start();
}

/** Until then nobody knows: there is no keepalive. */
void TestHalfOpen::showsWhenSomethingIsSent()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    loseTheOtherEnd(daemon);
    QVERIFY(settle());
    fixture.kiv->connectToDomainKivSocketSlot();
    QVERIFY(settle());
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::ConnectedState);
    QCOMPARE(fixture.take(), QStringList());
    QCOMPARE(daemon.connections(), 1);

    QVERIFY(fixture.kiv->sendMsgToDomainKiv(QLatin1String("lost"))); // accepted, and lost
    QVERIFY(spinUntil(
        [&]() { return domainSocket(fixture)->state() == QAbstractSocket::UnconnectedState; }));
    QVERIFY(settle());
    QVERIFY(sameRecord(fixture.take(), domainError()));
    fixture.kiv->connectToDomainKivSocketSlot();
    QVERIFY(spinUntil(
        [&]() { return daemon.connections() == 2 && daemon.lastReceived() == handshake; }));
}

void TestHalfOpen::lastsOverATimeWithoutNetwork()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    QVERIFY(setNetwork(false));
    QVERIFY(fixture.kiv->sendMsgToDomainKiv(QLatin1String("text")));
    QVERIFY(settle());
    fixture.kiv->connectToDomainKivSocketSlot();
    QVERIFY(setNetwork(true));
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == "text"; }));
    QCOMPARE(daemon.connections(), 1);
    QCOMPARE(fixture.take(), QStringList());
}

/** What an application does that has waited long enough. */
void TestHalfOpen::mayBeGivenUp()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    loseTheOtherEnd(daemon);
    KivInterface::updateDomainServerIpAddress(QString(), 0);
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    fixture.kiv->connectToDomainKivSocketSlot();
    QVERIFY(spinUntil(
        [&]() { return daemon.connections() == 2 && daemon.lastReceived() == handshake; }));
    QCOMPARE(fixture.take(), QStringList(latin1("signal: domain connected")));
}

int main(int argc, char **argv)
{
    enterPrivateNetwork();
    QCoreApplication application(argc, argv);
    TestHalfOpen test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_halfopen.moc"
