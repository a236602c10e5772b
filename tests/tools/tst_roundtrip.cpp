// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bareclient.h"
#include "kivdredirect.h"
#include "kivinterface.h"
#include "kivlogs.h"
#include "messagelog.h"
#include "simulatorprocess.h"
#include "texts.h"
#include "trace.h"
#include "waiting.h"
#include "wiremessages.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QStringList>
#include <QtCore/QTimerEvent>
#include <QtTest/QtTest>

#include <memory>
#include <unistd.h>

typedef KivInterface::KIVTARGET_ENUM Target;
Q_DECLARE_METATYPE(Target)

namespace
{

const Target local = KivInterface::KIVTARGET_LOCAL;
const Target domain = KivInterface::KIVTARGET_DOMAIN;

const QString hostnamePath = latin1("/config/system/hostname");
const QString gateway = latin1("<hostname>gateway</hostname>");
const QString renamed = latin1("<hostname>new</hostname>");

/** A program that uses the library: it is connected to one kivsim and keeps what it is told. */
class Application
{
public:
    Application(const SimulatorProcess &kivsim, Target target)
        : trace(nullptr)
        , traceLog(&trace)
        , target(target)
    {
        redirectKivd(target == local ? kivsim.socketPath() : latin1("/nonexistent/kivd"));
        kiv.reset(new KivInterface(nullptr));
        signalLog.reset(new SignalLog(kiv.get()));
        if (target == domain) {
            KivInterface::updateDomainServerIpAddress(latin1("127.0.0.1"), kivsim.port());
            KivInterface::domainServerActivateTcpConnection(true);
        }
    }

    QString connected() const
    {
        return latin1(target == local ? "local" : "domain") + latin1(" connected");
    }
    QString disconnected() const
    {
        return latin1(target == local ? "local" : "domain") + latin1(" disconnected");
    }

    /** Does what the client does by itself every 10 seconds, and waits for the connection. */
    bool reconnect()
    {
        QTimerEvent event(0);
        QCoreApplication::sendEvent(kiv.get(), &event);
        return waitFor([&]() { return told().endsWith(connected()); });
    }

    /** Everything so far but what happens to the other connection, which is not in use. */
    QStringList told() const
    {
        QStringList result;
        const QString other = latin1(target == local ? "domain " : "local ");
        for (const QString &entry : signalLog->entries) {
            // The client's own timers may try in vain while there is no daemon.
            const bool again = entry == disconnected() && result.endsWith(entry);
            if (!entry.startsWith(other) && !again)
                result << entry;
        }
        return result;
    }

    /** Waits for so many signals. @return them, and forgets them */
    QStringList take(int count)
    {
        waitFor([&]() { return int(told().size()) >= count; });
        const QStringList taken = told();
        signalLog->entries.clear();
        return taken;
    }

    bool isDisconnected()
    {
        return waitFor([&]() { return told().contains(disconnected()); });
    }

    /** How often a body could not be understood. */
    int reports() const
    {
        return int(traceLog.entries()
                       .filter(latin1("KivInterface|reportKivParsingErr|Kiv meg frame error"))
                       .size());
    }

    bool get(const char *ref, const QString &path)
    {
        return KivInterface::requestDataGet(latin1(ref), path, target);
    }
    bool edit(const char *ref, const QString &path, const char *op, const QString &data)
    {
        return KivInterface::requestDataEdit(latin1(ref), path, latin1(op), data, target);
    }
    bool order(const QByteArray &order)
    {
        const QByteArray frame = misbehaveRequest("m", order);
        // The library adds the end of the frame.
        return KivInterface::requestData(latin1(frame.left(frame.size() - 4).constData()), target);
    }
    /** Has kivsim misbehave, and waits until it says that it will. */
    bool misbehave(const QByteArray &word)
    {
        return order(word) && take(1) == QStringList(latin1("ok(m)"));
    }

    MessageLog messages;
    Trace trace;
    TraceLog traceLog;
    Target target;
    std::unique_ptr<KivInterface> kiv;
    std::unique_ptr<SignalLog> signalLog;
};

QString notify(const char *ref, const char *op, const QString &rpath, const char *spath,
               const QString &data)
{
    return latin1("notify(%1, %2, %3, %4, %5)")
        .arg(latin1(ref), latin1(op), rpath, latin1(spath), data);
}

/** Asks for one thing of each kind, without waiting for the answers. */
bool converse(Application &application)
{
    const Target target = application.target;
    const QString tag = latin1("changes");
    const QString mtu = latin1("/config/interfaces/interface[name='ppp0']/mtu");
    return application.get("g1", hostnamePath) &&
           KivInterface::requestDataSubscribe(latin1("s1"), latin1("/config/system"), tag,
                                              latin1("hostname"), latin1("1"), target) &&
           application.edit("e1", hostnamePath, "patch", renamed) &&
           application.get("g2", latin1("/nothing")) &&
           KivInterface::requestDataSubscribe(latin1("s2"), latin1("/config/system/clock"), tag,
                                              target) &&
           KivInterface::requestDataSubscribeSingleLevel(latin1("s3"), latin1("/config/interfaces"),
                                                         tag, latin1("1"), target) &&
           application.edit("e2", mtu, "patch", latin1("<mtu>9</mtu>")) &&
           KivInterface::requestSendKivDebugValidateOff(latin1("1"), target) &&
           application.edit("e3", mtu, "patch", latin1("<mtu>9</mtu>")) &&
           application.edit("e4", latin1("/config/system/clock"), "delete", QString()) &&
           application.get("g3", latin1("/config/system"));
}

/** What the application is told then; each frame from the daemon gives one signal. */
QStringList conversation()
{
    const QString mtu = latin1("/config/interfaces/interface[name='ppp0']/mtu");
    return QStringList()
           << latin1("get(g1, ") + gateway + latin1(")") << latin1("ok(s1)")
           << notify("s1", "current", hostnamePath, "/config/system", gateway) << latin1("ok(e1)")
           << notify("s1", "patch", hostnamePath, "/config/system", renamed)
           << latin1("error(g2, application, no such path: /nothing)") << latin1("ok(s2)")
           << latin1("ok(s3)")
           << notify("s3", "current", latin1("/config/interfaces"), "/config/interfaces",
                     latin1("<interfaces><interface><name>eth0</name></interface><interface>"
                            "<name>eth1</name></interface></interfaces>"))
           << latin1("error(e2, application, no such parent: "
                     "/config/interfaces/interface[name='ppp0'])")
           << latin1("ok()") << latin1("ok(e3)")
           << notify("s3", "patch", mtu, "/config/interfaces", latin1("<mtu>9</mtu>"))
           << latin1("ok(e4)")
           << notify("s2", "delete", latin1("/config/system/clock"), "/config/system/clock",
                     QString())
           << latin1("get(g3, <system><hostname>new</hostname><note>Pump  valve</note>"
                     "<dns>192.0.2.53</dns><dns>198.51.100.53</dns></system>)");
}

} // namespace

/** The library and kivsim, from one end to the other. */
class tst_RoundTrip : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void talks_data() { transports(); }
    void talks();
    void hearsOfChangesByOthers_data() { transports(); }
    void hearsOfChangesByOthers();
    void talksToBothDaemonsAtOnce();
    void postsSystemMessages();
    void looksUpValuesInAnswers_data() { transports(); }
    void looksUpValuesInAnswers();
    void knowsTheChecksum_data() { transports(); }
    void knowsTheChecksum();
    void receivesBytesAsLatin1_data() { transports(); }
    void receivesBytesAsLatin1();
    void sendsInTheLocalEncoding_data() { transports(); }
    void sendsInTheLocalEncoding();
    void receivesLargeData_data();
    void receivesLargeData();
    void sendsLargeData_data() { transports(); }
    void sendsLargeData();

    void doesNotMindPieces_data();
    void doesNotMindPieces();
    void joinsFramesAtASplitSeparator_data() { transports(); }
    void joinsFramesAtASplitSeparator();
    void skipsGarbage_data() { transports(); }
    void skipsGarbage();
    void forgetsHalfAFrame_data();
    void forgetsHalfAFrame();
    void outlivesARestart_data() { transports(); }
    void outlivesARestart();
    void outlivesDeathAtAnyMoment_data() { transports(); }
    void outlivesDeathAtAnyMoment();
    void reconnectsByItself();

private:
    static void transports();

    std::unique_ptr<SimulatorProcess> kivsim;
};

void tst_RoundTrip::init()
{
    kivsim.reset(new SimulatorProcess);
    QVERIFY(kivsim->start());
}

void tst_RoundTrip::cleanup()
{
    QCOMPARE(kivsim->stop(), QByteArray("exit 0"));
    QCOMPARE(readable(kivsim->errors()), QString());
    redirectKivd(latin1("/nonexistent/kivd"));
}

void tst_RoundTrip::transports()
{
    QTest::addColumn<Target>("target");
    QTest::newRow("local") << local;
    QTest::newRow("domain") << domain;
}

void tst_RoundTrip::talks()
{
    QFETCH(Target, target);
    Application application(*kivsim, target);
    QVERIFY(!application.get("early", hostnamePath));
    QVERIFY(application.reconnect());
    QVERIFY(converse(application));
    const QStringList expected = QStringList() << application.connected() << conversation();
    QCOMPARE(application.take(int(expected.size())), expected);
    QCOMPARE(application.reports(), 0);
}

void tst_RoundTrip::hearsOfChangesByOthers()
{
    QFETCH(Target, target);
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    QCOMPARE(application.take(1), QStringList(application.connected()));
    QVERIFY(KivInterface::requestDataSubscribe(latin1("s"), latin1("/config"), latin1("changes"),
                                               target));
    QCOMPARE(application.take(1), QStringList(latin1("ok(s)")));
    BareClient other(BareClient::Local, *kivsim);
    QCOMPARE(readable(other.exchange(
                 editRequest("e", "patch", "/config/system/dns", "<dns>1</dns><dns>2</dns>") +
                 editRequest("e", "patch", "/state/x", "<x>1</x>") +
                 editRequest("e", "delete", "/config/system/dns", ""))),
             readable(editAnswer("e") + editAnswer("e") + editAnswer("e")));
    const QString dns = latin1("/config/system/dns");
    QCOMPARE(application.take(2), QStringList()
                                      << notify("s", "patch", dns, "/config",
                                                latin1("<dns>1</dns><dns>2</dns>"))
                                      << notify("s", "delete", dns, "/config", QString()));
}

void tst_RoundTrip::talksToBothDaemonsAtOnce()
{
    SimulatorProcess other;
    other.setDocument("<device><config><system><hostname>other</hostname></system></config>"
                      "</device>");
    QVERIFY(other.start());
    Application application(*kivsim, local);
    KivInterface::updateDomainServerIpAddress(latin1("127.0.0.1"), other.port());
    KivInterface::domainServerActivateTcpConnection(true);
    QVERIFY(application.reconnect());
    QVERIFY(waitFor(
        [&]() { return application.signalLog->entries.contains(latin1("domain connected")); }));
    application.take(0);
    const int rounds = 50;
    for (int i = 0; i < rounds; ++i) {
        QVERIFY(KivInterface::requestDataGet(latin1("l"), hostnamePath, local));
        QVERIFY(KivInterface::requestDataGet(latin1("d"), hostnamePath, domain));
    }
    const QStringList answers = application.take(2 * rounds);
    QCOMPARE(int(answers.size()), 2 * rounds);
    QCOMPARE(int(answers.filter(latin1("get(l, ") + gateway + latin1(")")).size()), rounds);
    QCOMPARE(int(answers.filter(latin1("get(d, <hostname>other</hostname>)")).size()), rounds);
    QCOMPARE(other.stop(), QByteArray("exit 0"));
}

void tst_RoundTrip::postsSystemMessages()
{
    const QString reporter = latin1("app");
    const QString reference = latin1("7");
    const QString path = latin1("/state/sys_messages/sys_message[reporter='app'][rep_ref='7']");
    const auto post = [&](const char *ref, const char *text) {
        return KivInterface::putSysMessage(latin1(ref), reporter, reference, latin1("error"),
                                           latin1("3"), latin1(text), latin1("<x>1</x>"));
    };
    Application application(*kivsim, local);
    QVERIFY(application.reconnect());
    application.take(1);
    QVERIFY(post("p1", "Disk full"));
    QVERIFY(application.get("g1", path + latin1("/text")));
    QVERIFY(post("p2", "Disk nearly full"));
    QVERIFY(application.get("g2", path + latin1("/text")));
    QVERIFY(application.get("g3", path + latin1("/msgdata")));
    QVERIFY(KivInterface::deleteSysMessage(latin1("d1"), reporter, reference));
    QVERIFY(KivInterface::deleteSysMessage(latin1("d2"), reporter, reference));
    QVERIFY(application.get("g4", latin1("/state/sys_messages/sys_message/reporter")));
    const QStringList expected =
        QStringList() << latin1("ok(p1)") << latin1("get(g1, <text>Disk full</text>)")
                      << latin1("ok(p2)") << latin1("get(g2, <text>Disk nearly full</text>)")
                      << latin1("get(g3, <msgdata><x>1</x></msgdata>)") << latin1("ok(d1)")
                      << latin1("error(d2, application, no such path: ") + path + latin1(")")
                      << latin1("get(g4, <reporter>fan</reporter>)");
    QCOMPARE(application.take(int(expected.size())), expected);
}

void tst_RoundTrip::looksUpValuesInAnswers()
{
    QFETCH(Target, target);
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    application.take(1);
    QVERIFY(application.get("g", latin1("/config/interfaces")));
    const QString answer = application.take(1).value(0);
    const QString begin = latin1("get(g, ");
    QVERIFY(answer.startsWith(begin));
    const QString data = answer.mid(begin.length(), answer.length() - begin.length() - 1);
    QString mtu;
    QVERIFY(KivInterface::xpathGetTextNode(mtu, latin1("interfaces/interface[name='eth1']/mtu"),
                                           QString(), data));
    QCOMPARE(mtu, latin1("1400"));
}

void tst_RoundTrip::knowsTheChecksum()
{
    QFETCH(Target, target);
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    QVERIFY(application.get("g", hostnamePath));
    QVERIFY(application.edit("e", hostnamePath, "patch", renamed));
    const QByteArray frame = getAnswer("", "", gateway.toLatin1());
    const auto begin = frame.indexOf("<crc32>") + 7;
    const QByteArray checksum = frame.mid(begin, frame.indexOf("</crc32>") - begin);
    QCOMPARE(int(application.take(3).size()), 3);
    QCOMPARE(KivInterface::getCurrentKivMsgCrc32Value(), latin1(checksum.constData()));
}

void tst_RoundTrip::receivesBytesAsLatin1()
{
    QFETCH(Target, target);
    const QByteArray text = "Gr\xc3\xbc\xc3\x9f"
                            "e \xe2\x82\xac \xd7\xa9 \xff\xa0";
    BareClient other(BareClient::Tcp, *kivsim);
    const QByteArray data = "<hostname>" + text + "</hostname>";
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    QVERIFY(
        KivInterface::requestDataSubscribe(latin1("s"), hostnamePath, latin1("changes"), target));
    QCOMPARE(application.take(2), QStringList() << application.connected() << latin1("ok(s)"));
    QCOMPARE(readable(other.exchange(editRequest("e", "patch", hostnamePath.toLatin1(), data))),
             readable(editAnswer("e")));
    QVERIFY(application.get("g", hostnamePath));
    const QString received = latin1(data.constData());
    QCOMPARE(application.take(2), QStringList()
                                      << notify("s", "patch", hostnamePath,
                                                hostnamePath.toLatin1().constData(), received)
                                      << latin1("get(g, ") + received + latin1(")"));
}

void tst_RoundTrip::sendsInTheLocalEncoding()
{
    QFETCH(Target, target);
    const QString text = QString::fromUtf8("Gr\xc3\xbc\xc3\x9f"
                                           "e");
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    QVERIFY(
        application.edit("e", hostnamePath, "patch", latin1("<hostname>%1</hostname>").arg(text)));
    QVERIFY(application.get("g", hostnamePath));
    const QString received = latin1(text.toLocal8Bit().constData());
    QCOMPARE(application.take(3), QStringList()
                                      << application.connected() << latin1("ok(e)")
                                      << latin1("get(g, <hostname>%1</hostname>)").arg(received));
}

void tst_RoundTrip::receivesLargeData_data()
{
    QTest::addColumn<Target>("target");
    QTest::addColumn<QByteArray>("order");
    QTest::newRow("local") << local << QByteArray("off");
    QTest::newRow("domain") << domain << QByteArray("off");
    QTest::newRow("local, in pieces") << local << QByteArray("pieces:10007");
    QTest::newRow("domain, in pieces") << domain << QByteArray("pieces:10007");
}

void tst_RoundTrip::receivesLargeData()
{
    QFETCH(Target, target);
    QFETCH(QByteArray, order);
    QByteArray content = "<list>";
    for (int i = 0; i < 200000; ++i)
        content += "<entry>number " + QByteArray::number(i) + "</entry>";
    content += "</list>";
    QVERIFY(content.size() > 5000000);
    kivsim->kill();
    kivsim->setDocument("<device>" + content + "<end/></device>");
    QVERIFY(kivsim->start());
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    QCOMPARE(application.take(1), QStringList(application.connected()));
    QVERIFY(application.misbehave(order));
    QVERIFY(application.get("g1", latin1("/list")));
    QVERIFY(application.get("g2", latin1("/end")));
    const QStringList answers = application.take(2);
    QCOMPARE(int(answers.size()), 2);
    QVERIFY(answers.first() == latin1("get(g1, ") + latin1(content.constData()) + latin1(")"));
    QCOMPARE(answers.last(), latin1("get(g2, <end></end>)"));
    QCOMPARE(application.reports(), 0);
}

void tst_RoundTrip::sendsLargeData()
{
    QFETCH(Target, target);
    const QString data =
        latin1("<hostname>%1</hostname>").arg(latin1(QByteArray(3000000, 'x').constData()));
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    QVERIFY(application.edit("e", hostnamePath, "replace", data));
    QVERIFY(application.get("g", hostnamePath));
    const QStringList answers = application.take(3);
    QCOMPARE(int(answers.size()), 3);
    QCOMPARE(answers.at(1), latin1("ok(e)"));
    QVERIFY(answers.at(2) == latin1("get(g, ") + data + latin1(")"));
}

void tst_RoundTrip::doesNotMindPieces_data()
{
    QTest::addColumn<Target>("target");
    QTest::addColumn<QByteArray>("order");
    for (Target target : {local, domain}) {
        for (const char *order :
             {"bytes", "bytes,gap:1", "pieces:2,gap:1", "pieces:7", "pieces:7,gap:1",
              "pieces:100,gap:3", "delay:20", "delay:5,pieces:31,gap:2"}) {
            const QByteArray name = QByteArray(target == local ? "local, " : "domain, ") + order;
            QTest::newRow(name.constData()) << target << QByteArray(order);
        }
    }
}

void tst_RoundTrip::doesNotMindPieces()
{
    QFETCH(Target, target);
    QFETCH(QByteArray, order);
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    QCOMPARE(application.take(1), QStringList(application.connected()));
    QVERIFY(application.misbehave(order));
    QVERIFY(converse(application));
    QCOMPARE(application.take(int(conversation().size())), conversation());
    QCOMPARE(application.reports(), 0);
}

// The two halves of a separator count only if they come in two reads, which the system may turn
// into one. So every mixture of the two is right, and in time the one without any whole
// separator must come.
void tst_RoundTrip::joinsFramesAtASplitSeparator()
{
    QFETCH(Target, target);
    const QString first = latin1("get(g1, ") + gateway + latin1(")");
    const QString second = latin1("error(g2, application, no such path: /nothing)");
    const QString third = latin1("ok(m)");
    const QString last = latin1("get(g3, ") + gateway + latin1(")");
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    application.take(1);
    QVERIFY(waitFor([&]() {
        application.traceLog.take();
        if (!application.misbehave("split-separator,gap:30"))
            return true;
        application.get("g1", hostnamePath);
        application.get("g2", latin1("/nothing"));
        // The answer to this one comes properly and ends the frame that has become of the three.
        application.order("off");
        application.get("g3", hostnamePath);
        waitFor([&]() { return application.told().endsWith(last); });
        const QStringList signalled = application.take(0);
        const int reports = application.reports();
        const bool bothSplit = signalled == (QStringList() << first << last) && reports == 1;
        const bool firstSplit =
            signalled == (QStringList() << first << third << last) && reports == 1;
        const bool secondSplit =
            signalled == (QStringList() << first << second << last) && reports == 1;
        const bool noneSplit =
            signalled == (QStringList() << first << second << third << last) && reports == 0;
        if (!bothSplit && !firstSplit && !secondSplit && !noneSplit)
            application.signalLog->entries = QStringList(latin1("wrong")) << signalled;
        return bothSplit || !application.signalLog->entries.isEmpty();
    }));
    QCOMPARE(application.told(), QStringList());
}

void tst_RoundTrip::skipsGarbage()
{
    QFETCH(Target, target);
    for (const char *order : {"garbage", "garbage:1", "garbage:2000", "garbage:2000,pieces:99"}) {
        kivsim->kill();
        QVERIFY(kivsim->start());
        Application application(*kivsim, target);
        QVERIFY(application.reconnect());
        QCOMPARE(application.take(1), QStringList(application.connected()));
        QVERIFY(application.misbehave(order));
        QVERIFY(converse(application));
        QCOMPARE(application.take(int(conversation().size())), conversation());
        // Only what has a "<" in it looks like a message that is to be reported.
        BareClient bare(BareClient::Local, *kivsim);
        bare.send(misbehaveRequest("m", order));
        bare.frame();
        bare.send(getRequest("r", "/state/empty"));
        const bool looksLikeAMessage = bare.frame().contains('<');
        QVERIFY(looksLikeAMessage || !QByteArray(order).contains("2000"));
        QCOMPARE(application.reports(), looksLikeAMessage ? int(conversation().size()) : 0);
    }
}

void tst_RoundTrip::forgetsHalfAFrame_data()
{
    QTest::addColumn<Target>("target");
    QTest::addColumn<QByteArray>("order");
    for (Target target : {local, domain}) {
        for (const char *order : {"cut", "cut:0", "cut:1", "cut:9", "cut:40", "cut:1048576",
                                  "cut:60,pieces:7", "cut:60,garbage:2000"}) {
            const QByteArray name = QByteArray(target == local ? "local, " : "domain, ") + order;
            QTest::newRow(name.constData()) << target << QByteArray(order);
        }
    }
}

void tst_RoundTrip::forgetsHalfAFrame()
{
    QFETCH(Target, target);
    QFETCH(QByteArray, order);
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    QCOMPARE(application.take(1), QStringList(application.connected()));
    QVERIFY(application.misbehave(order));
    QVERIFY(application.get("lost", hostnamePath));
    QVERIFY(application.isDisconnected());
    QVERIFY(!application.get("dropped", hostnamePath));
    QVERIFY(application.reconnect());
    QVERIFY(converse(application));
    const QStringList expected = QStringList() << application.disconnected()
                                               << application.connected() << conversation();
    QCOMPARE(application.take(int(expected.size())), expected);
    QCOMPARE(application.reports(), order.contains("garbage") ? 1 : 0);
}

void tst_RoundTrip::outlivesARestart()
{
    QFETCH(Target, target);
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    QCOMPARE(application.take(1), QStringList(application.connected()));
    for (int i = 0; i < 3; ++i) {
        QVERIFY(application.edit("e", hostnamePath, "patch", renamed));
        QCOMPARE(application.take(1), QStringList(latin1("ok(e)")));
        QVERIFY(application.order("restart:100"));
        QVERIFY(application.isDisconnected());
        QVERIFY(kivsim->waitForReady(i + 2));
        QVERIFY(application.reconnect());
        QVERIFY(application.get("g", hostnamePath));
        QCOMPARE(application.take(4), QStringList() << latin1("ok(m)") << application.disconnected()
                                                    << application.connected()
                                                    << latin1("get(g, ") + gateway + latin1(")"));
    }
}

void tst_RoundTrip::outlivesDeathAtAnyMoment()
{
    QFETCH(Target, target);
    const int rounds = 40;
    const QStringList all = conversation();
    Application application(*kivsim, target);
    QVERIFY(application.reconnect());
    QCOMPARE(application.take(1), QStringList(application.connected()));
    for (int i = 0; i < rounds; ++i) {
        if (i % 2)
            QVERIFY(application.misbehave("pieces:7"));
        QVERIFY(converse(application));
        // At first after so many signals, then after so much time without looking.
        if (i <= int(all.size()))
            QVERIFY(waitFor([&]() { return int(application.told().size()) >= i; }));
        else
            ::usleep(useconds_t(i - all.size()) * 150);
        kivsim->kill();
        QVERIFY(application.isDisconnected());
        QVERIFY(kivsim->start());
        QVERIFY(application.reconnect());
        QVERIFY(application.get("g", hostnamePath));
        const QString answer = latin1("get(g, ") + gateway + latin1(")");
        QVERIFY(waitFor([&]() { return application.told().contains(answer); }));
        const QStringList told = application.take(0);
        const int complete = int(told.indexOf(application.disconnected()));
        const QStringList expected = QStringList()
                                     << all.mid(0, complete) << application.disconnected()
                                     << application.connected() << answer;
        const QString lineEnd = QLatin1String("\n");
        QCOMPARE(told.join(lineEnd), expected.join(lineEnd)); // shows all of both
        QCOMPARE(application.reports(), 0);
    }
}

void tst_RoundTrip::reconnectsByItself()
{
    Application application(*kivsim, local);
    KivInterface::updateDomainServerIpAddress(latin1("127.0.0.1"), kivsim->port());
    KivInterface::domainServerActivateTcpConnection(true);
    const auto waitForBoth = [&](const char *what) {
        return waitFor([&]() {
            const QStringList &entries = application.signalLog->entries;
            return entries.contains(latin1("local ") + latin1(what)) &&
                   entries.contains(latin1("domain ") + latin1(what));
        });
    };
    QVERIFY(waitForBoth("connected"));
    application.take(0);
    kivsim->kill();
    QVERIFY(waitForBoth("disconnected"));
    application.take(0);
    QVERIFY(kivsim->start());
    QVERIFY(waitForBoth("connected"));
    application.take(0);
    QVERIFY(KivInterface::requestDataGet(latin1("g"), hostnamePath, domain));
    QCOMPARE(application.take(1), QStringList(latin1("get(g, ") + gateway + latin1(")")));
    QVERIFY(converse(application));
    QCOMPARE(application.take(int(conversation().size())), conversation());
}

QTEST_MAIN(tst_RoundTrip)

#include "tst_roundtrip.moc"
