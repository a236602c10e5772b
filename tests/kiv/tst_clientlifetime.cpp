// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connectionsupport.h"
#include "kivfixture.h"
#include "scripteddaemon.h"
#include "waiting.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QPointer>
#include <QtCore/QTimerEvent>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

namespace
{

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

} // namespace

class TestClientLifetime : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void hasItsSignalsAndSlotsInOrder();
    void createsItsSocketsAndTellsOfIt();
    void startsWithEmptyFields();
    void startsTwoShotsAndAPeriodicTimer();
    void leavesTheFirstInChargeWhenASecondComes();
    void doesNothingAsASecond();
    void clearsThePointerWhenASecondGoes();
    void dropsBothConnectionsAtItsEnd();
    void refusesStaticCallsWithoutAnInstance();
    void switchesTheDebugOutput();
    void logsItsLifeAtTheRightLevels();
};

void TestClientLifetime::init()
{
    resetKivd();
}

void TestClientLifetime::hasItsSignalsAndSlotsInOrder()
{
    const char *const methods[] = {"kivOkSignal(QString)",
                                   "kivErrorSignal(QString,QString,QString)",
                                   "kivGetSignal(QString,QString)",
                                   "kivNotifySignal(QString,QString,QString,QString,QString)",
                                   "kivLocalUnixSocketConnectedSignal()",
                                   "kivLocalUnixSocketDisConnectedSignal()",
                                   "kivDomainTcpSocketConnectedSignal()",
                                   "kivDomainTcpSocketDisConnectedSignal()",
                                   "dataFromKivLocalUnixSlot()",
                                   "dataFromKivDomainTcpSlot()",
                                   "handleLocalKivSocketErrorSlot(QLocalSocket::LocalSocketError)",
                                   "handleDomainKivSocketErrorSlot(QAbstractSocket::SocketError)",
                                   "connectedToLocalKivSlot()",
                                   "connectedToDomainKivSlot()",
                                   "connectToLocalKivSocketSlot()",
                                   "connectToDomainKivSocketSlot()",
                                   "bytesWrittenSlot(qint64)"};
    const int signalCount = 8;
    const QMetaObject &meta = KivInterface::staticMetaObject;
    QCOMPARE(meta.className(), "KivInterface");
    QCOMPARE(meta.superClass()->className(), "QObject");
    int index = meta.methodOffset();
    for (const char *const method : methods) {
        QCOMPARE(meta.indexOfMethod(method), index);
        const bool isSignal = index - meta.methodOffset() < signalCount;
        QCOMPARE(meta.method(index).methodType(),
                 isSignal ? QMetaMethod::Signal : QMetaMethod::Slot);
        QVERIFY(isSignal || meta.method(index).access() == QMetaMethod::Public);
        ++index;
    }
    QCOMPARE(meta.methodCount(), index);
}

void TestClientLifetime::createsItsSocketsAndTellsOfIt()
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

void TestClientLifetime::startsWithEmptyFields()
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

void TestClientLifetime::startsTwoShotsAndAPeriodicTimer()
{
    const QList<int> before = singleShotTimers();
    KivFixture fixture(KivFixture::RunningTimers);
    QCOMPARE(timersOf(fixture.kiv.get()), QList<int>() << 10000);
    QCOMPARE(singleShotTimers(), before + (QList<int>() << 2000 << 2000));
}

void TestClientLifetime::leavesTheFirstInChargeWhenASecondComes()
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

void TestClientLifetime::doesNothingAsASecond()
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

void TestClientLifetime::clearsThePointerWhenASecondGoes()
{
    KivFixture fixture;
    fixture.take();
    delete new KivInterface(nullptr);
    QVERIFY(!KivInterface::instance);
    QVERIFY(
        sameRecord(fixture.take(), QStringList(traced("~KivInterface", "Deleting KivInterface"))));
}

void TestClientLifetime::dropsBothConnectionsAtItsEnd()
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

void TestClientLifetime::refusesStaticCallsWithoutAnInstance()
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

void TestClientLifetime::switchesTheDebugOutput()
{
    QVERIFY(!KivInterface::enableDebugPrint);
    KivInterface::debugPrintEnable();
    QVERIFY(KivInterface::enableDebugPrint);
    KivInterface::debugPrintEnable();
    QVERIFY(KivInterface::enableDebugPrint);
    KivInterface::debugPrintDisable();
    QVERIFY(!KivInterface::enableDebugPrint);
}

void TestClientLifetime::logsItsLifeAtTheRightLevels()
{
    ScriptedDaemon local(ScriptedDaemon::Local);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(local));
    KivInterface::debugPrintEnable();

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
                                         setState(domainSocket(fixture), state);
                                         if (state)
                                             fixture.kiv->verifyDomainKivSocketOk();
                                     }
                                 }),
             QString());
}

QTEST_MAIN(TestClientLifetime)
#include "tst_clientlifetime.moc"
