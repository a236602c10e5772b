// SPDX-License-Identifier: LGPL-2.1-or-later

// What an application may do in its slots on the client's signals.

#include "waiting.h"
#include "wire.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtCore/QTimerEvent>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

#include <functional>

namespace
{

/** Does something of its own in a slot, at the first signal only. */
class Meddler : public QObject
{
    Q_OBJECT
public:
    Meddler(KivInterface *kiv, const std::function<void()> &action,
            const char *signal = SIGNAL(kivGetSignal(QString, QString)))
        : action(action)
    {
        connect(kiv, signal, SLOT(meddle()));
    }

private Q_SLOTS:
    void meddle()
    {
        const std::function<void()> now = action;
        action = nullptr;
        if (now)
            now();
    }

private:
    std::function<void()> action;
};

/** What a slot with a dialog or the like in it does. */
void runEventLoop()
{
    QEventLoop loop;
    QTimer::singleShot(50, &loop, SLOT(quit()));
    loop.exec();
}

} // namespace

class TestSlots : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void mayConnectAgainInASlot_data();
    void mayConnectAgainInASlot();
    void mayChangeTheServerInASlot();
    void maySendInASlot_data();
    void maySendInASlot();
    void maySendAsSoonAsItIsConnected_data() { transports(); }
    void maySendAsSoonAsItIsConnected();
    void mayDisconnectInASlot_data();
    void mayDisconnectInASlot();
    void mayRunAnEventLoopInASlot_data();
    void mayRunAnEventLoopInASlot();
    void tellsOfReadsBehindAnEventLoop_data();
    void tellsOfReadsBehindAnEventLoop();
    void mayConnectAgainInsideAnEventLoop_data();
    void mayConnectAgainInsideAnEventLoop();
    void mayBeDeletedInASlot();
    void mayBeDeletedAtOnceInASlot_data();
    void mayBeDeletedAtOnceInASlot();
    void mayBeDeletedAsSoonAsItIsConnected_data() { transports(); }
    void mayBeDeletedAsSoonAsItIsConnected();
    void mayBeDeletedInsideAnEventLoop_data();
    void mayBeDeletedInsideAnEventLoop();
    void mayBeDeletedLaterInASlot_data();
    void mayBeDeletedLaterInASlot();
    void mayDeleteAClientFedByHand_data();
    void mayDeleteAClientFedByHand();
};

void TestSlots::mayConnectAgainInASlot_data()
{
    transports();
}

void TestSlots::mayConnectAgainInASlot()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivInterface::debugPrintDisable();
    KivInterface &kiv = *wire.fixture.kiv;
    Meddler meddler(&kiv, [&]() {
        if (local) {
            wire.socket<QLocalSocket>()->abort();
            kiv.connectToLocalKivSocketSlot();
        } else {
            wire.socket<QTcpSocket>()->abort();
            kiv.connectToDomainKivSocketSlot();
        }
    });
    wire.daemon.send(getReply("1", "a") + getReply("2", "b") + "<reply><ref>lost");
    QStringList said;
    QVERIFY(spinUntil([&]() {
        for (const QString &line : wire.fixture.take()) {
            if (line.startsWith(QLatin1String("signal: ")))
                said << line;
        }
        return wire.daemon.connections() == 2 && wire.daemon.lastReceived() == handshake;
    }));
    const QString connected =
        local ? latin1("signal: local connected") : latin1("signal: domain connected");
    // A local connection is up at once, within the slot.
    QCOMPARE(said, local ? QStringList() << got("1", "a") << connected << got("2", "b")
                         : QStringList() << got("1", "a") << got("2", "b") << connected);
    wire.daemon.send(getReply("3", "c"));
    said.clear();
    QVERIFY(spinUntil([&]() {
        said << wire.fixture.take();
        return !said.isEmpty();
    }));
    QCOMPARE(said, QStringList(got("3", "c")));
}

void TestSlots::mayChangeTheServerInASlot()
{
    Wire wire(false);
    QVERIFY(wire.connected);
    KivInterface::debugPrintDisable();
    ScriptedDaemon other(ScriptedDaemon::Tcp);
    Meddler meddler(wire.fixture.kiv.get(), [&]() {
        KivInterface::updateDomainServerIpAddress(latin1("127.0.0.1"), other.port());
    });
    wire.daemon.send(getReply("1", "a") + getReply("2", "b") + "<reply><ref>lost");
    QStringList said;
    QVERIFY(spinUntil([&]() {
        said << wire.fixture.take();
        return said.size() >= 2;
    }));
    QVERIFY(settle());
    said << wire.fixture.take();
    QCOMPARE(said, QStringList() << got("1", "a") << got("2", "b"));
    QCOMPARE(other.connections(), 0);

    QTimerEvent event(0);
    wire.fixture.kiv->timerEvent(&event);
    QVERIFY(spinUntil([&]() { return other.lastReceived() == handshake; }));
    other.send(getReply("3", "c"));
    QVERIFY(spinUntil([&]() { return wire.fixture.take().contains(got("3", "c")); }));
}

void TestSlots::maySendInASlot_data()
{
    transports();
}

void TestSlots::maySendInASlot()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivInterface::debugPrintDisable();
    bool sent = false;
    Meddler meddler(wire.fixture.kiv.get(), [&]() {
        sent = KivInterface::requestData(QLatin1String("again"),
                                         local ? KivInterface::KIVTARGET_LOCAL
                                               : KivInterface::KIVTARGET_DOMAIN);
    });
    wire.daemon.send(getReply("1", "a") + getReply("2", "b"));
    QVERIFY(spinUntil([&]() { return wire.daemon.lastReceived() == "again\r\n\f\n"; }));
    QVERIFY(sent);
    QCOMPARE(wire.fixture.take(), QStringList() << got("1", "a") << got("2", "b"));
}

/** The greeting comes first. */
void TestSlots::maySendAsSoonAsItIsConnected()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    bool sent = false;
    Meddler meddler(
        wire.fixture.kiv.get(),
        [&]() {
            sent = KivInterface::requestData(QLatin1String("at once"),
                                             local ? KivInterface::KIVTARGET_LOCAL
                                                   : KivInterface::KIVTARGET_DOMAIN);
        },
        local ? SIGNAL(kivLocalUnixSocketConnectedSignal())
              : SIGNAL(kivDomainTcpSocketConnectedSignal()));
    wire.daemon.cut();
    QVERIFY(spinUntil([&]() {
        return (local ? int(wire.socket<QLocalSocket>()->state())
                      : int(wire.socket<QTcpSocket>()->state())) == 0;
    }));
    QTimerEvent event(0);
    wire.fixture.kiv->timerEvent(&event);
    const QByteArray expected = QByteArray(handshake) + "at once\r\n\f\n";
    QVERIFY(spinUntil([&]() {
        return wire.daemon.connections() == 2 &&
               wire.daemon.lastReceived().size() >= expected.size();
    }));
    QVERIFY(sent);
    QCOMPARE(wire.daemon.lastReceived(), expected);
}

void TestSlots::mayDisconnectInASlot_data()
{
    transports();
}

void TestSlots::mayDisconnectInASlot()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivInterface::debugPrintDisable();
    KivFixture &fixture = wire.fixture;
    Meddler meddler(fixture.kiv.get(), [&]() {
        QObject::disconnect(fixture.kiv.get(), SIGNAL(kivGetSignal(QString, QString)),
                            fixture.signalLog.get(), nullptr);
    });
    wire.daemon.send(getReply("1", "a") + getReply("2", "b") +
                     "<reply><ref>3</ref><out><edit><ok/></edit></out></reply>\f\n");
    QStringList said;
    QVERIFY(spinUntil([&]() {
        said << fixture.take();
        return said.size() >= 2;
    }));
    QCOMPARE(said, QStringList() << got("1", "a") << latin1("signal: ok(3)"));
}

void TestSlots::mayRunAnEventLoopInASlot_data()
{
    transports();
}

void TestSlots::mayRunAnEventLoopInASlot()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivInterface::debugPrintDisable();
    Meddler meddler(wire.fixture.kiv.get(), [&]() {
        wire.daemon.send(getReply("3", "c"));
        runEventLoop();
    });
    wire.daemon.send(getReply("1", "a") + getReply("2", "b"));
    QStringList said;
    QVERIFY(spinUntil([&]() {
        said << wire.fixture.take();
        return said.size() >= 3;
    }));
    QCOMPARE(said, QStringList() << got("1", "a") << got("2", "b") << got("3", "c"));
}

void TestSlots::tellsOfReadsBehindAnEventLoop_data()
{
    transports();
}

void TestSlots::tellsOfReadsBehindAnEventLoop()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    const QByteArray first = getReply("1", "a") + "ack:b";
    const QByteArray second = "c\f\n" + getReply("3", "c") + "ack:d";
    Meddler meddler(wire.fixture.kiv.get(), [&]() {
        wire.daemon.send(second);
        runEventLoop();
    });
    wire.daemon.send(first);
    QStringList said;
    QVERIFY(spinUntil([&]() {
        said << wire.fixture.take();
        return said.contains(got("3", "c"));
    }));
    said << wire.fixture.take();
    QStringList expected = wire.expect(first);
    expected << wire.expect(second);
    QVERIFY(sameRecord(said, expected));
}

void TestSlots::mayConnectAgainInsideAnEventLoop_data()
{
    transports();
}

void TestSlots::mayConnectAgainInsideAnEventLoop()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivInterface::debugPrintDisable();
    KivInterface &kiv = *wire.fixture.kiv;
    Meddler meddler(&kiv, [&]() {
        if (local) {
            wire.socket<QLocalSocket>()->abort();
            kiv.connectToLocalKivSocketSlot();
        } else {
            wire.socket<QTcpSocket>()->abort();
            kiv.connectToDomainKivSocketSlot();
        }
        spinUntil([&]() {
            return wire.daemon.connections() == 2 && wire.daemon.lastReceived() == handshake;
        });
        wire.daemon.send(getReply("3", "c"));
        runEventLoop();
    });
    wire.daemon.send(getReply("1", "a") + getReply("2", "b") + "<reply><ref>lost");
    QStringList said;
    QVERIFY(spinUntil([&]() {
        for (const QString &line : wire.fixture.take()) {
            if (line.startsWith(QLatin1String("signal: get")))
                said << line;
        }
        return said.size() >= 3;
    }));
    said.sort(); // which of the last two comes first depends on the version of Qt
    QCOMPARE(said, QStringList() << got("1", "a") << got("2", "b") << got("3", "c"));
}

void TestSlots::mayBeDeletedInASlot()
{
    KivFixture fixture;
    Meddler meddler(fixture.kiv.get(), [&]() { delete fixture.kiv.release(); });
    fixture.take();
    QString body = latin1("<reply><ref>1</ref><out><get><data>a</data></get>"
                          "<edit><ok/></edit><get><data>b</data></get></out></reply>");
    fixture.kiv->handleKivMsgBody(body);
    QCOMPARE(fixture.take(),
             QStringList() << got("1", "a") << traced("~KivInterface", "Deleting KivInterface"));
}

namespace
{

/** Something that happens on a connection, and is told of in slots. */
enum Occasion { Answer, Loss, LossFoundByWriting };

} // namespace

void TestSlots::mayBeDeletedAtOnceInASlot_data()
{
    QTest::addColumn<bool>("local");
    QTest::addColumn<int>("occasion");
    QTest::newRow("local, answer") << true << int(Answer);
    QTest::newRow("local, loss") << true << int(Loss);
    QTest::newRow("local, loss found by writing") << true << int(LossFoundByWriting);
    QTest::newRow("domain, answer") << false << int(Answer);
    QTest::newRow("domain, loss") << false << int(Loss);
}

/** Nothing more is told, and the sockets go when Qt is done with them. */
void TestSlots::mayBeDeletedAtOnceInASlot()
{
    QFETCH(bool, local);
    QFETCH(int, occasion);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivInterface::debugPrintDisable();
    const QPointer<QLocalSocket> localSocket(wire.socket<QLocalSocket>());
    const QPointer<QTcpSocket> domainSocket(wire.socket<QTcpSocket>());
    bool areClosed = false;
    const char *const lost = local ? SIGNAL(kivLocalUnixSocketDisConnectedSignal())
                                   : SIGNAL(kivDomainTcpSocketDisConnectedSignal());
    Meddler meddler(
        wire.fixture.kiv.get(),
        [&]() {
            delete wire.fixture.kiv.release();
            areClosed = localSocket && domainSocket &&
                        localSocket->state() == QLocalSocket::UnconnectedState &&
                        domainSocket->state() == QAbstractSocket::UnconnectedState &&
                        !localSocket->isOpen() && !domainSocket->isOpen();
        },
        occasion == Answer ? SIGNAL(kivGetSignal(QString, QString)) : lost);
    if (occasion == Answer)
        wire.daemon.send(getReply("1", "a") + getReply("2", "b") + "unfinished");
    else
        wire.daemon.cut();
    if (occasion == LossFoundByWriting)
        QVERIFY(KivInterface::requestDataGet(latin1("r"), latin1("/")));
    QVERIFY(spinUntil([&]() { return !KivInterface::instance; }));
    QVERIFY(areClosed);
    QVERIFY(waitFor([&]() {
        runEventLoop(); // a real one, as deleteLater() wants it
        return !localSocket && !domainSocket;
    }));
    const QStringList said = wire.fixture.take();
    QCOMPARE(said.count(got("2", "b")), 0);
    QCOMPARE(said.last(), traced("~KivInterface", "Deleting KivInterface"));
    wire.fixture.restart();
    QVERIFY(wire.fixture.connectTo(wire.daemon));
}

void TestSlots::mayBeDeletedAsSoonAsItIsConnected()
{
    QFETCH(bool, local);
    ScriptedDaemon daemon(local ? ScriptedDaemon::Local : ScriptedDaemon::Tcp);
    KivFixture fixture;
    Meddler meddler(
        fixture.kiv.get(), [&]() { delete fixture.kiv.release(); },
        local ? SIGNAL(kivLocalUnixSocketConnectedSignal())
              : SIGNAL(kivDomainTcpSocketConnectedSignal()));
    KivInterface::updateDomainServerIpAddress(latin1("127.0.0.1"), daemon.port());
    KivInterface::domainServerActivateTcpConnection(!local);
    QTimerEvent event(0);
    QCoreApplication::sendEvent(fixture.kiv.get(), &event);
    QVERIFY(spinUntil([&]() { return !KivInterface::instance; }));
    QVERIFY(settle());
    QCOMPARE(fixture.take().last(), traced("~KivInterface", "Deleting KivInterface"));
}

void TestSlots::mayBeDeletedInsideAnEventLoop_data()
{
    QTest::addColumn<bool>("local");
    QTest::addColumn<bool>("inASlot");
    QTest::addColumn<bool>("later");
    QTest::newRow("local, by the slot itself") << true << false << false;
    QTest::newRow("local, in another slot") << true << true << false;
    QTest::newRow("local, later, in another slot") << true << true << true;
    QTest::newRow("domain, by the slot itself") << false << false << false;
    QTest::newRow("domain, in another slot") << false << true << false;
    QTest::newRow("domain, later, in another slot") << false << true << true;
}

/** The slot that runs the loop returns to sockets that are still there. */
void TestSlots::mayBeDeletedInsideAnEventLoop()
{
    QFETCH(bool, local);
    QFETCH(bool, inASlot);
    QFETCH(bool, later);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivInterface::debugPrintDisable();
    const QPointer<QObject> localSocket(wire.socket<QLocalSocket>());
    const QPointer<QObject> domainSocket(wire.socket<QTcpSocket>());
    QObject *const client = wire.fixture.kiv.get();
    bool wereThere = false;
    const auto end = [&]() {
        wire.fixture.kiv.release();
        if (later)
            client->deleteLater();
        else
            delete client;
    };
    Meddler inner(wire.fixture.kiv.get(), end,
                  local ? SIGNAL(kivLocalUnixSocketDisConnectedSignal())
                        : SIGNAL(kivDomainTcpSocketDisConnectedSignal()));
    Meddler outer(wire.fixture.kiv.get(), [&]() {
        if (inASlot)
            wire.daemon.cut();
        else
            end();
        runEventLoop();
        wereThere = localSocket && domainSocket;
    });
    wire.daemon.send(getReply("1", "a") + getReply("2", "b") + "unfinished");
    QVERIFY(spinUntil([&]() { return wereThere || !KivInterface::instance; }));
    QVERIFY(waitFor([&]() { return !localSocket && !domainSocket; }));
    QVERIFY(wereThere);
    QVERIFY(!KivInterface::instance);
    const QStringList said = wire.fixture.take();
    QCOMPARE(said.count(got("2", "b")), 0);
    QCOMPARE(said.last(), traced("~KivInterface", "Deleting KivInterface"));
    wire.fixture.restart();
    QVERIFY(wire.fixture.connectTo(wire.daemon));
}

void TestSlots::mayBeDeletedLaterInASlot_data()
{
    transports();
}

void TestSlots::mayBeDeletedLaterInASlot()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivInterface::debugPrintDisable();
    Meddler meddler(wire.fixture.kiv.get(), [&]() { wire.fixture.kiv.release()->deleteLater(); });
    wire.daemon.send(getReply("1", "a") + getReply("2", "b") + "unfinished");
    QVERIFY(waitFor([&]() { return !KivInterface::instance; }));
    QCOMPARE(wire.fixture.take(), QStringList()
                                      << got("1", "a") << got("2", "b")
                                      << traced("~KivInterface", "Deleting KivInterface"));
}

void TestSlots::mayDeleteAClientFedByHand_data()
{
    transports();
}

void TestSlots::mayDeleteAClientFedByHand()
{
    QFETCH(bool, local);
    Wire wire(local);
    QVERIFY(wire.connected);
    KivInterface &kiv = *wire.fixture.kiv;
    QIODevice *const socket =
        local ? static_cast<QIODevice *>(wire.socket<QLocalSocket>()) : wire.socket<QTcpSocket>();
    Meddler meddler(&kiv, [&]() { delete wire.fixture.kiv.release(); });
    const QByteArray sent = getReply("1", "a") + getReply("2", "b");
    socket->blockSignals(true); // or the client would read itself
    wire.daemon.send(sent);
    QVERIFY(spinUntil([&]() { return socket->bytesAvailable() == sent.size(); }));
    socket->blockSignals(false);
    if (local)
        kiv.dataFromKivLocalUnixSlot();
    else
        kiv.dataFromKivDomainTcpSlot();
    const QStringList said = wire.fixture.take();
    QVERIFY(said.contains(got("1", "a")));
    QCOMPARE(said.last(), traced("~KivInterface", "Deleting KivInterface"));
}

int main(int argc, char **argv)
{
    // Debug lines come back from the local encoding on Qt 4: let it be able to hold them all.
    qputenv("LC_ALL", "C.UTF-8");
    QCoreApplication application(argc, argv);
    TestSlots test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_slots.moc"
