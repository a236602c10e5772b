// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bareclient.h"
#include "simulatorprocess.h"
#include "waiting.h"
#include "wiremessages.h"

#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtTest/QtTest>

#include <memory>

namespace
{

const BareClient::Transport local = BareClient::Local;
const BareClient::Transport tcp = BareClient::Tcp;

const QByteArray question = getRequest("r", "/state/blank");
const QByteArray answer = getAnswer("r", "/state/blank", "<blank> </blank>");

/** The piece ends that an order asks for, in a frame of @a size bytes. */
QSet<int> pieceEnds(int size, int piece, bool splitSeparator)
{
    QSet<int> ends;
    for (int at = piece; at < size; at += piece) {
        if (at < size - 1)
            ends << at;
    }
    if (splitSeparator)
        ends << size - 1;
    ends << size;
    return ends;
}

} // namespace

/** Every misbehaviour of kivsim, as its clients see it. */
class tst_KivSimMisbehaviour : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void answersInPieces_data();
    void answersInPieces();
    void delaysEachFrame();
    void holdsUpNobodyElse();
    void cuts_data();
    void cuts();
    void cutsNotifications();
    void cutsBehindGarbage();
    void sendsGarbage_data();
    void sendsGarbage();
    void replacesTheOrderBefore();
    void keepsTheOrderOfAnswers();
    void concernsOneConnection();
    void startsWithAnOrder();

private:
    std::unique_ptr<SimulatorProcess> kivsim;
};

void tst_KivSimMisbehaviour::init()
{
    kivsim.reset(new SimulatorProcess);
    QVERIFY(kivsim->start());
}

void tst_KivSimMisbehaviour::cleanup()
{
    QCOMPARE(kivsim->stop(), QByteArray("exit 0"));
    QCOMPARE(readable(kivsim->errors()), QString());
}

void tst_KivSimMisbehaviour::answersInPieces_data()
{
    QTest::addColumn<QByteArray>("order");
    QTest::addColumn<int>("piece");
    QTest::addColumn<bool>("splitSeparator");
    const int size = int(answer.size());
    QTest::newRow("bytes") << QByteArray("bytes,gap:1") << 1 << false;
    QTest::newRow("pieces") << QByteArray("pieces:7,gap:5") << 7 << false;
    QTest::newRow("a piece that would cut the separator")
        << "gap:1,pieces:" + QByteArray::number(size - 1) << size - 1 << false;
    QTest::newRow("longer pieces than the frame")
        << QByteArray("pieces:1048576,gap:1") << size << false;
    QTest::newRow("split separator") << QByteArray("split-separator,gap:5") << size << true;
    QTest::newRow("split separator, bytes")
        << QByteArray("bytes,split-separator,gap:1") << 1 << true;
    QTest::newRow("split separator, pieces")
        << QByteArray("split-separator,pieces:50,gap:5") << 50 << true;
}

// The system may join pieces but does not cut them: a read ends where a piece does, and in the
// course of many answers at the end of every piece.
void tst_KivSimMisbehaviour::answersInPieces()
{
    QFETCH(QByteArray, order);
    QFETCH(int, piece);
    QFETCH(bool, splitSeparator);
    const int size = int(answer.size());
    const QSet<int> allowed = pieceEnds(size, piece, splitSeparator);
    for (BareClient::Transport transport : {local, tcp}) {
        BareClient client(transport, *kivsim);
        client.send(misbehaveRequest("m", order));
        QCOMPARE(readable(client.frame()), readable(sessionInfoAnswer("m")));
        QSet<int> seen;
        const auto allSeen = [&]() {
            client.takeReadEnds();
            client.send(question);
            if (client.bytes(size) != answer)
                return true;
            for (int end : client.takeReadEnds())
                seen << end;
            return seen.contains(allowed) || !allowed.contains(seen);
        };
        QVERIFY(waitFor(allSeen));
        QVERIFY(seen == allowed);
    }
}

void tst_KivSimMisbehaviour::delaysEachFrame()
{
    BareClient client(tcp, *kivsim);
    client.send(misbehaveRequest("m", "delay:200"));
    QCOMPARE(readable(client.frame()), readable(sessionInfoAnswer("m")));
    for (int i = 0; i < 2; ++i) {
        client.send(question);
        QCOMPARE(readable(client.frame()), readable(answer));
    }
}

void tst_KivSimMisbehaviour::holdsUpNobodyElse()
{
    BareClient delayed(local, *kivsim);
    delayed.send(misbehaveRequest("m", "delay:600000") + question);
    QCOMPARE(readable(delayed.frame()), readable(sessionInfoAnswer("m")));
    BareClient other(local, *kivsim);
    QCOMPARE(readable(other.exchange(question)), readable(answer));
    QVERIFY(delayed.isConnected());
    QCOMPARE(readable(delayed.arrived()), QString());
}

void tst_KivSimMisbehaviour::cuts_data()
{
    const int size = int(answer.size());
    QTest::addColumn<QByteArray>("order");
    QTest::addColumn<int>("length");
    QTest::newRow("in the middle") << QByteArray("cut") << size / 2;
    QTest::newRow("before the first byte") << QByteArray("cut:0") << 0;
    QTest::newRow("behind the first byte") << QByteArray("cut:1") << 1;
    QTest::newRow("in the separator") << "cut:" + QByteArray::number(size - 1) << size - 1;
    QTest::newRow("not behind the frame") << "cut:" + QByteArray::number(size) << size - 1;
    QTest::newRow("far behind") << QByteArray("cut:1048576") << size - 1;
    QTest::newRow("in pieces") << QByteArray("cut:50,pieces:7") << 50;
    QTest::newRow("late") << QByteArray("delay:20,cut:50") << 50;
}

void tst_KivSimMisbehaviour::cuts()
{
    QFETCH(QByteArray, order);
    QFETCH(int, length);
    for (BareClient::Transport transport : {local, tcp}) {
        BareClient client(transport, *kivsim);
        client.send(misbehaveRequest("m", order));
        QCOMPARE(readable(client.frame()), readable(sessionInfoAnswer("m")));
        QVERIFY(client.isConnected());
        client.send(question);
        QCOMPARE(readable(client.untilClosed()), readable(answer.left(length)));
    }
    BareClient next(local, *kivsim);
    QCOMPARE(readable(next.exchange(question)), readable(answer));
}

void tst_KivSimMisbehaviour::cutsNotifications()
{
    const QByteArray path = "/config/system/hostname";
    const QByteArray data = "<hostname>new</hostname>";
    const QByteArray report = notification("s", "patch", path, path, data);
    BareClient subscriber(tcp, *kivsim);
    BareClient editor(local, *kivsim);
    subscriber.send(subscribeRequest("s", "<path>" + path + "</path>") +
                    misbehaveRequest("m", "cut"));
    QCOMPARE(readable(subscriber.frame()), readable(sessionInfoAnswer("s")));
    QCOMPARE(readable(subscriber.frame()), readable(sessionInfoAnswer("m")));
    QCOMPARE(readable(editor.exchange(editRequest("e", "patch", path, data))),
             readable(editAnswer("e")));
    QCOMPARE(readable(subscriber.untilClosed()), readable(report.left(report.size() / 2)));
    QCOMPARE(readable(editor.exchange(question)), readable(answer));
}

void tst_KivSimMisbehaviour::cutsBehindGarbage()
{
    BareClient client(local, *kivsim);
    client.send(misbehaveRequest("m", "garbage:10,cut:20"));
    QCOMPARE(readable(client.frame()), readable(sessionInfoAnswer("m")));
    client.send(question);
    QCOMPARE(int(client.frame().size()), 12);
    QCOMPARE(readable(client.untilClosed()), readable(answer.left(20)));
}

void tst_KivSimMisbehaviour::sendsGarbage_data()
{
    QTest::addColumn<QByteArray>("order");
    QTest::addColumn<int>("size");
    QTest::newRow("default") << QByteArray("garbage") << 64;
    QTest::newRow("one byte") << QByteArray("garbage:1") << 1;
    QTest::newRow("much") << QByteArray("garbage:1048576") << 1048576;
    QTest::newRow("in pieces") << QByteArray("garbage:100,pieces:9") << 100;
}

void tst_KivSimMisbehaviour::sendsGarbage()
{
    QFETCH(QByteArray, order);
    QFETCH(int, size);
    BareClient client(local, *kivsim);
    client.send(misbehaveRequest("m", order));
    QCOMPARE(readable(client.frame()), readable(sessionInfoAnswer("m")));
    QByteArray first;
    for (int i = 0; i < 2; ++i) {
        client.send(question);
        const QByteArray garbage = client.frame();
        QCOMPARE(int(garbage.size()), size + 2);
        QVERIFY(garbage.endsWith("\f\n"));
        QCOMPARE(garbage.count('\f'), 1);
        QCOMPARE(garbage.count('\0'), 0);
        QVERIFY(i == 0 || garbage == first);
        first = garbage;
        QCOMPARE(readable(client.frame()), readable(answer));
    }
}

void tst_KivSimMisbehaviour::replacesTheOrderBefore()
{
    BareClient client(local, *kivsim);
    client.send(misbehaveRequest("1", "garbage:5"));
    QCOMPARE(readable(client.frame()), readable(sessionInfoAnswer("1")));
    client.send(misbehaveRequest("2", "pieces:3") + question);
    QCOMPARE(readable(client.frame()), readable(sessionInfoAnswer("2")));
    QCOMPARE(readable(client.frame()), readable(answer));
    client.send(misbehaveRequest("3", "garbage:5") + misbehaveRequest("4", "nonsense"));
    QCOMPARE(readable(client.frame()), readable(sessionInfoAnswer("3")));
    // An order that is refused leaves the one before.
    QCOMPARE(int(client.frame().size()), 7);
    QCOMPARE(readable(client.frame()),
             readable(errorAnswer("4", "protocol", "bad misbehave: nonsense")));
    QCOMPARE(readable(client.exchange(misbehaveRequest("5", "off") + question)),
             readable(sessionInfoAnswer("5") + answer));
}

void tst_KivSimMisbehaviour::keepsTheOrderOfAnswers()
{
    BareClient client(tcp, *kivsim);
    QCOMPARE(readable(client.exchange(misbehaveRequest("1", "delay:50") + question +
                                      misbehaveRequest("2", "pieces:9") + question +
                                      misbehaveRequest("3", "off") + question)),
             readable(sessionInfoAnswer("1") + answer + sessionInfoAnswer("2") + answer +
                      sessionInfoAnswer("3") + answer));
}

void tst_KivSimMisbehaviour::concernsOneConnection()
{
    BareClient one(local, *kivsim);
    BareClient other(local, *kivsim);
    one.send(misbehaveRequest("m", "garbage,cut"));
    QCOMPARE(readable(one.frame()), readable(sessionInfoAnswer("m")));
    QCOMPARE(readable(other.exchange(question)), readable(answer));
    one.send(question);
    one.untilClosed();
    QVERIFY(!one.isConnected());
    QCOMPARE(readable(other.exchange(question)), readable(answer));
}

void tst_KivSimMisbehaviour::startsWithAnOrder()
{
    for (const char *option : {"--misbehave", "-m"}) {
        SimulatorProcess other;
        QVERIFY(other.start(QStringList() << QLatin1String(option) << QLatin1String("cut:30")));
        for (BareClient::Transport transport : {local, tcp}) {
            BareClient client(transport, other);
            client.send(question);
            QCOMPARE(readable(client.untilClosed()), readable(answer.left(30)));
            BareClient healed(transport, other);
            QCOMPARE(readable(healed.exchange(misbehaveRequest("m", "off") + question)),
                     readable(sessionInfoAnswer("m") + answer));
        }
        QCOMPARE(other.stop(), QByteArray("exit 0"));
    }
}

QTEST_MAIN(tst_KivSimMisbehaviour)

#include "tst_kivsimmisbehaviour.moc"
