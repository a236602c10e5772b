// SPDX-License-Identifier: LGPL-2.1-or-later
#include "kivsim/client.h"
#include "kivsim/misbehaviour.h"
#include "kivsim/options.h"
#include "kivsim/outputqueue.h"
#include "kivsim/requesthandler.h"
#include "kivsim/server.h"
#include "kivsim/signals.h"
#include "kivsim/subscriptions.h"
#include "kivsim/tree.h"
#include "waiting.h"

#include <QtCore/QTimer>
#include <QtTest/QtTest>

#include <algorithm>
#include <csignal>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

using kivsim::OutputQueue;

namespace
{

kivsim::MisbehaviourOrder orderFrom(const char *text)
{
    kivsim::MisbehaviourOrder order;
    std::string error;
    if (!kivsim::parseMisbehaviour(text, order, error))
        qFatal("%s", error.c_str());
    return order;
}

/** A queue that writes to a socket which keeps the writes apart. */
class Output
{
public:
    Output()
    {
        if (::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, sockets) != 0)
            qFatal("socketpair");
    }

    ~Output()
    {
        ::close(sockets[0]);
        ::close(sockets[1]);
    }

    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    OutputQueue::State writeAt(qint64 now) { return queue.write(sockets[0], now); }

    /** What has been written since the last call, write by write. */
    QList<QByteArray> written()
    {
        QList<QByteArray> result;
        char buffer[256];
        for (;;) {
            const ssize_t length = ::recv(sockets[1], buffer, sizeof buffer, MSG_DONTWAIT);
            if (length < 0)
                return result;
            result << QByteArray(buffer, int(length));
        }
    }

    OutputQueue queue;

private:
    int sockets[2];
};

/** A client whom nobody has to answer. */
class SilentClient : public kivsim::Client
{
public:
    void send(const std::string &) override {}
    void sendPlainly(const std::string &) override {}
    void setMisbehaviour(const kivsim::Misbehaviour &) override {}
};

QList<QByteArray> writes(std::initializer_list<const char *> texts)
{
    QList<QByteArray> result;
    for (const char *text : texts)
        result << QByteArray(text);
    return result;
}

/** How long the server stays away, by the timer for it, which shows that also when it is over. */
int timeAway(const kivsim::Server &server)
{
    int time = 0;
    for (const QTimer *timer : server.findChildren<QTimer *>())
        time = std::max(time, timer->interval());
    return time;
}

} // namespace

/** The times that kivsim takes when it is told to, by given clocks and by the timers it starts. */
class tst_KivSimTimes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void sendsAtOnceByDefault();
    void delaysEachFrame();
    void waitsBetweenPieces();
    void waitsBetweenFramesInPieces();
    void delaysGarbageToo();
    void readsTheTimeOfARestart_data();
    void readsTheTimeOfARestart();
    void staysAwayForTheTimeOfARestart();
    void staysAwayAfterAHangup();
};

void tst_KivSimTimes::sendsAtOnceByDefault()
{
    Output output;
    output.queue.add("one\f\n", kivsim::Misbehaviour(), 1000);
    output.queue.add("two\f\n", kivsim::Misbehaviour(), 1000);
    QCOMPARE(output.queue.waitTime(1000), 0);
    QCOMPARE(output.writeAt(1000), OutputQueue::Empty);
    QCOMPARE(output.written(), writes({"one\f\n", "two\f\n"}));
    QCOMPARE(output.queue.waitTime(1000), 0);
}

void tst_KivSimTimes::delaysEachFrame()
{
    Output output;
    const kivsim::Misbehaviour delayed = orderFrom("delay:200").misbehaviour;
    output.queue.add("one\f\n", delayed, 1000);
    output.queue.add("two\f\n", delayed, 1050);
    QCOMPARE(output.queue.waitTime(1000), 200);
    QCOMPARE(output.writeAt(1199), OutputQueue::Waiting);
    QCOMPARE(output.written(), writes({}));
    QCOMPARE(output.queue.waitTime(1199), 1);
    QCOMPARE(output.writeAt(1200), OutputQueue::Waiting);
    QCOMPARE(output.written(), writes({"one\f\n"}));
    QCOMPARE(output.queue.waitTime(1200), 50);
    QCOMPARE(output.writeAt(1300), OutputQueue::Empty);
    QCOMPARE(output.written(), writes({"two\f\n"}));
}

void tst_KivSimTimes::waitsBetweenPieces()
{
    Output output;
    output.queue.add("1234567\f\n", orderFrom("pieces:4,gap:40").misbehaviour, 1000);
    QCOMPARE(output.writeAt(1000), OutputQueue::Waiting);
    QCOMPARE(output.written(), writes({"1234"}));
    QCOMPARE(output.queue.waitTime(1000), 40);
    QCOMPARE(output.writeAt(1039), OutputQueue::Waiting);
    QCOMPARE(output.written(), writes({}));
    // The gap counts from the piece before, however late that was.
    QCOMPARE(output.writeAt(1100), OutputQueue::Empty);
    QCOMPARE(output.written(), writes({"567\f\n"}));
}

void tst_KivSimTimes::waitsBetweenFramesInPieces()
{
    Output output;
    const kivsim::Misbehaviour order = orderFrom("delay:10,split-separator,gap:40").misbehaviour;
    output.queue.add("one\f\n", order, 1000);
    output.queue.add("two\f\n", order, 1000);
    QCOMPARE(output.writeAt(1000), OutputQueue::Waiting);
    QCOMPARE(output.queue.waitTime(1000), 10);
    qint64 now = 1010;
    for (const char *piece : {"one\f", "\n", "two\f"}) {
        QCOMPARE(output.writeAt(now), OutputQueue::Waiting);
        QCOMPARE(output.written(), writes({piece}));
        QCOMPARE(output.queue.waitTime(now), 40);
        now += 40;
    }
}

void tst_KivSimTimes::delaysGarbageToo()
{
    Output output;
    output.queue.add("one\f\n", orderFrom("garbage:3,delay:200").misbehaviour, 1000);
    QCOMPARE(output.writeAt(1199), OutputQueue::Waiting);
    QCOMPARE(output.written(), writes({}));
    QCOMPARE(output.writeAt(1200), OutputQueue::Empty);
    const QList<QByteArray> written = output.written();
    QCOMPARE(int(written.size()), 2);
    QCOMPARE(int(written.first().size()), 5);
    QCOMPARE(written.last(), QByteArray("one\f\n"));
}

void tst_KivSimTimes::readsTheTimeOfARestart_data()
{
    QTest::addColumn<QByteArray>("order");
    QTest::addColumn<int>("time");
    QTest::newRow("none") << QByteArray("restart") << 500;
    QTest::newRow("zero") << QByteArray("restart:0") << 0;
    QTest::newRow("some") << QByteArray("restart:300") << 300;
    QTest::newRow("longest") << QByteArray("restart:600000") << 600000;
}

void tst_KivSimTimes::readsTheTimeOfARestart()
{
    QFETCH(QByteArray, order);
    QFETCH(int, time);
    kivsim::Tree tree(1000);
    kivsim::Subscriptions subscriptions(tree);
    QList<int> restarts;
    const kivsim::Refusals refusals;
    kivsim::RequestHandler requests(tree, subscriptions, refusals,
                                    [&](int delay) { restarts << delay; });
    const QByteArray frame = "<rpc><kivsim><misbehave>" + order + "</misbehave></kivsim></rpc>\r\n";
    SilentClient client;
    requests.handleFrame(client, frame.constData(), std::size_t(frame.size()));
    QCOMPARE(restarts, QList<int>() << time);
}

void tst_KivSimTimes::staysAwayForTheTimeOfARestart()
{
    const kivsim::Options options;
    kivsim::Server server(options);
    QCOMPARE(timeAway(server), 0);
    server.restart(300);
    QCOMPARE(timeAway(server), 300);
}

void tst_KivSimTimes::staysAwayAfterAHangup()
{
    const kivsim::Options options;
    kivsim::Server server(options);
    kivsim::Signals signalHandlers(server);
    QVERIFY(signalHandlers.install());
    QCOMPARE(std::raise(SIGHUP), 0);
    QVERIFY(waitFor([&]() { return timeAway(server) > 0; }));
    QCOMPARE(timeAway(server), 500);
}

QTEST_MAIN(tst_KivSimTimes)

#include "tst_kivsimtimes.moc"
