// SPDX-License-Identifier: LGPL-2.1-or-later

// A daemon that is killed and started again a thousand times, at any moment, while it answers on
// both transports. What the client promises meanwhile:
// - It tells of each connection and of its loss, once each, and is back with the next attempt.
// - What it delivers is whole, in order, and from the connection that is up: nothing of an earlier
//   one, and no half of anything.
// - A request whose connection lasts is answered. One whose connection is lost is not.
// - No descriptor stays behind.

#include "connectionsupport.h"
#include "kivfixture.h"
#include "mortaldaemon.h"
#include "random.h"

#include <QtCore/QDir>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

namespace
{

const int largest = 300000; // characters
const int requestCount = 3;

int openDescriptors()
{
    return int(QDir(QLatin1String("/proc/self/fd")).entryList(QDir::NoDotAndDotDot).size());
}

/** What an application has asked one daemon over one connection, and what has come back. */
struct Conversation {
    bool connected;
    QList<int> asked; ///< the size of each answer
    int answered;
    bool subscribed;
    int notified;

    bool isComplete() const
    {
        return answered == requestCount && notified == MortalDaemon::notificationCount;
    }
};

} // namespace

/** An application that asks both daemons as soon as they are there, and checks what it is told. */
class Questioner : public QObject
{
    Q_OBJECT
public:
    Questioner(KivInterface *kiv, const MortalDaemon &daemon, Random &random)
        : events(0)
        , connections(0)
        , daemon(daemon)
        , random(random)
    {
        connect(kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), SLOT(localConnected()));
        connect(kiv, SIGNAL(kivDomainTcpSocketConnectedSignal()), SLOT(domainConnected()));
        connect(kiv, SIGNAL(kivLocalUnixSocketDisConnectedSignal()), SLOT(localDisconnected()));
        connect(kiv, SIGNAL(kivDomainTcpSocketDisConnectedSignal()), SLOT(domainDisconnected()));
        connect(kiv, SIGNAL(kivOkSignal(QString)), SLOT(ok(QString)));
        connect(kiv, SIGNAL(kivGetSignal(QString, QString)), SLOT(get(QString, QString)));
        connect(kiv, SIGNAL(kivNotifySignal(QString, QString, QString, QString, QString)),
                SLOT(notify(QString, QString, QString, QString, QString)));
        connect(kiv, SIGNAL(kivErrorSignal(QString, QString, QString)), SLOT(unexpected()));
        for (Conversation &conversation : conversations)
            conversation = Conversation();
    }

    bool isComplete() const
    {
        return conversations[0].isComplete() && conversations[1].isComplete();
    }
    bool isConnected() const { return conversations[0].connected || conversations[1].connected; }

    int events;      ///< how often it was told something
    int connections; ///< how many of both kinds there have been
    QString problem; ///< the first thing that was wrong, or nothing

private Q_SLOTS:
    void localConnected() { begin(0); }
    void domainConnected() { begin(1); }
    void localDisconnected() { lose(0); }
    void domainDisconnected() { lose(1); }

    void ok(const QString &ref)
    {
        Conversation &conversation = of(ref);
        check(conversation.connected && !conversation.subscribed, "ok", ref);
        conversation.subscribed = true;
    }

    void get(const QString &ref, const QString &data)
    {
        Conversation &conversation = of(ref);
        const int number = conversation.answered++;
        check(conversation.connected && ref == reference(indexOf(ref), number), "get", ref);
        const int size = conversation.asked.value(number, -1);
        check(data == MortalDaemon::answerTo(daemon.life(), ref, size), "data of", ref);
    }

    void notify(const QString &ref, const QString &op, const QString &rpath, const QString &spath,
                const QString &data)
    {
        Conversation &conversation = of(ref);
        const int number = conversation.notified++;
        check(conversation.connected && conversation.subscribed && op == latin1("patch") &&
                  rpath == latin1("/n/") + QString::number(number) && spath == latin1("/n") &&
                  data == MortalDaemon::changeNumber(daemon.life(), number),
              "notification of", ref);
    }

    void unexpected() { check(false, "error", QString()); }

private:
    void begin(int which)
    {
        Conversation &conversation = conversations[which];
        check(!conversation.connected, "second connection of", QString::number(which));
        ++connections;
        conversation = Conversation();
        conversation.connected = true;
        const KivInterface::KIVTARGET_ENUM target = KivInterface::KIVTARGET_ENUM(which);
        KivInterface::requestDataSubscribe(latin1(which == 0 ? "l.s" : "d.s"), latin1("/n"),
                                           latin1("changes"), target);
        for (int number = 0; number < requestCount; ++number) {
            const int size = random.below(10) == 0 ? largest : random.below(3000);
            conversation.asked << size;
            KivInterface::requestDataGet(reference(which, number),
                                         latin1("/large/") + QString::number(size), target);
        }
    }

    void lose(int which)
    {
        // Attempts in vain are told, too.
        check(true, "loss", QString());
        conversations[which].connected = false;
    }

    static int indexOf(const QString &ref) { return ref.startsWith(QLatin1Char('l')) ? 0 : 1; }
    Conversation &of(const QString &ref) { return conversations[indexOf(ref)]; }

    static QString reference(int which, int number)
    {
        return latin1(which == 0 ? "l." : "d.") + QString::number(number);
    }

    void check(bool right, const char *what, const QString &about)
    {
        ++events;
        if (!right && problem.isEmpty())
            problem = latin1("unexpected ") + latin1(what) + latin1(" ") + about.left(100);
    }

    const MortalDaemon &daemon;
    Random &random;
    Conversation conversations[2];
};

class TestDaemonRestarts : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void survivesAThousand();
};

static bool areUnconnected(const KivFixture &fixture)
{
    return localSocket(fixture)->state() == QLocalSocket::UnconnectedState &&
           domainSocket(fixture)->state() == QAbstractSocket::UnconnectedState;
}

/** How long a life lasts: up to a byte that the daemon writes, or up to something it has said. */
struct Lifetime {
    int lastByte;
    int lastEvent;
};

static Lifetime anyLifetime(Random &random)
{
    const Lifetime never = {-1, -1};
    const Lifetime atAByte = {random.below(random.below(2) == 0 ? 3000 : 2 * largest), -1};
    const Lifetime atAnEvent = {-1, random.below(60)};
    const Lifetime lifetimes[] = {atAByte, atAByte, atAByte, atAnEvent, atAnEvent, never};
    return random.oneOf(lifetimes);
}

void TestDaemonRestarts::survivesAThousand()
{
    Random random(randomSeed(1));
    MortalDaemon daemon;
    KivFixture fixture;
    Questioner application(fixture.kiv.get(), daemon, random);
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    const int descriptors = openDescriptors();
    int complete = 0;
    for (int round = randomCases(1000); round > 0; --round) {
        // Attempts meanwhile are in vain.
        for (int attempts = random.below(3); attempts > 0; --attempts) {
            tick(fixture);
            QVERIFY(spinUntil([&]() { return areUnconnected(fixture); }));
        }
        const Lifetime life = anyLifetime(random);
        daemon.start(life.lastByte);
        tick(fixture);
        const int first = application.events;
        QVERIFY(life.lastEvent == 0 || spinUntil([&]() {
                    const int count = application.events - first;
                    const bool isOver = life.lastEvent >= 0 && count >= life.lastEvent;
                    return isOver || application.isComplete() || areUnconnected(fixture);
                }));
        QVERIFY(life.lastByte >= 0 || life.lastEvent >= 0 || application.isComplete());
        complete += application.isComplete() ? 1 : 0;
        daemon.kill();
        if (random.below(2) == 0) // accepted, unless the loss is known already, and lost
            KivInterface::requestDataGet(latin1("late"), latin1("/"));
        QVERIFY(spinUntil([&]() { return areUnconnected(fixture); }));
        QVERIFY(!application.isConnected());
        QCOMPARE(application.problem, QString());
        for (const QString &line : fixture.take())
            QVERIFY2(!line.contains(latin1("reportKivParsingErr")), qPrintable(line));
    }
    QVERIFY(complete > 0);
    QCOMPARE(openDescriptors(), descriptors);
    QVERIFY(application.connections >= 2 * complete);
}

QTEST_MAIN(TestDaemonRestarts)
#include "tst_daemonrestarts.moc"
