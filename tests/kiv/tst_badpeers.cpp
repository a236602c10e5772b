// SPDX-License-Identifier: LGPL-2.1-or-later

// Daemons that are there but do not behave: one that stands still, that never speaks, that never
// reads, that floods its clients. None of them holds up the application: no call of the client
// blocks, what was accepted while the connection lasts arrives in order, and all else goes on.

#include "connectionsupport.h"
#include "kivdredirect.h"
#include "kivfixture.h"
#include "loopback.h"
#include "mortaldaemon.h"
#include "scripteddaemon.h"
#include "waiting.h"
#include "wire.h"

#include <QtCore/QFile>
#include <QtCore/QTimer>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

KivInterface::KIVTARGET_ENUM targetOf(bool local)
{
    return local ? KivInterface::KIVTARGET_LOCAL : KivInterface::KIVTARGET_DOMAIN;
}

QString connectedSignal(bool local)
{
    return local ? latin1("signal: local connected") : latin1("signal: domain connected");
}

/** Collects the client's signals until there are so many that begin like this. */
bool collect(KivFixture &fixture, QStringList &said, const QString &begin, int count)
{
    int found = 0;
    return spinUntil([&]() {
        for (const QString &line : fixture.take()) {
            if (line.startsWith(latin1("signal: ")))
                said << line;
            found += line.startsWith(begin) ? 1 : 0;
        }
        return found >= count;
    });
}

bool connectTo(MortalDaemon &daemon, KivFixture &fixture)
{
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    tick(fixture);
    const bool connected = spinUntil([&]() {
        return localSocket(fixture)->state() == QLocalSocket::ConnectedState &&
               domainSocket(fixture)->state() == QAbstractSocket::ConnectedState;
    });
    fixture.take();
    return connected;
}

/** A daemon that does nothing but what it is told to, not even read. */
class IdleDaemon
{
public:
    explicit IdleDaemon(bool local)
    {
        listener = local ? listenLocally() : takePort(0, false);
        if (listen(listener, 1) != 0)
            qFatal("cannot listen: %s", std::strerror(errno));
        fcntl(listener, F_SETFL, O_NONBLOCK);
    }

    ~IdleDaemon()
    {
        close(listener);
        hangUp();
        redirectKivd(QLatin1String("/nonexistent/kivd"));
    }

    int port() const { return portOf(listener); }

    /** Takes whoever waits for it. */
    void accept()
    {
        for (int next; (next = ::accept(listener, nullptr, nullptr)) >= 0;) {
            fcntl(next, F_SETFL, O_NONBLOCK);
            connections << next;
        }
    }

    /** What there is to be read from the latest connection, up to some limit. */
    QByteArray read()
    {
        QByteArray bytes(100000, 0);
        const ssize_t count = ::read(connections.last(), bytes.data(), size_t(bytes.size()));
        bytes.truncate(int(qMax(ssize_t(0), count)));
        return bytes;
    }

    void hangUp()
    {
        for (const int connection : connections)
            close(connection);
        connections.clear();
    }

private:
    Q_DISABLE_COPY(IdleDaemon)

    int listenLocally()
    {
        const QByteArray path = QFile::encodeName(folder.filePath(QLatin1String("kivd")));
        sockaddr_un address;
        std::memset(&address, 0, sizeof address);
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
        const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
            qFatal("cannot bind: %s", std::strerror(errno));
        redirectKivd(QFile::decodeName(path));
        return socket;
    }

    TemporaryFolder folder;
    int listener;
    QList<int> connections;
};

/** Connects the client to a daemon that will not read. */
bool connectTo(IdleDaemon &daemon, bool local, KivFixture &fixture)
{
    if (!local) {
        KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
        KivInterface::domainServerActivateTcpConnection(true);
    }
    fixture.take();
    tick(fixture);
    QStringList said;
    const bool connected = collect(fixture, said, connectedSignal(local), 1);
    if (connected)
        daemon.accept();
    return connected;
}

/** Fills the queue of a listening socket until the system answers nobody any more. */
QList<int> fillQueue(int port)
{
    sockaddr_in address;
    std::memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(in_port_t(port));
    QList<int> sockets;
    pollfd last;
    do {
        last = {socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), POLLOUT, 0};
        connect(last.fd, reinterpret_cast<const sockaddr *>(&address), sizeof address);
        sockets << last.fd;
    } while (poll(&last, 1, 200) == 1);
    return sockets;
}

} // namespace

/** Counts what comes in a flood, in the place of the fixture, which would keep all of it. */
class FloodGauge : public QObject
{
    Q_OBJECT
public:
    explicit FloodGauge(KivFixture &fixture)
        : notifications(0)
        , answers(0)
        , timeouts(0)
        , inOrder(true)
    {
        KivInterface *const kiv = fixture.kiv.get();
        kiv->disconnect(&fixture);
        kiv->disconnect(fixture.signalLog.get());
        connect(kiv, SIGNAL(kivGetSignal(QString, QString)), SLOT(get()));
        connect(kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
                SLOT(notify(QString, QString, QString, QString, QString)));
        connect(&timer, SIGNAL(timeout()), SLOT(timeout()));
        timer.start(1);
    }

    int notifications;
    int answers;
    int timeouts;
    bool inOrder; ///< whether each notification was the next one

private Q_SLOTS:
    void get() { ++answers; }
    void timeout() { ++timeouts; }
    void notify(const QString &, const QString &, const QString &, const QString &,
                const QString &data)
    {
        inOrder = inOrder && data.startsWith(MortalDaemon::changeNumber(1, notifications++));
    }

private:
    QTimer timer;
};

class TestBadPeers : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { resetKivd(); }
    void waitsForAStoppedDaemon_data() { transports(); }
    void waitsForAStoppedDaemon();
    void waitsForADaemonWithAFullQueue();
    void waitsForADaemonThatNeverSpeaks_data() { transports(); }
    void waitsForADaemonThatNeverSpeaks();
    void mayTurnToAnotherConnection();
    void keepsWhatADaemonDoesNotRead_data() { transports(); }
    void keepsWhatADaemonDoesNotRead();
    void forgetsWhatWasNeverRead_data() { transports(); }
    void forgetsWhatWasNeverRead();
    void goesOnWhileADaemonFloodsIt_data() { transports(); }
    void goesOnWhileADaemonFloodsIt();
    void mayBeDeletedInAFlood_data() { transports(); }
    void mayBeDeletedInAFlood();
};

/** What is sent to a stopped daemon, much more than the system keeps, arrives when it goes on. */
void TestBadPeers::waitsForAStoppedDaemon()
{
    QFETCH(bool, local);
    MortalDaemon daemon;
    KivFixture fixture;
    daemon.start();
    daemon.pause();
    QVERIFY(connectTo(daemon, fixture)); // the system accepts for it
    const int count = 100;
    const QString padding(50000, QLatin1Char('x'));
    QStringList expected;
    for (int i = 0; i < count; ++i) {
        const QString ref = QString::number(i);
        QVERIFY(KivInterface::requestData(padding, targetOf(local)));
        QVERIFY(KivInterface::requestDataGet(ref, latin1("/large/10"), targetOf(local)));
        expected << QString::fromLatin1("signal: get(%1, %2)")
                        .arg(ref, MortalDaemon::answerTo(1, ref, 10));
    }
    QVERIFY(settle());
    QCOMPARE(fixture.take(), QStringList());
    daemon.resume();
    QStringList said;
    QVERIFY(collect(fixture, said, latin1("signal: get"), count));
    QVERIFY(sameRecord(said, expected));
}

/** The local daemon's full queue is in TestConnecting. */
void TestBadPeers::waitsForADaemonWithAFullQueue()
{
    IdleDaemon daemon(false);
    const QList<int> others = fillQueue(daemon.port());
    KivFixture fixture;
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    fixture.take();
    for (int ticks = 0; ticks < 3; ++ticks) {
        fixture.kiv->connectToDomainKivSocketSlot();
        QVERIFY(settle());
        QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::ConnectingState);
        QVERIFY(!fixture.kiv->sendMsgToDomainKiv(QLatin1String("dropped")));
        QCOMPARE(fixture.take(), QStringList(traced("verifyDomainKivSocketOk",
                                                    "Connecting .......Domain Kiv Tcp socket !")));
    }
    for (const int other : others)
        close(other);
    QVERIFY(spinUntil([&]() {
        daemon.accept();
        return fixture.take().contains(connectedSignal(false));
    }));
}

void TestBadPeers::waitsForADaemonThatNeverSpeaks()
{
    QFETCH(bool, local);
    ScriptedDaemon daemon(local ? ScriptedDaemon::Local : ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    QByteArray requests;
    for (int i = 0; i < 100; ++i) {
        QVERIFY(KivInterface::requestDataGet(latin1("r"), latin1("/"), targetOf(local)));
        requests += "<request><ref>r</ref><rpc><get><path>/</path></get></rpc></request>\r\n\f\n";
        if (local)
            fixture.kiv->connectToLocalKivSocketSlot();
        else
            fixture.kiv->connectToDomainKivSocketSlot();
    }
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == requests; }));
    QVERIFY(settle());
    QCOMPARE(fixture.take(), QStringList());
    QCOMPARE(daemon.connections(), 1);
    daemon.send(getReply("r", "late"));
    QVERIFY(spinUntil([&]() { return fixture.take().contains(got("r", "late")); }));
}

/** What an application does that has waited long enough. */
void TestBadPeers::mayTurnToAnotherConnection()
{
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    ScriptedDaemon local(ScriptedDaemon::Local);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(domain));
    QVERIFY(fixture.connectTo(local));
    // The domain daemon's address, taken away and given back, drops the connection.
    KivInterface::updateDomainServerIpAddress(QString(), 0);
    KivInterface::updateDomainServerIpAddress(loopback, domain.port());
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::UnconnectedState);
    tick(fixture);
    QVERIFY(spinUntil([&]() { return domain.connections() == 2; }));
    QCOMPARE(local.connections(), 1);
    // The local daemon's goes with the client.
    fixture.restart();
    tick(fixture);
    QVERIFY(spinUntil([&]() { return local.connections() == 2; }));
}

/** Each text is accepted at once; all of them arrive when the daemon reads, whole and in order. */
void TestBadPeers::keepsWhatADaemonDoesNotRead()
{
    QFETCH(bool, local);
    IdleDaemon daemon(local);
    KivFixture fixture;
    QVERIFY(connectTo(daemon, local, fixture));
    QByteArray expected = handshake;
    for (int i = 0; i < 80; ++i) {
        const QString text(100000, QLatin1Char(char('0' + i)));
        QVERIFY(KivInterface::requestData(text, targetOf(local)));
        expected += text.toLatin1() + "\r\n\f\n";
    }
    QCOMPARE(fixture.take(), QStringList());
    QByteArray received;
    QVERIFY(spinUntil([&]() {
        received += daemon.read();
        return received.size() >= expected.size();
    }));
    QVERIFY(received == expected);
    QCOMPARE(fixture.take(), QStringList());
}

void TestBadPeers::forgetsWhatWasNeverRead()
{
    QFETCH(bool, local);
    IdleDaemon daemon(local);
    KivFixture fixture;
    QVERIFY(connectTo(daemon, local, fixture));
    const QIODevice *const socket = local ? static_cast<QIODevice *>(localSocket(fixture))
                                          : static_cast<QIODevice *>(domainSocket(fixture));
    for (int i = 0; i < 80; ++i)
        KivInterface::requestData(QString(100000, QLatin1Char('x')), targetOf(local));
    QVERIFY(socket->bytesToWrite() > 0);
    daemon.hangUp();
    QStringList said;
    QVERIFY(collect(fixture, said, latin1("signal: "), 1));
    QVERIFY(settle());
    said << fixture.take();
    QCOMPARE(int(said.size()), 1);
    // A new connection begins with the handshake alone.
    tick(fixture);
    QVERIFY(collect(fixture, said, connectedSignal(local), 1));
    daemon.accept();
    QByteArray received;
    QVERIFY(spinUntil([&]() {
        received += daemon.read();
        return !received.isEmpty();
    }));
    QVERIFY(settle());
    QCOMPARE(received + daemon.read(), QByteArray(handshake));
}

/** Timers run, the other daemon is heard, and so is the flooding one, without a gap. */
void TestBadPeers::goesOnWhileADaemonFloodsIt()
{
    QFETCH(bool, local);
    MortalDaemon daemon;
    KivFixture fixture;
    daemon.start();
    QVERIFY(connectTo(daemon, fixture));
    KivInterface::requestDataSubscribe(latin1("f"), latin1("/flood"), latin1("changes"),
                                       targetOf(local));
    FloodGauge gauge(fixture);
    for (int i = 1; i <= 6; ++i) {
        KivInterface::requestDataGet(latin1("g"), latin1("/large/10"),
                                     targetOf(i % 2 ? local : !local));
        const int notifications = gauge.notifications;
        const int timeouts = gauge.timeouts;
        QVERIFY(spinUntil([&]() {
            return gauge.answers == i && gauge.notifications > notifications + 10 &&
                   gauge.timeouts > timeouts;
        }));
        QVERIFY(gauge.inOrder);
    }
}

void TestBadPeers::mayBeDeletedInAFlood()
{
    QFETCH(bool, local);
    MortalDaemon daemon;
    KivFixture fixture;
    daemon.start();
    QVERIFY(connectTo(daemon, fixture));
    KivInterface::requestDataSubscribe(latin1("f"), latin1("/flood"), latin1("changes"),
                                       targetOf(local));
    {
        FloodGauge gauge(fixture);
        QVERIFY(spinUntil([&]() { return gauge.notifications > 10; }));
    }
    fixture.restart();
    fixture.take();
    QVERIFY(settle());
    QCOMPARE(fixture.take(), QStringList());
}

QTEST_MAIN(TestBadPeers)
#include "tst_badpeers.moc"
