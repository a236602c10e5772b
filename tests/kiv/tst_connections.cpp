// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivdredirect.h"
#include "kivfixture.h"
#include "scripteddaemon.h"
#include "temporaryfolder.h"
#include "waiting.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QPointer>
#include <QtCore/QTimerEvent>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

const QString loopback = QLatin1String("127.0.0.1");

/** Opens the way to a private field: access is not checked in an explicit instantiation. */
template <typename Tag, typename Tag::Type field>
struct Exposed {
    friend typename Tag::Type pointerTo(Tag) { return field; }
};

#define EXPOSE(type, field)                                                                        \
    struct field {                                                                                 \
        typedef type KivInterface::*Type;                                                          \
        friend Type pointerTo(field);                                                              \
    };                                                                                             \
    template struct Exposed<field, &KivInterface::field>;

EXPOSE(QString, rcvLocalFrameBuffer)
EXPOSE(QString, rcvDomainFrameBuffer)
EXPOSE(bool, domainTcpActive)
EXPOSE(QString, domainServerIpAddress)
EXPOSE(quint16, domainServerPort)
EXPOSE(qint32, reserved)

/** Puts a TCP socket into any state. */
struct SocketState : QTcpSocket {
    static void set(QTcpSocket *socket, int state)
    {
        void (QAbstractSocket::*const setState)(QAbstractSocket::SocketState) =
            &SocketState::setSocketState;
        (socket->*setState)(QAbstractSocket::SocketState(state));
    }
};

QLocalSocket *localSocket(const KivFixture &fixture)
{
    return fixture.kiv->findChild<QLocalSocket *>();
}

QTcpSocket *domainSocket(const KivFixture &fixture)
{
    return fixture.kiv->findChild<QTcpSocket *>();
}

void tick(KivFixture &fixture)
{
    QTimerEvent event(0);
    QCoreApplication::sendEvent(fixture.kiv.get(), &event);
}

/** A daemon that listens but accepts nothing, and whose queue of connections is full. */
class BusyDaemon
{
public:
    BusyDaemon()
    {
        const QByteArray path = QFile::encodeName(folder.filePath(QLatin1String("kivd")));
        sockaddr_un address;
        std::memset(&address, 0, sizeof address);
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
        const sockaddr *const generic = reinterpret_cast<const sockaddr *>(&address);
        descriptors << socket(AF_UNIX, SOCK_STREAM, 0);
        if (bind(descriptors[0], generic, sizeof address) || listen(descriptors[0], 0))
            qFatal("%s", std::strerror(errno));
        do
            descriptors << socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
        while (::connect(descriptors.last(), generic, sizeof address) == 0);
        if (errno != EAGAIN)
            qFatal("%s", std::strerror(errno));
        redirectKivd(QFile::decodeName(path));
    }

    ~BusyDaemon()
    {
        close();
        redirectKivd(QLatin1String("/nonexistent/kivd"));
    }

    /** Dies without removing its socket file. */
    void close()
    {
        for (int descriptor : descriptors)
            ::close(descriptor);
        descriptors.clear();
    }

    /** Takes the oldest connection out of the queue. */
    void accept() { descriptors << ::accept(descriptors[0], nullptr, nullptr); }

private:
    TemporaryFolder folder;
    QList<int> descriptors;
};

// Qt 4 tells a pair; its timers all keep to their intervals.
template <typename Id, typename Interval>
int intervalOf(const QPair<Id, Interval> &timer)
{
    return timer.second;
}

/** The interval of a timer that keeps to it, or -1. */
template <typename TimerInfo>
auto intervalOf(const TimerInfo &timer) -> decltype(int(timer.interval))
{
    const int precise = 0; // Qt::PreciseTimer, which Qt 4 has no name for
    return int(timer.timerType) == precise ? int(timer.interval) : -1;
}

QList<int> timersOf(QObject *object)
{
    QList<int> intervals;
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(object);
    for (const auto &timer : timers)
        intervals << intervalOf(timer);
    return intervals;
}

/** The intervals of all single-shot timers of the thread: they are the dispatcher's children. */
QList<int> singleShotTimers()
{
    QList<int> intervals;
    for (QObject *child : QAbstractEventDispatcher::instance()->children())
        intervals << timersOf(child);
    return intervals;
}

/** What a debug line shows of a time. */
QString rendered(time_t time)
{
    tm parts;
    localtime_r(&time, &parts);
    char text[64];
    std::strftime(text, sizeof text, "QDateTime(\"%a %b # %H:%M:%S %Y\") ", &parts);
    return QString::fromLatin1(text).replace(QLatin1Char('#'), QString::number(parts.tm_mday));
}

const char localRestarted[] = "debug: Restart connection to local kivd (unix socket) ";
const char unknownAddress[] = "debug: Uknown server ip address - not possible to connect! ";

QString domainRestarted(time_t time)
{
    return latin1("debug: Restart connection to domain kivd (tcp socket) ") + rendered(time);
}

QStringList domainError()
{
    return QStringList() << traced("handleDomainKivSocketErrorSlot",
                                   "KivInterface::handleDomainKivSocketErrorSlot%s")
                         << latin1("signal: domain disconnected");
}

QStringList localError(const QString &text)
{
    return QStringList() << traced("handleLocalKivSocketErrorSlot", "KivInterface::displayError %s")
                         << text << latin1("signal: local disconnected");
}

const char refusedText[] =
    "warning: KivInterface : The connection was refused by the peer. Make sure the fortune server "
    "is running, and check that the host name and port settings are correct. ";
const char peerClosedText[] =
    "The remote socket closed the connection.Note that the client socket (i.e., this socket) will "
    "be closed after the remote close notification has been sent.";
const char notFoundText[] = "warning: KivInterface : The host was not found. Please check the host "
                            "name and port settings. ";
const char accessText[] = "warning: KivInterface : The socket operation failed because the "
                          "application lacked the required privileges. ";

} // namespace

class TestConnections : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void construction();
    void initialFields();
    void timersOfTheClient();
    void secondInstanceIsInert();
    void inertInstanceIsHarmless();
    void destroyedInertInstanceClearsThePointer();
    void destruction();
    void staticsWithoutInstance();
    void firstAttemptAndReconnectionByTheTimers();
    void greetingOfTheLocalDaemon_data();
    void greetingOfTheLocalDaemon();
    void greetingOfTheDomainDaemon_data();
    void greetingOfTheDomainDaemon();
    void localConnectSlotByState();
    void localClosingSocketIsRestarted();
    void domainConnectSlotByState_data();
    void domainConnectSlotByState();
    void domainNeedsActivationAddressAndPort_data();
    void domainNeedsActivationAddressAndPort();
    void hostLookupIsRestarted();
    void verifyLocal();
    void verifyDomain_data();
    void verifyDomain();
    void sendingWhileConnecting();
    void sameServerKeepsTheConnection();
    void otherServerDropsTheConnection_data();
    void otherServerDropsTheConnection();
    void portIsTruncated();
    void deactivationKeepsTheConnection();
    void localErrorValues_data();
    void localErrorValues();
    void domainErrorValues_data();
    void domainErrorValues();
    void localConnectFailures_data();
    void localConnectFailures();
    void domainConnectionRefused();
    void lostConnection_data();
    void lostConnection();
    void sendingToADaemonThatHasGone_data();
    void sendingToADaemonThatHasGone();
    void written_data();
    void written();
    void notConnectedDropsTheMessage();
    void xmlFormatForAWrongTarget_data();
    void xmlFormatForAWrongTarget();
    void bytesWritten();
    void debugSwitch();
    void levels();
};

void TestConnections::init()
{
    redirectKivd(QLatin1String("/nonexistent/kivd"));
    failKivdConnections(0);
}

void TestConnections::construction()
{
    KivFixture fixture;
    QVERIFY(sameRecord(fixture.take(),
                       QStringList() << traced("KivInterface", "Starting KivInterface")
                                     << latin1("debug: KivInterface Allocate 20000 bytes for "
                                               "rcvDomainFrameBuffer ")
                                     << traced("createDomainKivSocket", "Starting KivInterface")));
    QCOMPARE(KivInterface::instance, fixture.kiv.get());
    QCOMPARE(int(fixture.kiv->children().size()), 2);
    QCOMPARE(localSocket(fixture)->state(), QLocalSocket::UnconnectedState);
    QCOMPARE(domainSocket(fixture)->state(), QAbstractSocket::UnconnectedState);
    QVERIFY(!KivInterface::enableDebugPrint);
}

void TestConnections::initialFields()
{
    KivFixture fixture;
    KivInterface inert(nullptr);
    const KivInterface &kiv = *fixture.kiv;
    QVERIFY((kiv.*pointerTo(rcvDomainFrameBuffer())).capacity() >= 200000);
    QVERIFY((inert.*pointerTo(rcvDomainFrameBuffer())).capacity() < 200000);
    for (const KivInterface *object : {&kiv, const_cast<const KivInterface *>(&inert)}) {
        QVERIFY((object->*pointerTo(rcvLocalFrameBuffer())).isEmpty());
        QVERIFY((object->*pointerTo(rcvDomainFrameBuffer())).isEmpty());
        QVERIFY((object->*pointerTo(domainServerIpAddress())).isEmpty());
        QCOMPARE(object->*pointerTo(domainTcpActive()), false);
        QCOMPARE(object->*pointerTo(domainServerPort()), quint16(0));
        QCOMPARE(object->*pointerTo(reserved()), 0);
    }
}

void TestConnections::timersOfTheClient()
{
    const QList<int> before = singleShotTimers();
    KivFixture fixture(KivFixture::RunningTimers);
    QCOMPARE(timersOf(fixture.kiv.get()), QList<int>() << 10000);
    QCOMPARE(singleShotTimers(), before + (QList<int>() << 2000 << 2000));
}

void TestConnections::secondInstanceIsInert()
{
    KivFixture fixture;
    fixture.take();
    const QList<int> before = singleShotTimers();
    QObject owner;
    KivInterface *const second = new KivInterface(&owner);
    QCOMPARE(fixture.take(), QStringList());
    QCOMPARE(KivInterface::instance, fixture.kiv.get());
    QCOMPARE(second->parent(), &owner);
    QVERIFY(second->children().isEmpty());
    QVERIFY(timersOf(second).isEmpty());
    QCOMPARE(singleShotTimers(), before);
}

void TestConnections::inertInstanceIsHarmless()
{
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    KivFixture fixture;
    KivInterface inert(nullptr);
    fixture.take();
    inert.connectToLocalKivSocketSlot();
    inert.updateDomainServerIpAddressLocal(loopback, domain.port());
    inert.connectToDomainKivSocketSlot();
    QTimerEvent event(0);
    inert.timerEvent(&event);
    inert.dataFromKivLocalUnixSlot();
    inert.dataFromKivDomainTcpSlot();
    QCOMPARE(fixture.take(), QStringList());

    QVERIFY(!inert.sendMsgToLocalKiv(QLatin1String("x")));
    QVERIFY(!inert.sendMsgToDomainKiv(QLatin1String("x")));
    const QStringList notConnected =
        QStringList() << traced("verifyLocalKivSocketOk", "localKivSocket->state(): 0")
                      << traced("verifyDomainKivSocketOk", "domainKivSocket->state()");
    QCOMPARE(fixture.take(), notConnected);
    inert.setXmlFormat(KivInterface::KIVTARGET_LOCAL);
    inert.setXmlFormat(KivInterface::KIVTARGET_DOMAIN);
    QCOMPARE(fixture.take(), notConnected);
    inert.handleLocalKivSocketErrorSlot(QLocalSocket::LocalSocketError(8));
    QCOMPARE(fixture.take(), QStringList() << traced("handleLocalKivSocketErrorSlot",
                                                     "KivInterface::displayError %s")
                                           << traced("handleLocalKivSocketErrorSlot",
                                                     "The following error occurred: ."));
    settle();
    QCOMPARE(local.connections() + domain.connections(), 0);
    QVERIFY(inert.children().isEmpty());
    QCOMPARE(KivInterface::instance, fixture.kiv.get());
}

void TestConnections::destroyedInertInstanceClearsThePointer()
{
    KivFixture fixture;
    fixture.take();
    delete new KivInterface(nullptr);
    QVERIFY(!KivInterface::instance);
    QVERIFY(
        sameRecord(fixture.take(), QStringList(traced("~KivInterface", "Deleting KivInterface"))));
}

void TestConnections::destruction()
{
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(local));
    QVERIFY(fixture.connectTo(domain));
    QPointer<QLocalSocket> localEnd = localSocket(fixture);
    QPointer<QTcpSocket> domainEnd = domainSocket(fixture);
    fixture.kiv.reset();
    QVERIFY(!KivInterface::instance);
    QVERIFY(!localEnd);
    QVERIFY(!domainEnd);
    QVERIFY(
        sameRecord(fixture.take(), QStringList(traced("~KivInterface", "Deleting KivInterface"))));

    // The next one starts afresh.
    fixture.restart();
    QCOMPARE(KivInterface::instance, fixture.kiv.get());
    QCOMPARE(int(fixture.take().size()), 3);
}

void TestConnections::staticsWithoutInstance()
{
    KivFixture fixture;
    fixture.kiv.reset();
    fixture.take();
    QVERIFY(!KivInterface::updateDomainServerIpAddress(loopback, 7));
    QVERIFY(!KivInterface::domainServerActivateTcpConnection(true));
    KivInterface::debugPrintEnable();
    QVERIFY(!KivInterface::updateDomainServerIpAddress(loopback, 7));
    QVERIFY(!KivInterface::domainServerActivateTcpConnection(true));
    QCOMPARE(fixture.take(), QStringList());

    // Nothing is kept for the next instance either.
    fixture.restart();
    fixture.take();
    fixture.kiv->connectToDomainKivSocketSlot();
    QCOMPARE(fixture.take(), QStringList());
    QVERIFY(KivInterface::domainServerActivateTcpConnection(true));
    fixture.kiv->connectToDomainKivSocketSlot();
    QCOMPARE(fixture.take(), QStringList(latin1(unknownAddress)));
    QVERIFY(KivInterface::updateDomainServerIpAddress(loopback, 7));
}

void TestConnections::firstAttemptAndReconnectionByTheTimers()
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

void TestConnections::greetingOfTheLocalDaemon_data()
{
    QTest::addColumn<bool>("debug");
    QTest::newRow("quiet") << false;
    QTest::newRow("debug") << true;
}

void TestConnections::greetingOfTheLocalDaemon()
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

void TestConnections::greetingOfTheDomainDaemon_data()
{
    greetingOfTheLocalDaemon_data();
}

void TestConnections::greetingOfTheDomainDaemon()
{
    QFETCH(bool, debug);
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    fixture.take();
    KivInterface::enableDebugPrint = debug;
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    const time_t before = std::time(nullptr);
    fixture.kiv->connectToDomainKivSocketSlot();
    const time_t after = std::time(nullptr);
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
        const QString restarted = record.takeFirst();
        QVERIFY2(restarted == domainRestarted(before) || restarted == domainRestarted(after),
                 qPrintable(restarted));
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

void TestConnections::localConnectSlotByState()
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

void TestConnections::localClosingSocketIsRestarted()
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

void TestConnections::domainConnectSlotByState_data()
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

void TestConnections::domainConnectSlotByState()
{
    QFETCH(int, state);
    QFETCH(bool, restarted);
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    KivFixture fixture;
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    KivInterface::debugPrintEnable();
    fixture.take();
    SocketState::set(domainSocket(fixture), state);
    fixture.kiv->connectToDomainKivSocketSlot();
    const QStringList record = fixture.take();
    if (!restarted) {
        QCOMPARE(record, QStringList());
        QCOMPARE(int(domainSocket(fixture)->state()), state);
        SocketState::set(domainSocket(fixture), 0);
        return;
    }
    QCOMPARE(int(record.size()), 1);
    QVERIFY(spinUntil([&]() { return daemon.lastReceived() == handshake; }));
}

void TestConnections::domainNeedsActivationAddressAndPort_data()
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

void TestConnections::domainNeedsActivationAddressAndPort()
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
}

void TestConnections::hostLookupIsRestarted()
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

void TestConnections::verifyLocal()
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

void TestConnections::verifyDomain_data()
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

void TestConnections::verifyDomain()
{
    QFETCH(int, state);
    QFETCH(QString, text);
    KivFixture fixture;
    fixture.take();
    SocketState::set(domainSocket(fixture), state);
    const bool ok = fixture.kiv->verifyDomainKivSocketOk();
    const bool sent = state != 3 && fixture.kiv->sendMsgToDomainKiv(QLatin1String("x"));
    SocketState::set(domainSocket(fixture), 0);
    QCOMPARE(ok, state == 3);
    QVERIFY(!sent);
    QStringList expected;
    if (!text.isNull())
        expected << traced("verifyDomainKivSocketOk", text)
                 << traced("verifyDomainKivSocketOk", text);
    QCOMPARE(fixture.take(), expected);
}

void TestConnections::sendingWhileConnecting()
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

void TestConnections::sameServerKeepsTheConnection()
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

void TestConnections::otherServerDropsTheConnection_data()
{
    QTest::addColumn<bool>("otherPort");
    QTest::addColumn<bool>("active");
    QTest::newRow("other port") << true << true;
    QTest::newRow("other address") << false << true;
    QTest::newRow("deactivated") << true << false;
}

void TestConnections::otherServerDropsTheConnection()
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

void TestConnections::portIsTruncated()
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

void TestConnections::deactivationKeepsTheConnection()
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

void TestConnections::localErrorValues_data()
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

void TestConnections::localErrorValues()
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

void TestConnections::domainErrorValues_data()
{
    QTest::addColumn<int>("value");
    for (int value = -1; value <= 22; ++value)
        QTest::newRow(QByteArray::number(value).constData()) << value;
}

void TestConnections::domainErrorValues()
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

void TestConnections::localConnectFailures_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("deadFile");
    QTest::addColumn<QString>("text");
    QTest::newRow("no socket file") << 0 << false << latin1(notFoundText);
    QTest::newRow("nobody listens") << 0 << true << latin1(refusedText);
    QTest::newRow("access denied") << EACCES << true << latin1(accessText);
}

void TestConnections::localConnectFailures()
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

void TestConnections::domainConnectionRefused()
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

void TestConnections::lostConnection_data()
{
    QTest::addColumn<bool>("local");
    QTest::addColumn<bool>("politely");
    QTest::newRow("local, closed") << true << true;
    QTest::newRow("local, cut") << true << false;
    QTest::newRow("domain, closed") << false << true;
    QTest::newRow("domain, cut") << false << false;
}

void TestConnections::lostConnection()
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

void TestConnections::sendingToADaemonThatHasGone_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("little") << latin1("lost");
    QTest::newRow("much") << QString(3000000, QLatin1Char('x'));
}

/** That a daemon has gone shows when the event loop runs, not before. */
void TestConnections::sendingToADaemonThatHasGone()
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

void TestConnections::written_data()
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

void TestConnections::written()
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

void TestConnections::notConnectedDropsTheMessage()
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

void TestConnections::xmlFormatForAWrongTarget_data()
{
    QTest::addColumn<int>("target");
    QTest::newRow("2") << 2;
    QTest::newRow("-1") << -1;
}

void TestConnections::xmlFormatForAWrongTarget()
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

void TestConnections::bytesWritten()
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

void TestConnections::debugSwitch()
{
    QVERIFY(!KivInterface::enableDebugPrint);
    KivInterface::debugPrintEnable();
    QVERIFY(KivInterface::enableDebugPrint);
    KivInterface::debugPrintEnable();
    QVERIFY(KivInterface::enableDebugPrint);
    KivInterface::debugPrintDisable();
    QVERIFY(!KivInterface::enableDebugPrint);
}

void TestConnections::levels()
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

    const QList<TraceLine> lifetime =
        QList<TraceLine>() << TraceLine{2, "~KivInterface", latin1("Deleting KivInterface")}
                           << TraceLine{2, "KivInterface", latin1("Starting KivInterface")}
                           << TraceLine{2, "createDomainKivSocket", latin1("Starting KivInterface")}
                           << TraceLine{1, "verifyLocalKivSocketOk",
                                        latin1("localKivSocket->state(): 0")}
                           << TraceLine{1, "verifyDomainKivSocketOk",
                                        latin1("Connecting .......Domain Kiv Tcp socket !")}
                           << TraceLine{1, "verifyDomainKivSocketOk",
                                        latin1("Unknown domainKivSocket->state()")};
    QCOMPARE(compareUnderFilters(fixture, lifetime,
                                 [&]() {
                                     fixture.restart();
                                     fixture.kiv->verifyLocalKivSocketOk();
                                     for (const int state : {2, 6, 0}) {
                                         SocketState::set(domainSocket(fixture), state);
                                         if (state)
                                             fixture.kiv->verifyDomainKivSocketOk();
                                     }
                                 }),
             QString());
}

int main(int argc, char **argv)
{
    // Day and month names in English, texts in UTF-8, wherever the test runs.
    qputenv("LC_ALL", "C.UTF-8");
    QCoreApplication application(argc, argv);
    TestConnections test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_connections.moc"
