// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bareclient.h"
#include "simulatorprocess.h"
#include "waiting.h"
#include "wiremessages.h"

#include <QtCore/QList>
#include <QtTest/QtTest>

#include <memory>
#include <vector>

Q_DECLARE_METATYPE(BareClient::Transport)

namespace
{

const BareClient::Transport local = BareClient::Local;
const BareClient::Transport tcp = BareClient::Tcp;

QByteArray get(const QByteArray &path)
{
    return getRequest("r", path);
}

QByteArray applicationError(const QByteArray &message)
{
    return errorAnswer("r", "application", message);
}

QByteArray nested(int levels)
{
    return QByteArray("<a>").repeated(levels) + QByteArray("</a>").repeated(levels);
}

/** A row of a test of answers to one frame. */
void row(const char *name, const QByteArray &frame, const QByteArray &answer)
{
    QTest::newRow(name) << frame << answer;
}

} // namespace

/** Requests and answers of kivsim, byte by byte. */
class tst_KivSim : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();

    void getsData_data();
    void getsData();
    void servesTheDocumentThatComesAlong();
    void passesOnBytesOfAnyEncoding();
    void understandsFrames_data();
    void understandsFrames();
    void readsFramesInAnyPieces();
    void answersWhatWasSentBeforeTheEndOfAClient();

    void refusesWhatItCannotUnderstand_data();
    void refusesWhatItCannotUnderstand();
    void namesTheReasonOfTheParser();
    void keepsGoingAfterAnything();
    void cutsLongMessagesBetweenCharacters();

    void edits_data();
    void edits();
    void refusesEdits_data();
    void refusesEdits();
    void validatesPerConnection();
    void takesManyUnlikeChildrenAtOnce();

    void reportsChanges_data();
    void reportsChanges();
    void reportsThePresentState_data();
    void reportsThePresentState();
    void answersBeforeItReports();
    void reportsToEachSubscription();
    void forgetsSubscriptionsOfLostClients();
    void limitsSubscriptions();

private:
    std::unique_ptr<SimulatorProcess> kivsim;
};

void tst_KivSim::init()
{
    kivsim.reset(new SimulatorProcess);
    QVERIFY(kivsim->start());
}

void tst_KivSim::cleanup()
{
    QCOMPARE(kivsim->stop(), QByteArray("exit 0"));
    QCOMPARE(readable(kivsim->errors()), QString());
}

void tst_KivSim::getsData_data()
{
    const QByteArray interfaces =
        "<interface><name>eth0</name><mtu>1500</mtu><address><ip>192.0.2.10</ip>"
        "<length>24</length></address></interface>"
        "<interface><name>eth1</name><mtu>1400</mtu></interface>";
    const QByteArray eth1 = "<interface><name>eth1</name><mtu>1400</mtu></interface>";
    QTest::addColumn<BareClient::Transport>("transport");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("content");
    for (BareClient::Transport transport : {local, tcp}) {
        const auto add = [transport](const char *name, const QByteArray &path,
                                     const QByteArray &content) {
            const QByteArray title = QByteArray(name) + (transport == tcp ? ", TCP" : "");
            QTest::newRow(title.constData()) << transport << path << content;
        };
        add("leaf", "/config/system/hostname", "<hostname>gateway</hostname>");
        add("tree", "/config/system/clock", "<clock><source>ntp</source><drift>50</drift></clock>");
        add("all", "/", documentContent);
        add("no slash first", "config/system/hostname", "<hostname>gateway</hostname>");
        add("slash last", "/config/system/hostname/", "<hostname>gateway</hostname>");
        add("double slashes", "//config//system///hostname", "<hostname>gateway</hostname>");
        add("root written twice", "//", documentContent);
        add("escaped text", "/config/system/note", "<note>Pump &amp; valve</note>");
        add("namesakes", "/config/system/dns", "<dns>192.0.2.53</dns><dns>198.51.100.53</dns>");
        add("whole list", "/config/interfaces/interface", interfaces);
        add("entry", "/config/interfaces/interface[name='eth1']", eth1);
        add("entry in double quotes", "/config/interfaces/interface[name=\"eth1\"]", eth1);
        add("several keys", "/config/interfaces/interface[mtu='1400'][name='eth1']/mtu",
            "<mtu>1400</mtu>");
        add("of all entries", "/config/interfaces/interface/mtu", "<mtu>1500</mtu><mtu>1400</mtu>");
        add("two key elements", "/state/sys_messages/sys_message[reporter='fan'][rep_ref='1']/text",
            "<text>slow</text>");
        add("empty", "/state/empty", "<empty/>");
        add("blank", "/state/blank", "<blank> </blank>");
    }
}

void tst_KivSim::getsData()
{
    QFETCH(BareClient::Transport, transport);
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, content);
    BareClient client(transport, *kivsim);
    QCOMPARE(readable(client.exchange(get(path))), readable(getAnswer("r", path, content)));
}

void tst_KivSim::servesTheDocumentThatComesAlong()
{
    SimulatorProcess other;
    other.run(QStringList() << QLatin1String("--socket") << other.socketPath());
    QVERIFY(other.waitForReady(1));
    BareClient client(local, other);
    QCOMPARE(
        readable(client.exchange(get("/config/system/hostname"))),
        readable(getAnswer("r", "/config/system/hostname", "<hostname>gateway-07</hostname>")));
    for (const char *path :
         {"/config/system", "/config/interfaces", "/config/routes", "/config/firewall",
          "/config/users", "/config/services", "/config/alarms", "/config/io", "/state/system",
          "/state/interfaces", "/state/routes", "/state/storage", "/state/processes",
          "/state/sensors", "/state/io", "/state/alarms", "/state/sys_messages"})
        QVERIFY2(client.exchange(get(path)).startsWith("ack:get\r\n"), path);
    QCOMPARE(other.stop(), QByteArray("exit 0"));
}

void tst_KivSim::passesOnBytesOfAnyEncoding()
{
    QByteArray every;
    for (int code = 0x80; code < 0x100; ++code)
        every += char(code);
    const QByteArray path = "/config/system/hostname";
    const QByteArray data = "<hostname>" + every + "</hostname>";
    const QByteArray absent = "/config/x[y='" + every.left(64) + "']";
    BareClient client(tcp, *kivsim);
    QCOMPARE(readable(client.exchange(editRequest(every, "patch", path, data) +
                                      getRequest(every, path) + getRequest(every, absent))),
             readable(editAnswer(every) + getAnswer(every, path, data) +
                      errorAnswer(every, "application", "no such path: " + absent)));
}

void tst_KivSim::understandsFrames_data()
{
    const QByteArray question = "<request><ref>r</ref><rpc><get><path>/state/blank</path></get>"
                                "</rpc></request>";
    const QByteArray answer = getAnswer("r", "/state/blank", "<blank> </blank>");
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QByteArray>("answer");
    row("empty", "\f\n", "");
    row("many empty", "\f\n\f\n\f\n", "");
    row("handshake", "\f\nencode:xml\r\n\r\n\f\n", "");
    row("handshake in one line", "encode:xml\f\n", "");
    row("bare", question + "\f\n", answer);
    row("line end", question + "\r\n\f\n", answer);
    row("header line", "encode:xml\r\n" + question + "\r\n\f\n", answer);
    row("header and empty line", "encode:xml\r\n\r\n" + question + "\f\n", answer);
    row("behind the handshake", "\f\nencode:xml\r\n\r\n\f\n" + question + "\f\n", answer);
    row("two", question + "\f\n" + question + "\f\n", answer + answer);
    row("declaration", "<?xml version=\"1.0\"?>\r\n" + question + "\f\n", answer);
    row("comments",
        "<!-- a --><request><!-- & --><ref>r</ref><rpc><get><path>/state/<!-- b -->blank</path>"
        "</get></rpc></request><!-- c -->\f\n",
        answer);
    row("CDATA",
        "<request><ref><![CDATA[r]]></ref><rpc><get><path>/state/<![CDATA[blank]]></path></get>"
        "</rpc></request>\f\n",
        answer);
    row("attributes",
        "<request a='1'><ref b='2'>r</ref><rpc><get><path>/state/blank</path></get></rpc>"
        "</request>\f\n",
        answer);
    row("layout",
        "<request>\r\n\t<ref>r</ref>\n <rpc> <get> <path>/state/blank</path> </get></rpc>"
        "</request>\f\n",
        answer);
    row("references",
        "<request><ref>&#114;</ref><rpc><get><path>/state&#x2F;blank</path></get></rpc>"
        "</request>\f\n",
        answer);
    row("reference with markup in it", getRequest("&lt;&amp;&gt;", "/state/blank"),
        getAnswer("&lt;&amp;&gt;", "/state/blank", "<blank> </blank>"));
    // As it stands readers would take it for the end of a line.
    row("carriage return", getRequest("a&#13;b", "/state/blank"),
        getAnswer("a&#13;b", "/state/blank", "<blank> </blank>"));
    row("empty reference", getRequest("", "/state/blank"),
        getAnswer("", "/state/blank", "<blank> </blank>"));
    row("longest reference", getRequest(QByteArray(4096, 'x'), "/state/blank"),
        getAnswer(QByteArray(4096, 'x'), "/state/blank", "<blank> </blank>"));
    row("form feed in a header", "\f\f\n",
        errorAnswer("", "protocol", "header line not understood"));
    row("validation without request",
        "encode:xml\r\n<rpc><kivd_debug><validate_off>1</validate_off></kivd_debug></rpc>\r\n\f\n",
        sessionInfoAnswer(""));
    row("misbehaviour without request",
        "<rpc><kivsim><misbehave>off</misbehave></kivsim></rpc>\r\n\f\n", sessionInfoAnswer(""));
    for (const char *on : {"1", "true", "yes", "0", "false", "no", ""})
        row((QByteArray("validate_off ") + on).constData(), validateOffRequest("r", on),
            sessionInfoAnswer("r"));
}

void tst_KivSim::understandsFrames()
{
    QFETCH(QByteArray, frame);
    QFETCH(QByteArray, answer);
    BareClient client(local, *kivsim);
    QCOMPARE(readable(client.exchange(frame)), readable(answer));
}

void tst_KivSim::readsFramesInAnyPieces()
{
    const QByteArray frames = "\f\nencode:xml\r\n\r\n\f\n" + get("/state/blank") +
                              "encode:xml\r\n" + get("/state/empty") + get("/nothing");
    const QByteArray answers = getAnswer("r", "/state/blank", "<blank> </blank>") +
                               getAnswer("r", "/state/empty", "<empty/>") +
                               applicationError("no such path: /nothing");
    BareClient other(local, *kivsim);
    for (int cut = 1; cut < int(frames.size()); ++cut) {
        BareClient client(cut % 2 ? tcp : local, *kivsim);
        client.send(frames.left(cut));
        // The answer to somebody else shows that the first piece has been read.
        QCOMPARE(readable(other.exchange(QByteArray())), QString());
        QCOMPARE(readable(client.exchange(frames.mid(cut))), readable(answers));
    }
}

void tst_KivSim::answersWhatWasSentBeforeTheEndOfAClient()
{
    BareClient client(tcp, *kivsim);
    client.send(misbehaveRequest("m", "delay:100") + get("/state/blank") + "<request><ref>r</ref>");
    client.finish();
    QCOMPARE(readable(client.untilClosed()),
             readable(sessionInfoAnswer("m") + getAnswer("r", "/state/blank", "<blank> </blank>")));
}

void tst_KivSim::refusesWhatItCannotUnderstand_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QByteArray>("answer");
    const auto refused = [](const QByteArray &ref, const QByteArray &frame,
                            const QByteArray &message) {
        const QByteArray name = message.left(50) + "|" + frame.left(150).simplified();
        row(name.constData(), frame, errorAnswer(ref, "protocol", message));
    };
    const auto refusedOperation = [&](const QByteArray &operation, const QByteArray &message) {
        refused("r", request("r", operation), message);
    };
    const auto refusedPath = [&](const QByteArray &path, const QByteArray &reason) {
        refused("r", get(path), "bad path: " + reason);
    };
    const QByteArray fine = get("/");

    refused("r", "hello\r\n" + fine, "header line not understood");
    refused("r", "encode:xml\r\nhello\r\n" + fine, "header line not understood");
    refused("", "hello\f\n", "header line not understood");
    refused("r", "encode:json\r\n" + fine, "encoding not supported");
    refused("", "\r\n\f\n", "frame without a message");
    refused("r", "<request><ref>r</ref>\x01</request>\f\n", "control character in the message");
    refused("", QByteArray("<request>\0</request>\f\n", 22), "control character in the message");
    refused("r", "<request><ref>r</ref>&nbsp;</request>\f\n",
            "not well-formed: bad reference at byte 21");
    refused("r", "<request><ref>r</ref>&#0;</request>\f\n",
            "not well-formed: bad reference at byte 21");
    refused("r", "<request><ref>r</ref>&</request>\f\n",
            "not well-formed: bad reference at byte 21");
    refused("r", "<request><ref>r</ref><!-- </request>\f\n",
            "not well-formed: section without end at byte 21");
    refused("", "<!DOCTYPE a []><a/>\f\n",
            "not well-formed: declarations are not supported at byte 0");
    refused("", "<!-- nothing -->\f\n", "no element in the message");
    refused("1", "<request><ref>1</ref></request><request><ref>2</ref></request>\f\n",
            "more than one element in the message");
    refused("r", "<request><ref>r</ref></request>x\f\n", "text outside of the element");
    refused("r", "<k:request><ref>r</ref></k:request>\f\n", "element name not supported");
    refused("r", request("r", nested(127)), "elements nested deeper than 128 levels");
    refused("r", request("r", nested(126)), "unknown operation: a");
    refused("", "<reply><ref>r</ref></reply>\f\n", "unknown message: reply");
    refused("", "<request><rpc><get/></rpc></request>\f\n", "request without ref");
    refused("", "<rpc><get><path>/</path></get></rpc>\f\n", "request without ref");
    refused("", getRequest(QByteArray(4097, 'x'), "/"), "ref longer than 4096 bytes");
    refused("r", "<request><ref>r</ref></request>\f\n", "request without rpc");
    refusedOperation("", "rpc without operation");
    refusedOperation("text", "rpc without operation");
    refused("", "<rpc/>\f\n", "rpc without operation");
    refusedOperation("<get><path>/</path></get><get><path>/</path></get>",
                     "rpc with more than one operation");
    refusedOperation("<put/>", "unknown operation: put");
    refusedOperation("<get/>", "get without path");
    refusedOperation("<edit><path>/config</path></edit>", "edit without op");
    refusedOperation("<edit><op>delete</op></edit>", "edit without path");
    refusedOperation("<edit><op>merge</op><path>/config</path></edit>", "unknown op: merge");
    refusedOperation("<edit><op></op><path>/config</path></edit>", "unknown op: ");
    refusedOperation("<subscribe/>", "subscribe without a kind");
    refusedOperation("<subscribe><mine/></subscribe>", "mine without path");
    refusedOperation("<kivd_debug/>", "kivd_debug without validate_off");
    refusedOperation("<kivsim/>", "kivsim without misbehave");
    refused("r", validateOffRequest("r", "on"), "bad validate_off: on");
    refused("r", subscribeRequest("r", "<path>/</path><send_now>2</send_now>"), "bad send_now: 2");
    refused("r", subscribeRequest("r", "<path>a[</path>"), "bad path: bad name at character 2");
    refused("r", subscribeRequest("r", "<path>/</path><rpath_match>[</rpath_match>"),
            "bad path: bad name at character 0");
    refused("r", subscribeRequest("r", "<ypath>[</ypath>"), "bad path: bad name at character 0");
    refused("r", editRequest("r", "delete", "[", ""), "bad path: bad name at character 0");
    refusedPath("", "empty at character 0");
    refusedPath("/a b", "bad name at character 1");
    refusedPath("/a/1", "bad name at character 3");
    refusedPath("/a[b='c']d", "no slash behind a key at character 9");
    refusedPath("/a[b]", "no '=' at character 4");
    refusedPath("/a[b=c]", "key value without quotes at character 5");
    refusedPath("/a[b=", "key value without quotes at character 5");
    refusedPath("/a[b='c", "key value without closing quote at character 5");
    refusedPath("/a[b='c'", "no ']' at character 8");
    refusedPath(QByteArray("/a").repeated(65), "more than 64 steps at character 130");
    refusedPath("/a" + QByteArray("[b='']").repeated(17), "more than 16 keys at character 104");
    const struct {
        const char *order;
        const char *range;
    } orders[] = {{"", ""},
                  {"nonsense", ""},
                  {"bytes:1", ""},
                  {"pieces", " (pieces takes 1 to 1048576)"},
                  {"pieces:0", " (pieces takes 1 to 1048576)"},
                  {"pieces:1048577", " (pieces takes 1 to 1048576)"},
                  {"pieces:x", " (pieces takes 1 to 1048576)"},
                  {"gap", " (gap takes 0 to 600000)"},
                  {"gap:600001", " (gap takes 0 to 600000)"},
                  {"delay", " (delay takes 0 to 600000)"},
                  {"delay:600001", " (delay takes 0 to 600000)"},
                  {"cut:", " (cut takes 0 to 1048576)"},
                  {"garbage:0", " (garbage takes 1 to 1048576)"},
                  {"split-separator:1", ""},
                  {"off,bytes", ""},
                  {"off:1", ""},
                  {"bytes,pieces:7", " (bytes and pieces exclude each other)"},
                  {"restart,bytes", " (restart takes 0 to 600000)"},
                  {"restart:600001", " (restart takes 0 to 600000)"},
                  {"bytes,", ""},
                  {"bytes,,gap:1", ""},
                  {"restart:-1", " (restart takes 0 to 600000)"}};
    for (const auto &row : orders)
        refused("r", misbehaveRequest("r", row.order),
                QByteArray("bad misbehave: ") + row.order + row.range);
}

void tst_KivSim::refusesWhatItCannotUnderstand()
{
    QFETCH(QByteArray, frame);
    QFETCH(QByteArray, answer);
    BareClient client(local, *kivsim);
    QCOMPARE(readable(client.exchange(frame)), readable(answer));
}

void tst_KivSim::namesTheReasonOfTheParser()
{
    BareClient client(local, *kivsim);
    const QByteArray answer = client.exchange("<request><ref>r</ref><rpc></request>\f\n");
    const QByteArray begin = "errbody:protocol\r\n<reply><ref>r</ref><out><error><type>protocol"
                             "</type><message>not well-formed: ";
    QCOMPARE(readable(answer.left(begin.size())), readable(begin));
    QVERIFY2(answer.contains(" at byte "), answer.constData());
    QVERIFY2(answer.endsWith("</message></error></out></reply>\r\n\f\n"), answer.constData());
}

void tst_KivSim::keepsGoingAfterAnything()
{
    const QByteArray good =
        editRequest("r", "patch", "/config/system/clock", "<clock><drift>1</drift></clock>");
    BareClient client(local, *kivsim);
    for (int at = 0; at < int(good.size()) - 2; ++at) {
        for (char wrong : {'\0', '\x01', '<', '>', '&', '/', ']', '\'', '\f', '\xff'}) {
            QByteArray bad = good;
            bad[at] = wrong;
            client.send(bad);
        }
        client.send(good.left(at) + "\f\n");
    }
    client.exchange(QByteArray());
    QVERIFY(client.isConnected());
    QCOMPARE(readable(client.exchange(get("/state/blank"))),
             readable(getAnswer("r", "/state/blank", "<blank> </blank>")));
}

void tst_KivSim::cutsLongMessagesBetweenCharacters()
{
    // "no such path: /x[y='" is 20 bytes long, so that byte 200 is in the middle of a character.
    const QByteArray twoBytes = QByteArray("\xc3\xa9").repeated(100);
    const QByteArray path = "/x[y='a" + twoBytes + "']";
    BareClient client(local, *kivsim);
    QCOMPARE(readable(client.exchange(get(path))),
             readable(applicationError(("no such path: " + path).left(199) + "...")));
    const QByteArray fits = "/" + QByteArray(185, 'x');
    QCOMPARE(readable(client.exchange(get(fits))),
             readable(applicationError("no such path: " + fits)));
}

void tst_KivSim::edits_data()
{
    QTest::addColumn<bool>("validate");
    QTest::addColumn<QByteArray>("op");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("looksAt");
    QTest::addColumn<QByteArray>("content");
    bool validate = true;
    const auto add = [&validate](const char *name, const QByteArray &op, const QByteArray &path,
                                 const QByteArray &data, const QByteArray &looksAt,
                                 const QByteArray &content) {
        QTest::newRow(name) << validate << op << path << data << looksAt << content;
    };
    const QByteArray eth0 = "<interface><name>eth0</name><mtu>1500</mtu><address>"
                            "<ip>192.0.2.10</ip><length>24</length></address></interface>";
    const QByteArray eth1 = "<interface><name>eth1</name><mtu>1400</mtu></interface>";
    const QByteArray interfaces = "/config/interfaces";
    const QByteArray entries = "/config/interfaces/interface";
    const QByteArray messages = "/state/sys_messages";
    const QByteArray fan = "<sys_message><reporter>fan</reporter><rep_ref>1</rep_ref>";

    add("patch a text", "patch", "/config/system/hostname", "<hostname>new</hostname>",
        "/config/system/hostname", "<hostname>new</hostname>");
    add("patch merges", "patch", "/config/system/clock", "<clock><drift>1</drift></clock>",
        "/config/system/clock", "<clock><source>ntp</source><drift>1</drift></clock>");
    add("patch adds", "patch", "/config/system/clock", "<clock><zone>UTC</zone></clock>",
        "/config/system/clock",
        "<clock><source>ntp</source><drift>50</drift><zone>UTC</zone></clock>");
    add("patch creates", "patch", "/config/routes", "<routes><route>1</route></routes>",
        "/config/routes", "<routes><route>1</route></routes>");
    add("patch goes by the order of namesakes", "patch", "/config/system",
        "<system><dns>1</dns><hostname>new</hostname></system>", "/config/system/dns",
        "<dns>1</dns><dns>198.51.100.53</dns>");
    add("patch adds more namesakes", "patch", "/config/system",
        "<system><dns>1</dns><dns>2</dns><dns>3</dns></system>", "/config/system/dns",
        "<dns>1</dns><dns>2</dns><dns>3</dns>");
    add("new namesakes stand with the others", "patch", "/config/system/clock",
        "<clock/><clock>sun</clock>", "/config/system",
        "<system><hostname>gateway</hostname><note>Pump &amp; valve</note><clock>"
        "<source>ntp</source><drift>50</drift></clock><clock>sun</clock><dns>192.0.2.53</dns>"
        "<dns>198.51.100.53</dns></system>");
    add("new namesakes inside stand with the others", "patch", "/config/system",
        "<system><note>1</note><note>2</note></system>", "/config/system",
        "<system><hostname>gateway</hostname><note>1</note><note>2</note><clock>"
        "<source>ntp</source><drift>50</drift></clock><dns>192.0.2.53</dns>"
        "<dns>198.51.100.53</dns></system>");
    add("patch the entry of the path", "patch", entries + "[name='eth1']",
        "<interface><mtu>9</mtu></interface>", interfaces,
        "<interfaces>" + eth0 +
            "<interface><name>eth1</name><mtu>9</mtu></interface></interfaces>");
    add("patch the entry of the data", "patch", entries,
        "<interface><name>eth1</name><mtu>9</mtu></interface>", interfaces,
        "<interfaces>" + eth0 +
            "<interface><name>eth1</name><mtu>9</mtu></interface></interfaces>");
    add("patch entries further down", "patch", interfaces,
        "<interfaces><interface><name>eth2</name></interface><interface><name>eth1</name>"
        "<mtu>9</mtu></interface></interfaces>",
        interfaces,
        "<interfaces>" + eth0 +
            "<interface><name>eth1</name><mtu>9</mtu></interface>"
            "<interface><name>eth2</name></interface></interfaces>");
    add("patch several entries", "patch", entries,
        "<interface><name>eth1</name><up>1</up></interface><interface><name>eth0</name><up>0</up>"
        "</interface>",
        entries + "/up", "<up>0</up><up>1</up>");
    add("patch a new entry", "patch", entries + "[name='ppp0']",
        "<interface><mtu>9</mtu></interface>", interfaces,
        "<interfaces>" + eth0 + eth1 +
            "<interface><name>ppp0</name><mtu>9</mtu></interface></interfaces>");
    add("patch an entry with two keys", "patch",
        messages + "/sys_message[reporter='fan'][rep_ref='1']",
        "<sys_message><text>stuck</text></sys_message>", messages,
        "<sys_messages>" + fan + "<text>stuck</text></sys_message></sys_messages>");
    add("patch an entry with another second key", "patch", messages + "/sys_message",
        "<sys_message><reporter>fan</reporter><rep_ref>2</rep_ref></sys_message>", messages,
        "<sys_messages>" + fan +
            "<text>slow</text></sys_message><sys_message><reporter>fan</reporter>"
            "<rep_ref>2</rep_ref></sys_message></sys_messages>");
    add("patch a text in place of elements", "patch", "/config/system/clock", "<clock>sun</clock>",
        "/config/system/clock", "<clock>sun</clock>");
    add("patch elements in place of a text", "patch", "/config/system/hostname",
        "<hostname><short>g</short></hostname>", "/config/system/hostname",
        "<hostname><short>g</short></hostname>");
    const QByteArray manyKeys = QByteArray("[name='eth1']").repeated(15) + "[mtu='1400']";
    add("patch the entry of a path with many keys", "patch", entries + manyKeys,
        "<interface><up>1</up></interface>", entries + "[name='eth1']/up", "<up>1</up>");
    add("patch fills in keys", "patch", entries + "[name='ppp0'][kind='b']", "<interface/>",
        entries + "[name='ppp0']", "<interface><name>ppp0</name><kind>b</kind></interface>");
    add("patch a leaf with the name of an entry", "patch", "/config/system/interface",
        "<interface>eth0</interface>", "/config/system/interface", "<interface>eth0</interface>");
    add("attributes and comments are read over", "patch", "/config/system/hostname",
        "<hostname a='1'>new<!-- c --></hostname>", "/config/system/hostname",
        "<hostname>new</hostname>");

    add("replace a text", "replace", "/config/system/hostname", "<hostname>new</hostname>",
        "/config/system/hostname", "<hostname>new</hostname>");
    add("replace a tree", "replace", "/config/system/clock", "<clock><zone>UTC</zone></clock>",
        "/config/system/clock", "<clock><zone>UTC</zone></clock>");
    add("replace creates", "replace", "/config/routes", "<routes/>", "/config/routes", "<routes/>");
    add("replace namesakes", "replace", "/config/system/dns",
        "<dns>1</dns><dns>2</dns><dns>3</dns>", "/config/system/dns",
        "<dns>1</dns><dns>2</dns><dns>3</dns>");
    add("replace all entries", "replace", entries, "<interface><name>a</name></interface>",
        interfaces, "<interfaces><interface><name>a</name></interface></interfaces>");
    add("replace one entry in its place", "replace", entries + "[name='eth0']",
        "<interface><mtu>9</mtu></interface>", interfaces,
        "<interfaces><interface><name>eth0</name><mtu>9</mtu></interface>" + eth1 +
            "</interfaces>");

    add("delete a leaf", "delete", "/config/system/clock/drift", "", "/config/system/clock",
        "<clock><source>ntp</source></clock>");
    add("delete an entry", "delete", entries + "[name='eth0']", "", interfaces,
        "<interfaces>" + eth1 + "</interfaces>");
    add("delete all entries", "delete", entries, "", interfaces, "<interfaces/>");
    add("delete in all entries", "delete", entries + "/mtu", "", entries + "[name='eth1']",
        "<interface><name>eth1</name></interface>");
    add("layout in references", "replace", "/config/system/clock",
        "<clock>&#9;<source>gps</source>&#x20;</clock>", "/config/system/clock",
        "<clock><source>gps</source></clock>");
    add("delete ignores data", "delete", "/config/system/dns", "<interface/>text", "/config/system",
        "<system><hostname>gateway</hostname><note>Pump &amp; valve</note><clock>"
        "<source>ntp</source><drift>50</drift></clock></system>");

    validate = false;
    add("missing parents are created", "patch", "/config/a/b/c", "<c>1</c>", "/config/a",
        "<a><b><c>1</c></b></a>");
    add("missing entries are created", "patch", entries + "[name='ppp0']/address[ip='::1']/length",
        "<length>128</length>", entries + "[name='ppp0']",
        "<interface><name>ppp0</name><address><ip>::1</ip><length>128</length></address>"
        "</interface>");
    add("text becomes the content", "patch", "/config/system/hostname", "new",
        "/config/system/hostname", "<hostname>new</hostname>");
    add("elements become the content", "replace", "/config/system/hostname", "<short>g</short>",
        "/config/system/hostname", "<hostname><short>g</short></hostname>");
    add("the keys of the path win", "patch", entries + "[name='eth1']",
        "<interface><name>eth9</name><mtu>9</mtu></interface>", interfaces,
        "<interfaces>" + eth0 +
            "<interface><name>eth1</name><mtu>9</mtu></interface></interfaces>");
    add("entries need no keys", "patch", entries, "<interface><mtu>9</mtu></interface>", interfaces,
        "<interfaces>" + eth0 + eth1 + "<interface><mtu>9</mtu></interface></interfaces>");
}

void tst_KivSim::edits()
{
    QFETCH(bool, validate);
    QFETCH(QByteArray, op);
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, looksAt);
    QFETCH(QByteArray, content);
    BareClient editor(local, *kivsim);
    BareClient observer(tcp, *kivsim);
    QCOMPARE(readable(editor.exchange(validateOffRequest("v", validate ? "0" : "1") +
                                      editRequest("e", op, path, data))),
             readable(sessionInfoAnswer("v") + editAnswer("e")));
    QCOMPARE(readable(observer.exchange(get(looksAt))), readable(getAnswer("r", looksAt, content)));
}

void tst_KivSim::refusesEdits_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QByteArray>("message");
    const auto refused = [](const char *name, const QByteArray &op, const QByteArray &path,
                            const QByteArray &data, const QByteArray &message) {
        row(name, editRequest("r", op, path, data), message);
    };
    const QByteArray entries = "/config/interfaces/interface";
    const QByteArray mismatch = "data does not match the last step of the path: ";
    const QByteArray hostname = "/config/system/hostname";
    refused("nothing to delete", "delete", "/config/x", "", "no such path: /config/x");
    refused("no entry to delete", "delete", entries + "[name='x']", "",
            "no such path: " + entries + "[name='x']");
    for (const char *op : {"patch", "replace", "delete"})
        refused((QByteArray(op) + " the root").constData(), op, "/", "<config/>",
                "the root cannot be edited");
    row("patch without data",
        request("r", "<edit><op>patch</op><path>/config/system</path></edit>"),
        "patch without data");
    row("replace without data",
        request("r", "<edit><op>replace</op><path>/config/system</path></edit>"),
        "replace without data");
    refused("no parent", "patch", "/config/x/y", "<y>1</y>", "no such parent: /config/x");
    refused("replace without parent", "replace", "/x/y", "<y>1</y>", "no such parent: /x");
    refused("several parents", "patch", entries + "/mtu", "<mtu>1</mtu>",
            "path is ambiguous: " + entries + "/mtu");
    refused("two entries for one path", "patch", entries + "[name='eth0']",
            "<interface/><interface/>", "path is ambiguous: " + entries + "[name='eth0']");
    refused("other element", "patch", hostname, "<name>x</name>", mismatch + hostname);
    refused("one other element", "patch", hostname, "<hostname/><name/>", mismatch + hostname);
    refused("text as data", "replace", hostname, "x", mismatch + hostname);
    refused("empty data", "patch", hostname, "", mismatch + hostname);
    refused("other key", "patch", entries + "[name='eth0']",
            "<interface><name>eth1</name></interface>",
            "key in the data contradicts the path: name");
    refused("entry without key", "patch", entries, "<interface><mtu>1</mtu></interface>",
            "list entry without its key: interface/name");
    refused("replace by an entry without key", "replace", entries,
            "<interface><mtu>1</mtu></interface>", "list entry without its key: interface/name");
    refused("new entry without a key inside", "patch", entries + "[name='eth0']",
            "<interface><mtu>1</mtu><address><length>8</length></address></interface>",
            "list entry without its key: address/ip");
    refused("not wholly", "patch", "/config",
            "<config><system><hostname>new</hostname></system><interfaces><interface>"
            "<name>eth1</name><mtu>1</mtu></interface><interface><mtu>1</mtu></interface>"
            "</interfaces></config>",
            "list entry without its key: interface/name");
    refused("entry without its second key", "patch", "/state/sys_messages/sys_message",
            "<sys_message><reporter>fan</reporter></sys_message>",
            "list entry without its key: sys_message/rep_ref");
}

void tst_KivSim::refusesEdits()
{
    QFETCH(QByteArray, frame);
    QFETCH(QByteArray, message);
    BareClient observer(local, *kivsim);
    const QByteArray subscription = subscribeRequest("s", "<path>/</path>");
    QCOMPARE(readable(observer.exchange(subscription)), readable(sessionInfoAnswer("s")));
    BareClient client(tcp, *kivsim);
    QCOMPARE(readable(client.exchange(frame)), readable(applicationError(message)));
    QCOMPARE(readable(observer.exchange(get("/"))), readable(getAnswer("r", "/", documentContent)));
}

void tst_KivSim::validatesPerConnection()
{
    const QByteArray edit = editRequest("r", "patch", "/config/a/b", "<b>1</b>");
    const QByteArray refused = applicationError("no such parent: /config/a");
    BareClient one(local, *kivsim);
    BareClient other(local, *kivsim);
    QCOMPARE(readable(one.exchange(validateOffRequest("v", "1"))),
             readable(sessionInfoAnswer("v")));
    QCOMPARE(readable(other.exchange(edit)), readable(refused));
    QCOMPARE(readable(one.exchange(validateOffRequest("v", "0") + edit)),
             readable(sessionInfoAnswer("v") + refused));
    QCOMPARE(readable(one.exchange(validateOffRequest("v", "yes") + edit)),
             readable(sessionInfoAnswer("v") + editAnswer("r")));
}

// So many that whoever looks through all of them for each of them does not come to an end.
void tst_KivSim::takesManyUnlikeChildrenAtOnce()
{
    const int count = 100000;
    const QByteArray path = "/config/many";
    QByteArray children;
    for (int i = 0; i < count; ++i)
        children += "<c" + QByteArray::number(i) + "/>";
    BareClient client(local, *kivsim);
    for (const QByteArray &data :
         {QByteArray("<many><a/></many>"), "<many>" + children + "</many>"})
        QCOMPARE(readable(client.exchange(editRequest("e", "patch", path, data))),
                 readable(editAnswer("e")));
    QVERIFY(client.exchange(get(path)) ==
            getAnswer("r", path, "<many><a/>" + children + "</many>"));
}

void tst_KivSim::reportsChanges_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("edit");
    QTest::addColumn<QByteArray>("reported");
    const auto add = [](const char *name, const QByteArray &kind, const QByteArray &edit,
                        const QByteArray &reported) {
        QTest::newRow(name) << kind << edit << reported;
    };
    const QByteArray setHostname =
        editRequest("r", "patch", "/config/system/hostname", "<hostname>new</hostname>");
    const QByteArray newHostname = "<hostname>new</hostname>";
    const QByteArray setDrift =
        editRequest("r", "replace", "/config/system/clock/drift", "<drift>1</drift>");
    const QByteArray addEntry = editRequest(
        "r", "patch", "/config/interfaces/interface[name='ppp0']",
        "<interface><mtu>9</mtu><address><ip>1</ip><length>2</length></address></interface>");
    const QByteArray nothing;

    add("element itself", "<path>/config/system/hostname</path>", setHostname,
        notification("s", "patch", "/config/system/hostname", "/config/system/hostname",
                     newHostname));
    add("below", "<path>/config</path>", setHostname,
        notification("s", "patch", "/config", "/config/system/hostname", newHostname));
    add("anything", "<path>/</path>", setDrift,
        notification("s", "replace", "/", "/config/system/clock/drift", "<drift>1</drift>"));
    add("spath as written", "<path>config//system/</path>", setHostname,
        notification("s", "patch", "config//system/", "/config/system/hostname", newHostname));
    add("what the edit brought", "<path>/config</path>",
        editRequest("r", "patch", "/config/system/clock", "<clock><drift>1</drift></clock>"),
        notification("s", "patch", "/config", "/config/system/clock",
                     "<clock><drift>1</drift></clock>"));
    add("new entry", "<path>/config/interfaces</path>", addEntry,
        notification("s", "patch", "/config/interfaces",
                     "/config/interfaces/interface[name='ppp0']",
                     "<interface><name>ppp0</name><mtu>9</mtu><address><ip>1</ip>"
                     "<length>2</length></address></interface>"));
    add("deleted below", "<path>/config</path>",
        editRequest("r", "delete", "/config/system/clock", ""),
        notification("s", "delete", "/config", "/config/system/clock", ""));
    add("elsewhere", "<path>/config/interfaces</path>", setHostname, nothing);
    add("name with the same beginning", "<path>/config/system/host</path>", setHostname, nothing);
    add("other entry", "<path>/config/interfaces/interface[name='eth0']</path>",
        editRequest("r", "patch", "/config/interfaces/interface[name='eth1']/mtu", "<mtu>1</mtu>"),
        nothing);
    add("this entry", "<path>/config/interfaces/interface[name='eth1']</path>",
        editRequest("r", "patch", "/config/interfaces/interface[name='eth1']/mtu", "<mtu>1</mtu>"),
        notification("s", "patch", "/config/interfaces/interface[name='eth1']",
                     "/config/interfaces/interface[name='eth1']/mtu", "<mtu>1</mtu>"));
    add("changed above", "<path>/config/system/clock/drift</path>",
        editRequest("r", "patch", "/config/system",
                    "<system><clock><drift>1</drift></clock></system>"),
        notification("s", "patch", "/config/system/clock/drift", "/config/system/clock/drift",
                     "<drift>1</drift>"));
    add("changed above and elsewhere", "<path>/config/system/clock/drift</path>",
        editRequest("r", "patch", "/config/system", "<system>" + newHostname + "</system>"),
        nothing);
    add("deleted above", "<path>/config/system/clock/drift</path>",
        editRequest("r", "delete", "/config/system", ""),
        notification("s", "delete", "/config/system/clock/drift", "/config/system/clock/drift",
                     ""));
    add("replaced above by less", "<path>/config/system/clock/drift</path>",
        editRequest("r", "replace", "/config/system", "<system/>"),
        notification("s", "delete", "/config/system/clock/drift", "/config/system/clock/drift",
                     ""));
    add("created later", "<path>/config/later/on</path>",
        editRequest("r", "patch", "/config/later", "<later><on>1</on></later>"),
        notification("s", "patch", "/config/later/on", "/config/later/on", "<on>1</on>"));
    add("entry by the whole list", "<path>/config/interfaces/interface[name='eth1']/mtu</path>",
        editRequest("r", "patch", "/config/interfaces/interface",
                    "<interface><name>eth1</name><mtu>1</mtu></interface>"),
        notification("s", "patch", "/config/interfaces/interface[name='eth1']/mtu",
                     "/config/interfaces/interface[name='eth1']/mtu", "<mtu>1</mtu>"));
    add("changes nothing", "<path>/config</path>",
        editRequest("r", "patch", "/config/system/clock", "<clock><drift>50</drift></clock>"),
        nothing);
    add("replaces by the same", "<path>/config</path>",
        editRequest("r", "replace", "/config/system/hostname", "<hostname>gateway</hostname>"),
        nothing);

    const QByteArray match = "<path>/config</path><rpath_match>system/hostname</rpath_match>";
    add("narrowed", match, setHostname,
        notification("s", "patch", "/config", "/config/system/hostname", newHostname));
    add("narrowed, elsewhere", match, setDrift, nothing);
    add("narrowed, written whole",
        "<path>/config</path><rpath_match>/config/system/hostname</rpath_match>", setHostname,
        notification("s", "patch", "/config", "/config/system/hostname", newHostname));
    add("narrowed, written whole, elsewhere",
        "<path>/config</path><rpath_match>/config/system/hostname</rpath_match>", setDrift,
        nothing);
    add("narrowed, changed above", match,
        editRequest("r", "patch", "/config/system", "<system>" + newHostname + "</system>"),
        notification("s", "patch", "/config", "/config/system/hostname", newHostname));
    add("narrowed by nothing", "<path>/config/system</path><rpath_match></rpath_match>", setDrift,
        notification("s", "replace", "/config/system", "/config/system/clock/drift",
                     "<drift>1</drift>"));

    add("level, the child", "<ypath>/config/system</ypath>", setHostname,
        notification("s", "patch", "/config/system", "/config/system/hostname", newHostname));
    add("level, the child, more than a text", "<ypath>/config/system</ypath>",
        editRequest("r", "replace", "/config/system/hostname", "<hostname><a><b/></a></hostname>"),
        notification("s", "replace", "/config/system", "/config/system/hostname",
                     "<hostname><a/></hostname>"));
    add("level, further down", "<ypath>/config/system</ypath>", setDrift, nothing);
    add("level, a new entry", "<ypath>/config/interfaces</ypath>", addEntry,
        notification("s", "patch", "/config/interfaces",
                     "/config/interfaces/interface[name='ppp0']",
                     "<interface><name>ppp0</name><mtu>9</mtu><address><ip>1</ip></address>"
                     "</interface>"));
    add("level, in an entry", "<ypath>/config/interfaces</ypath>",
        editRequest("r", "patch", "/config/interfaces/interface[name='eth1']/mtu", "<mtu>1</mtu>"),
        nothing);
    add("level, child deleted", "<ypath>/config/system</ypath>",
        editRequest("r", "delete", "/config/system/hostname", ""),
        notification("s", "delete", "/config/system", "/config/system/hostname", ""));
    add("level, the element", "<ypath>/config/system/clock</ypath>",
        editRequest("r", "patch", "/config/system/clock",
                    "<clock><drift><ppm>1</ppm></drift></clock>"),
        notification("s", "patch", "/config/system/clock", "/config/system/clock",
                     "<clock><source>ntp</source><drift/></clock>"));
    add("level, changed above", "<ypath>/config/system/clock</ypath>",
        editRequest("r", "patch", "/config/system",
                    "<system><clock><drift>1</drift></clock></system>"),
        notification("s", "patch", "/config/system/clock", "/config/system/clock",
                     "<clock><source>ntp</source><drift>1</drift></clock>"));
    add("level, deleted above", "<ypath>/config/system/clock</ypath>",
        editRequest("r", "delete", "/config/system", ""),
        notification("s", "delete", "/config/system/clock", "/config/system/clock", ""));
    add("path wins over ypath", "<ypath>/state</ypath><path>/config/system</path>", setDrift,
        notification("s", "replace", "/config/system", "/config/system/clock/drift",
                     "<drift>1</drift>"));
}

void tst_KivSim::reportsChanges()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, edit);
    QFETCH(QByteArray, reported);
    BareClient subscriber(local, *kivsim);
    BareClient bystander(local, *kivsim);
    BareClient editor(tcp, *kivsim);
    QCOMPARE(readable(subscriber.exchange(subscribeRequest("s", kind))),
             readable(sessionInfoAnswer("s")));
    QCOMPARE(readable(editor.exchange(edit)), readable(editAnswer("r")));
    QCOMPARE(readable(subscriber.exchange(QByteArray())), readable(reported));
    QCOMPARE(readable(bystander.exchange(QByteArray())), QString());
}

void tst_KivSim::reportsThePresentState_data()
{
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("reported");
    const auto add = [](const char *name, const QByteArray &kind, const QByteArray &reported) {
        QTest::newRow(name) << kind << reported;
    };
    const QByteArray clock = "<clock><source>ntp</source><drift>50</drift></clock>";
    add("path", "<path>/config/system/clock</path><send_now>1</send_now>",
        notification("s", "current", "/config/system/clock", "/config/system/clock", clock));
    add("narrowed",
        "<path>/config</path><rpath_match>system/clock</rpath_match><send_now>true</send_now>",
        notification("s", "current", "/config", "/config/system/clock", clock));
    add("level", "<ypath>/config/system</ypath><send_now>yes</send_now>",
        notification("s", "current", "/config/system", "/config/system",
                     "<system><hostname>gateway</hostname><note>Pump &amp; valve</note><clock/>"
                     "<dns>192.0.2.53</dns><dns>198.51.100.53</dns></system>"));
    add("level of a list", "<ypath>/config/interfaces</ypath><send_now>1</send_now>",
        notification("s", "current", "/config/interfaces", "/config/interfaces",
                     "<interfaces><interface><name>eth0</name></interface><interface>"
                     "<name>eth1</name></interface></interfaces>"));
    add("level of the root", "<ypath>/</ypath><send_now>1</send_now>",
        notification("s", "current", "/", "/", "<config/><state/>"));
    add("nothing there", "<path>/config/x</path><send_now>1</send_now>",
        notification("s", "current", "/config/x", "/config/x", ""));
    add("off", "<path>/config</path><send_now>0</send_now>", "");
    add("false", "<path>/config</path><send_now>false</send_now>", "");
    add("no", "<ypath>/config</ypath><send_now>no</send_now>", "");
    add("empty", "<path>/config</path><send_now></send_now>", "");
}

void tst_KivSim::reportsThePresentState()
{
    QFETCH(QByteArray, kind);
    QFETCH(QByteArray, reported);
    BareClient client(tcp, *kivsim);
    QCOMPARE(readable(client.exchange(subscribeRequest("s", kind))),
             readable(sessionInfoAnswer("s") + reported));
}

void tst_KivSim::answersBeforeItReports()
{
    BareClient client(local, *kivsim);
    const QByteArray hostname = "/config/system/hostname";
    const QByteArray data = "<hostname>new</hostname>";
    QCOMPARE(readable(client.exchange(subscribeRequest("s", "<path>" + hostname + "</path>") +
                                      editRequest("e", "patch", hostname, data) +
                                      getRequest("g", hostname))),
             readable(sessionInfoAnswer("s") + editAnswer("e") +
                      notification("s", "patch", hostname, hostname, data) +
                      getAnswer("g", hostname, data)));
}

void tst_KivSim::reportsToEachSubscription()
{
    const QByteArray hostname = "/config/system/hostname";
    const QByteArray data = "<hostname>new</hostname>";
    BareClient one(local, *kivsim);
    BareClient two(tcp, *kivsim);
    QCOMPARE(readable(one.exchange(subscribeRequest("1", "<path>/config</path>") +
                                   subscribeRequest("2", "<path>/state</path>") +
                                   subscribeRequest("3", "<ypath>/config/system</ypath>"))),
             readable(sessionInfoAnswer("1") + sessionInfoAnswer("2") + sessionInfoAnswer("3")));
    QCOMPARE(readable(two.exchange(subscribeRequest("1", "<path>/config/system</path>") +
                                   subscribeRequest("1", "<path>/config/system</path>"))),
             readable(sessionInfoAnswer("1") + sessionInfoAnswer("1")));
    const QByteArray toOne = notification("1", "patch", "/config", hostname, data) +
                             notification("3", "patch", "/config/system", hostname, data);
    const QByteArray toTwo = notification("1", "patch", "/config/system", hostname, data);
    QCOMPARE(readable(one.exchange(editRequest("e", "patch", hostname, data))),
             readable(editAnswer("e") + toOne));
    QCOMPARE(readable(two.exchange(QByteArray())), readable(toTwo + toTwo));
}

void tst_KivSim::forgetsSubscriptionsOfLostClients()
{
    BareClient editor(local, *kivsim);
    for (int i = 0; i < 20; ++i) {
        BareClient gone(i % 2 ? tcp : local, *kivsim);
        QCOMPARE(readable(gone.exchange(subscribeRequest("s", "<path>/</path>"))),
                 readable(sessionInfoAnswer("s")));
    }
    // Whoever takes the place of a lost client must not get its notifications.
    std::vector<std::unique_ptr<BareClient>> others;
    for (int i = 0; i < 20; ++i) {
        others.emplace_back(new BareClient(i % 2 ? tcp : local, *kivsim));
        QCOMPARE(readable(others.back()->exchange(QByteArray())), QString());
    }
    QCOMPARE(readable(editor.exchange(
                 editRequest("e", "patch", "/config/system/hostname", "<hostname>new</hostname>"))),
             readable(editAnswer("e")));
    for (const std::unique_ptr<BareClient> &other : others)
        QCOMPARE(readable(other->exchange(QByteArray())), QString());
}

void tst_KivSim::limitsSubscriptions()
{
    const int most = 1000;
    const QByteArray subscription = subscribeRequest("s", "<path>/config</path>");
    const QByteArray change =
        editRequest("e", "patch", "/config/system/hostname", "<hostname>new</hostname>");
    const QByteArray report = notification("s", "patch", "/config", "/config/system/hostname",
                                           "<hostname>new</hostname>");
    BareClient client(local, *kivsim);
    BareClient other(tcp, *kivsim);
    QVERIFY(client.exchange(subscription.repeated(most)) == sessionInfoAnswer("s").repeated(most));
    QCOMPARE(readable(client.exchange(subscription)),
             readable(errorAnswer("s", "application", "more than 1000 subscriptions")));
    QCOMPARE(readable(other.exchange(subscription)), readable(sessionInfoAnswer("s")));
    QVERIFY(client.exchange(change) == editAnswer("e") + report.repeated(most));
    QCOMPARE(readable(other.exchange(QByteArray())), readable(report));
}

QTEST_MAIN(tst_KivSim)

#include "tst_kivsim.moc"
