// SPDX-License-Identifier: LGPL-2.1-or-later
#include "connectionsupport.h"
#include "kivfixture.h"
#include "localcodec.h"
#include "program.h"
#include "scripteddaemon.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

/** Sends when the connection is lost, after something else has been given its descriptor. */
class LateSender : public QObject
{
    Q_OBJECT
public:
    LateSender(KivInterface *kiv, bool local, int descriptor)
        : kiv(kiv)
        , local(local)
        , descriptor(descriptor)
    {
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, others))
            qFatal("no sockets");
        connect(kiv,
                local ? SIGNAL(kivLocalUnixSocketDisConnectedSignal())
                      : SIGNAL(kivDomainTcpSocketDisConnectedSignal()),
                SLOT(send()));
    }

    ~LateSender()
    {
        close(others[0]);
        close(others[1]);
    }

    bool wasFree = false;
    bool accepted = false;

    /** What has been written into the other's descriptor. */
    QByteArray misdirected() const
    {
        char bytes[100];
        const ssize_t count = read(others[1], bytes, sizeof bytes);
        return count < 0 && errno == EAGAIN ? QByteArray() : QByteArray(bytes, int(count));
    }

private Q_SLOTS:
    void send()
    {
        wasFree = fcntl(descriptor, F_GETFD) == -1 && dup2(others[0], descriptor) == descriptor;
        const QString text = QLatin1String("late");
        accepted = local ? kiv->sendMsgToLocalKiv(text) : kiv->sendMsgToDomainKiv(text);
    }

private:
    KivInterface *kiv;
    bool local;
    int descriptor;
    int others[2];
};

/** Writes over a connection to the daemon. @return whether SIGPIPE is ignored then */
bool isBrokenPipeIgnored(bool byClient)
{
    std::signal(SIGPIPE, SIG_DFL);
    BusyDaemon daemon;
    daemon.accept();
    if (byClient) {
        KivInterface kiv(nullptr);
        kiv.connectToLocalKivSocketSlot();
        if (!kiv.sendMsgToLocalKiv(QLatin1String("text")))
            qFatal("not connected");
    } else {
        QLocalSocket socket;
        socket.connectToServer(QLatin1String("/tmp/kivd"));
        if (socket.write("text") != 4 || !socket.flush())
            qFatal("not connected");
    }
    return std::signal(SIGPIPE, SIG_DFL) == SIG_IGN;
}

} // namespace

class TestSending : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void tellsTheStateOfTheLocalSocket();
    void tellsTheStateOfTheDomainSocket_data();
    void tellsTheStateOfTheDomainSocket();
    void refusesTextsWhileConnecting();
    void dropsTextsWithoutAConnection();
    void writesTextsAsTheyStand_data();
    void writesTextsAsTheyStand();
    void writesTheLocalEncoding_data();
    void writesTheLocalEncoding();
    void writesIntoItsOwnSocketOnly_data();
    void writesIntoItsOwnSocketOnly();
    void ignoresBrokenPipesAsQtDoes();
    void acceptsTextsForADaemonThatHasGone_data();
    void acceptsTextsForADaemonThatHasGone();
    void tellsWhatTheSlotIsToldWasWritten();
    void letsTheSocketsTellWhatTheyHaveWritten();
};

void TestSending::init()
{
    resetKivd();
}

void TestSending::tellsTheStateOfTheLocalSocket()
{
    {
        KivFixture fixture;
        fixture.take();
        QVERIFY(!fixture.kiv->verifyLocalKivSocketOk());
        QCOMPARE(fixture.take(),
                 QStringList(traced("verifyLocalKivSocketOk", "localKivSocket->state(): 0")));

        BusyDaemon busy;
        localSocket(fixture)->connectToServer(QLatin1String("/tmp/kivd"));
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

void TestSending::tellsTheStateOfTheDomainSocket_data()
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

void TestSending::tellsTheStateOfTheDomainSocket()
{
    QFETCH(int, state);
    QFETCH(QString, text);
    KivFixture fixture;
    fixture.take();
    setState(domainSocket(fixture), state);
    const bool ok = fixture.kiv->verifyDomainKivSocketOk();
    const bool sent = state != 3 && fixture.kiv->sendMsgToDomainKiv(QLatin1String("x"));
    setState(domainSocket(fixture), 0);
    QCOMPARE(ok, state == 3);
    QVERIFY(!sent);
    QStringList expected;
    if (!text.isNull())
        expected << traced("verifyDomainKivSocketOk", text)
                 << traced("verifyDomainKivSocketOk", text);
    QCOMPARE(fixture.take(), expected);
}

void TestSending::refusesTextsWhileConnecting()
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

void TestSending::dropsTextsWithoutAConnection()
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

void TestSending::writesTextsAsTheyStand_data()
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

void TestSending::writesTextsAsTheyStand()
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

void TestSending::writesTheLocalEncoding_data()
{
    const struct {
        const char *name;
        QString text;
    } texts[] = {{"ASCII", QLatin1String("<request><ref>r1</ref>\r\n\f\n \x01\x7f+~\\")},
                 {"Latin-1", QLatin1String("caf\xe9")},
                 {"others", QString(QChar(0x20ac)) + QLatin1String(" 5")},
                 {"half a character", QLatin1String("a") + QString(QChar(0xd83d))},
                 {"NUL within", QLatin1String("ab") + QString(QChar(0)) + QLatin1String("cd")},
                 {"long", QString(100000, QLatin1Char('x'))},
                 {"long, others", QString(100000, QChar(0xe9))}};

    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("codec");
    for (const char *const codec : {"UTF-8", "ISO-8859-1", "UTF-16", "Shift_JIS", "rot"}) {
        for (const auto &row : texts) {
            QTest::newRow(
                qPrintable(QLatin1String(codec) + QLatin1String(" ") + QLatin1String(row.name)))
                << row.text << QByteArray(codec);
        }
    }
}

/** Characters that the encoding makes a NUL byte of end the text, too. */
void TestSending::writesTheLocalEncoding()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, codec);
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(local));
    QVERIFY(fixture.connectTo(domain));
    setLocalCodec(codec.constData());
    const QByteArray bytes = text.toLocal8Bit().constData();
    const bool sent = fixture.kiv->sendMsgToLocalKiv(text) && fixture.kiv->sendMsgToDomainKiv(text);
    setLocalCodec(nullptr);
    QVERIFY(sent);
    QVERIFY(fixture.kiv->sendMsgToLocalKiv(QLatin1String("|local")));
    QVERIFY(fixture.kiv->sendMsgToDomainKiv(QLatin1String("|domain")));
    QVERIFY(spinUntil([&]() {
        return local.lastReceived().endsWith("|local") && domain.lastReceived().endsWith("|domain");
    }));
    QVERIFY(local.lastReceived() == bytes + "|local");
    QVERIFY(domain.lastReceived() == bytes + "|domain");
}

void TestSending::writesIntoItsOwnSocketOnly_data()
{
    QTest::addColumn<bool>("local");
    QTest::addColumn<bool>("writing");
    QTest::newRow("local") << true << false;
    QTest::newRow("local, found out by writing") << true << true;
    QTest::newRow("domain") << false << false;
}

/** Qt closes the descriptor of a lost connection before it tells of the loss. */
void TestSending::writesIntoItsOwnSocketOnly()
{
    QFETCH(bool, local);
    QFETCH(bool, writing);
    ScriptedDaemon daemon(local ? ScriptedDaemon::Local : ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(daemon));
    const int descriptor = local ? int(localSocket(fixture)->socketDescriptor())
                                 : int(domainSocket(fixture)->socketDescriptor());
    LateSender sender(fixture.kiv.get(), local, descriptor);
    daemon.cut();
    if (writing)
        QVERIFY(fixture.kiv->sendMsgToLocalKiv(QLatin1String("lost")));
    QVERIFY(spinUntil([&]() {
        return local ? localSocket(fixture)->state() == QLocalSocket::UnconnectedState
                     : domainSocket(fixture)->state() == QAbstractSocket::UnconnectedState;
    }));
    settle();
    QVERIFY(sender.wasFree);
    QVERIFY(sender.accepted); // the socket still says that it is connected
    QCOMPARE(sender.misdirected(), QByteArray());
    QCOMPARE(close(descriptor), 0); // nobody else has
    const QString closed = traced("handleLocalKivSocketErrorSlot", peerClosedText);
    QVERIFY(sameRecord(fixture.take(), local ? localError(closed) : domainError()));

    tick(fixture);
    QVERIFY(spinUntil(
        [&]() { return daemon.connections() == 2 && daemon.lastReceived() == handshake; }));
}

void TestSending::ignoresBrokenPipesAsQtDoes()
{
    // What Qt does about the signal it does once in a process.
    Program client("/proc/self/exe", QStringList(QLatin1String("client")));
    Program socket("/proc/self/exe", QStringList(QLatin1String("socket")));
    const int bySocket = socket.wait();
    QVERIFY(bySocket == 0 || bySocket == 1);
    QCOMPARE(client.wait(), bySocket);
}

void TestSending::acceptsTextsForADaemonThatHasGone_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("little") << latin1("lost");
    QTest::newRow("much") << QString(3000000, QLatin1Char('x'));
}

/** That a daemon has gone shows when the event loop runs or something is written, not before. */
void TestSending::acceptsTextsForADaemonThatHasGone()
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

void TestSending::tellsWhatTheSlotIsToldWasWritten()
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

void TestSending::letsTheSocketsTellWhatTheyHaveWritten()
{
    ScriptedDaemon local(ScriptedDaemon::Local);
    ScriptedDaemon domain(ScriptedDaemon::Tcp);
    KivFixture fixture;
    QVERIFY(fixture.connectTo(local));
    QVERIFY(fixture.connectTo(domain));
    KivInterface *const kiv = fixture.kiv.get();
    kiv->connect(localSocket(fixture), SIGNAL(bytesWritten(qint64)),
                 SLOT(bytesWrittenSlot(qint64)));
    kiv->connect(domainSocket(fixture), SIGNAL(bytesWritten(qint64)),
                 SLOT(bytesWrittenSlot(qint64)));
    KivInterface::debugPrintEnable();
    QVERIFY(kiv->sendMsgToLocalKiv(QLatin1String("12345")));
    QCOMPARE(fixture.take(), QStringList(latin1("debug: domain bytesWrittenSlot 5 ")));
    QVERIFY(kiv->sendMsgToDomainKiv(QLatin1String("1234567")));
    QCOMPARE(fixture.take(), QStringList(latin1("debug: domain bytesWrittenSlot 7 ")));
}

int main(int argc, char **argv)
{
    // Texts in UTF-8, wherever the test runs.
    qputenv("LC_ALL", "C.UTF-8");
    QCoreApplication application(argc, argv);
    if (argc == 2 && qstrcmp(argv[1], "client") == 0)
        return isBrokenPipeIgnored(true);
    if (argc == 2 && qstrcmp(argv[1], "socket") == 0)
        return isBrokenPipeIgnored(false);
    TestSending test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_sending.moc"
