// SPDX-License-Identifier: LGPL-2.1-or-later
#include "scripteddaemon.h"
#include "simulatorprocess.h"
#include "skip.h"
#include "toolprocess.h"
#include "waiting.h"
#include "wiremessages.h"

#include <QtCore/QFile>
#include <QtNetwork/QLocalSocket>
#include <QtTest/QtTest>

#include <csignal>
#include <cstring>
#include <memory>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

const char hostname[] = "/config/system/hostname";

QByteArray requestIn(const QByteArray &received)
{
    return received.mid(received.indexOf("<request>"));
}

/** The reference of the last request that has come in. */
QByteArray refIn(const QByteArray &received)
{
    const int begin = int(received.lastIndexOf("<ref>")) + 5;
    return received.mid(begin, int(received.indexOf("</ref>", begin)) - begin);
}

sockaddr_un unixAddress(const QString &path)
{
    sockaddr_un address;
    std::memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path);
    return address;
}

/** A proxy between an application and a daemon that read and write when the test says so. */
class ProxyEnds
{
public:
    ProxyEnds(ToolProcess &proxy, const SimulatorProcess &folder)
        : applicationEnd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
        , daemonEnd(-1)
    {
        const QString to = folder.filePath("daemon");
        const QString listen = folder.filePath("proxy");
        const sockaddr_un target = unixAddress(to);
        const sockaddr_un entry = unixAddress(listen);
        const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        QFile::remove(to);
        if (::bind(listener, reinterpret_cast<const sockaddr *>(&target), sizeof target) != 0 ||
            ::listen(listener, 1) != 0)
            qFatal("cannot listen");
        proxy.start(words("proxy --listen") << listen << QLatin1String("--to") << to);
        if (!proxy.waitForOutput("kivctl: listening on ") ||
            ::connect(applicationEnd, reinterpret_cast<const sockaddr *>(&entry), sizeof entry) !=
                0 ||
            !proxy.waitForOutput("#1 connected"))
            qFatal("no proxy");
        daemonEnd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        ::close(listener);
    }
    ~ProxyEnds()
    {
        closeApplication();
        closeDaemon();
    }
    int application() const { return applicationEnd; }
    int daemon() const { return daemonEnd; }
    void closeApplication() { closeEnd(applicationEnd); }
    void closeDaemon() { closeEnd(daemonEnd); }

private:
    Q_DISABLE_COPY(ProxyEnds)

    static void closeEnd(int &descriptor)
    {
        if (descriptor >= 0)
            ::close(descriptor);
        descriptor = -1;
    }
    int applicationEnd;
    int daemonEnd;
};

/** @return how many bytes have been sent */
int sendAll(int descriptor, const QByteArray &bytes)
{
    return int(::send(descriptor, bytes.constData(), std::size_t(bytes.size()), MSG_NOSIGNAL));
}

/** @return how many bytes have come before the end */
int receiveAll(int descriptor)
{
    int all = 0;
    char buffer[4096];
    ssize_t length = 0;
    while ((length = ::recv(descriptor, buffer, sizeof buffer, 0)) > 0)
        all += int(length);
    return all;
}

} // namespace

/** kivctl as a process, talking to kivsim and to daemons that do what they should not. */
class tst_Kivctl : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void pings();
    void getsData_data();
    void getsData();
    void getsOverTcp();
    void checksTheCrc();
    void lists_data();
    void lists();
    void givesKeysThatLookUpsUnderstand();
    void edits();
    void readsDataFromFilesAndInput();
    void showsDataAsItCame();
    void makesDataHarmlessOnATerminal();
    void watches_data();
    void watches();
    void watchesOverARestart();
    void stopsWatchingInTime();
    void waitsForAValue();
    void waitsForAValueOverARestart();
    void waitsNoLongerForAnAnswer();
    void dumpsAndLoads();
    void dumpsIntoWhatIsNoPlainFile();
    void loadsNamesakesIntoTheRoot();
    void findsDifferences();
    void handlesSystemMessages();
    void sendsRawFrames();
    void takesCommandsFromInput();
    void stopsAtALostConnection();
    void failsWhereInputCannotBeRead();
    void keepsStandardStreamsApart();
    void proxies();
    void proxiesWithoutADaemon();
    void keepsBytesInTheProxy();
    void proxiesTheLastWordsOfADaemon();
    void proxiesForAnApplicationThatLeaves();
    void proxiesAsManyAsThereAreDescriptorsFor();
    void keepsFilesThatAreNoSockets();
    void leavesSignalsAsTheyWere();

    void failsWithTheDaemonsError();
    void failsWithoutAConnection_data();
    void failsWithoutAConnection();
    void failsInTime_data();
    void failsInTime();
    void failsWhenTheConnectionIsLost_data();
    void failsWhenTheConnectionIsLost();
    void survivesHostileAnswers_data();
    void survivesHostileAnswers();
    void explainsItself();
    void refusesWrongUsage_data();
    void refusesWrongUsage();
    void complainsOnOneLine();

private:
    /** Runs it on the simulator. @return output, with what is not exit 0 in front and errors behind */
    QByteArray kivctl(const QStringList &arguments, const QByteArray &input = QByteArray());
    QByteArray kivctl(const char *arguments, const QByteArray &input = QByteArray())
    {
        return kivctl(words(arguments), input);
    }
    QStringList socketOption() const;
    QStringList hostOption(int port) const;
    QByteArray startAndAwaitRequest(const QStringList &arguments, ScriptedDaemon &daemon);

    std::unique_ptr<SimulatorProcess> simulator;
    std::unique_ptr<ToolProcess> tool;
};

void tst_Kivctl::initTestCase()
{
    simulator.reset(new SimulatorProcess);
}

void tst_Kivctl::init()
{
    QVERIFY(simulator->start());
    tool.reset(new ToolProcess(KIVCTL_PROGRAM));
}

void tst_Kivctl::cleanup()
{
    tool.reset();
    simulator->kill();
}

QStringList tst_Kivctl::socketOption() const
{
    return QStringList() << QLatin1String("--socket") << simulator->socketPath();
}

QStringList tst_Kivctl::hostOption(int port) const
{
    return QStringList() << QLatin1String("--host")
                         << QString::fromLatin1("127.0.0.1:%1").arg(port);
}

QByteArray tst_Kivctl::kivctl(const QStringList &arguments, const QByteArray &input)
{
    const QByteArray ending = tool->run(socketOption() << arguments, input);
    return (ending == "exit 0" ? QByteArray() : ending + '\n') + tool->output() + tool->errors();
}

/** Starts it on a scripted daemon. @return what it has sent, up to its first request */
QByteArray tst_Kivctl::startAndAwaitRequest(const QStringList &arguments, ScriptedDaemon &daemon)
{
    tool->start(hostOption(daemon.port()) << arguments);
    waitFor([&]() { return daemon.lastReceived().endsWith("</request>\r\n\f\n"); });
    return daemon.lastReceived();
}

void tst_Kivctl::pings()
{
    const QByteArray begin = "answer from " + QFile::encodeName(simulator->socketPath()) + " in ";
    QVERIFY(kivctl("ping").startsWith(begin));
    QCOMPARE(kivctl("ping -n 2").count(begin), 2);
}

void tst_Kivctl::getsData_data()
{
    QTest::addColumn<QByteArray>("arguments");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray clock = "<clock><source>ntp</source><drift>50</drift></clock>\n";
    QTest::newRow("xml") << QByteArray("get /config/system/clock") << clock;
    QTest::newRow("xml, said") << QByteArray("get -o xml --crc /config/system/clock") << clock;
    QTest::newRow("two paths") << QByteArray("get /config/system/clock /state/blank")
                               << clock + "<blank> </blank>\n";
    QTest::newRow("pretty") << QByteArray("get --output pretty /config/system/clock")
                            << QByteArray("<clock>\n  <source>ntp</source>\n"
                                          "  <drift>50</drift>\n</clock>\n");
    QTest::newRow("text") << QByteArray("get -o text /config/system/note")
                          << QByteArray("Pump & valve\n");
    QTest::newRow("texts") << QByteArray("get -o text /config/system/clock")
                           << QByteArray("ntp\n50\n");
    QTest::newRow("lines")
        << QByteArray("get -o lines /config/interfaces")
        << QByteArray("/config/interfaces/interface[name='eth0']/name=eth0\n"
                      "/config/interfaces/interface[name='eth0']/mtu=1500\n"
                      "/config/interfaces/interface[name='eth0']/address/ip=192.0.2.10\n"
                      "/config/interfaces/interface[name='eth0']/address/length=24\n"
                      "/config/interfaces/interface[name='eth1']/name=eth1\n"
                      "/config/interfaces/interface[name='eth1']/mtu=1400\n");
    QTest::newRow("with keys")
        << QByteArray("get -o lines /config/interfaces/interface[name='eth1']/mtu")
        << QByteArray("/config/interfaces/interface[name='eth1']/mtu=1400\n");
    QTest::newRow("root") << QByteArray("get /") << QByteArray(documentContent) + '\n';
}

void tst_Kivctl::getsData()
{
    QFETCH(QByteArray, arguments);
    QFETCH(QByteArray, expected);
    QCOMPARE(kivctl(arguments.constData()), expected);
}

void tst_Kivctl::getsOverTcp()
{
    QCOMPARE(tool->run(hostOption(simulator->port()) << words("get /state/blank")),
             QByteArray("exit 0"));
    QCOMPARE(tool->output(), QByteArray("<blank> </blank>\n"));
}

void tst_Kivctl::checksTheCrc()
{
    for (const char *crc : {"<crc32>1</crc32>", "<crc32>x\033</crc32>", ""}) {
        ScriptedDaemon daemon(ScriptedDaemon::Tcp);
        const QByteArray sent = startAndAwaitRequest(words("get --crc /a"), daemon);
        daemon.send("<reply><ref>" + refIn(sent) + "</ref><out><get><data>123456789</data>" + crc +
                    "</get></out></reply>\f\n");
        QCOMPARE(tool->end(), QByteArray("exit 1"));
        QCOMPARE(tool->output(), QByteArray());
    }
    QCOMPARE(tool->errors(), QByteArray("kivctl: the answer has no crc32\n"));
}

void tst_Kivctl::lists_data()
{
    QTest::addColumn<QByteArray>("arguments");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("ls") << QByteArray("ls /config/system")
                        << QByteArray("hostname\nnote\nclock/\ndns[1]\ndns[2]\n");
    QTest::newRow("ls of a list") << QByteArray("ls /config/interfaces")
                                  << QByteArray(
                                         "interface[name='eth0']/\ninterface[name='eth1']/\n");
    QTest::newRow("ls of entries") << QByteArray("ls /config/interfaces/interface")
                                   << QByteArray("interface[name='eth0']/\n"
                                                 "interface[name='eth1']/\n");
    QTest::newRow("ls of the root") << QByteArray("ls /") << QByteArray("config/\nstate/\n");
    QTest::newRow("ls of a leaf") << QByteArray("ls /state/empty") << QByteArray();
    QTest::newRow("tree") << QByteArray("tree /config/system")
                          << QByteArray("system\n  hostname = gateway\n  note = Pump & valve\n"
                                        "  clock\n    source = ntp\n    drift = 50\n"
                                        "  dns[1] = 192.0.2.53\n  dns[2] = 198.51.100.53\n");
    QTest::newRow("tree of some levels")
        << QByteArray("tree -L 1 /config") << QByteArray("config\n  system\n  interfaces\n");
    QTest::newRow("tree of the root's levels")
        << QByteArray("tree -L 1 /") << QByteArray("config\nstate\n");
}

void tst_Kivctl::lists()
{
    QFETCH(QByteArray, arguments);
    QFETCH(QByteArray, expected);
    QCOMPARE(kivctl(arguments.constData()), expected);
}

/** A look-up compares the first element of a key's name, wherever it stands. */
void tst_Kivctl::givesKeysThatLookUpsUnderstand()
{
    SimulatorProcess other;
    other.setDocument("<r><l><e><a>1</a></e><e><b>2</b><a>1</a></e></l>"
                      "<m><e><a>1</a><a>2</a></e><e><a>1</a><a>3</a></e></m>"
                      "<n><e><a>1</a><b>2</b></e><e><a>1</a><b>3</b></e></n></r>");
    QVERIFY(other.start());
    const QStringList socket = words("--socket") << other.socketPath();
    QCOMPARE(tool->run(socket, "ls /l\nls /m\nls /n\n"), QByteArray("exit 0"));
    QCOMPARE(tool->output(), QByteArray("e[1]/\ne[2]/\ne[1]/\ne[2]/\n"
                                        "e[a='1'][b='2']/\ne[a='1'][b='3']/\n"));
}

void tst_Kivctl::edits()
{
    const QStringList set = words("set /config/system/hostname");
    QCOMPARE(kivctl(set + QStringList(QLatin1String("a <b> & \"c\""))), QByteArray());
    QCOMPARE(kivctl("get -o text /config/system/hostname"), QByteArray("a <b> & \"c\"\n"));
    QCOMPARE(kivctl("set /config/interfaces/interface[name='eth1']/mtu 9000"), QByteArray());
    QCOMPARE(kivctl("get -o text /config/interfaces/interface[name='eth1']/mtu"),
             QByteArray("9000\n"));
    QCOMPARE(kivctl("patch /config/system/clock <clock><drift>7</drift></clock>"), QByteArray());
    QCOMPARE(kivctl("get /config/system/clock"),
             QByteArray("<clock><source>ntp</source><drift>7</drift></clock>\n"));
    QCOMPARE(kivctl("replace /config/system/clock <clock><drift>8</drift></clock>"), QByteArray());
    QCOMPARE(kivctl("get /config/system/clock"), QByteArray("<clock><drift>8</drift></clock>\n"));
    QCOMPARE(kivctl("delete /config/system/clock"), QByteArray());
    QVERIFY(kivctl("get /config/system/clock").startsWith("exit 1\n"));
}

void tst_Kivctl::readsDataFromFilesAndInput()
{
    const QString file = simulator->filePath("data.xml");
    writeFile(file, "<hostname>from a file</hostname>");
    QCOMPARE(kivctl(words("patch /config/system/hostname") << QLatin1Char('@') + file),
             QByteArray());
    QCOMPARE(kivctl("get -o text /config/system/hostname"), QByteArray("from a file\n"));
    QCOMPARE(kivctl("replace /config/system/hostname -", "<hostname>typed</hostname>\n"),
             QByteArray());
    QCOMPARE(kivctl("get -o text /config/system/hostname"), QByteArray("typed\n"));
    QCOMPARE(kivctl("patch /config @/nowhere/file"),
             QByteArray("exit 2\nkivctl: cannot read /nowhere/file: No such file or directory\n"));
}

/** Nothing that the library takes away from data is taken away here. */
void tst_Kivctl::showsDataAsItCame()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    const QByteArray data = "\t<a x=\"1\">&lt;&amp;'\n\t\"\r\n</a><!-- c --><b/>\xff\033[1m";
    const QByteArray sent = startAndAwaitRequest(words("get /a"), daemon);
    QVERIFY(sent.startsWith(QByteArray(handshake)));
    QVERIFY(
        requestIn(sent).contains("</ref><rpc><get><path>/a</path></get></rpc></request>\r\n\f\n"));
    // Other messages, and pieces that cut even the separator, make no difference.
    daemon.send("\f\nack:x\r\n<reply><ref>other</ref><out><edit><ok/></edit></out></reply>\f");
    settle();
    daemon.send("\n<notify/>\f\n<reply><ref>" + refIn(sent) + "</ref><out><get><data>" + data +
                "</data></get></out></reply>\r\n\f");
    settle();
    daemon.send("\n");
    QCOMPARE(tool->end(), QByteArray("exit 0"));
    QCOMPARE(tool->output(), data + '\n');
}

void tst_Kivctl::makesDataHarmlessOnATerminal()
{
    QCOMPARE(kivctl("set /config/system/hostname \xc2\x9b"), QByteArray());
    QCOMPARE(tool->runOnTerminal(socketOption() << words("get -o lines /config/system/hostname")),
             QByteArray("exit 0"));
    QCOMPARE(tool->output(),
             QByteArray("\033[36m/config/system/hostname\033[0m=\033[32m\\x9b\033[0m\n"));
    QCOMPARE(tool->runOnTerminal(socketOption()
                                 << words("--color never get -o lines /config/system/hostname")),
             QByteArray("exit 0"));
    QVERIFY(!tool->output().contains('\033'));
    QVERIFY(kivctl("--color always tree /state").contains('\033'));
}

void tst_Kivctl::watches_data()
{
    QTest::addColumn<QByteArray>("arguments");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("changes") << QByteArray("-n 2 /config/system")
                             << QByteArray("patch /config/system/hostname <hostname>a</hostname>\n"
                                           "delete /config/system/clock\n");
    QTest::newRow("present state")
        << QByteArray("--now -n 2 /config/system/hostname")
        << QByteArray("current /config/system/hostname <hostname>gateway</hostname>\n"
                      "patch /config/system/hostname <hostname>a</hostname>\n");
    QTest::newRow("lines") << QByteArray("-o lines --now -n 1 /config/system/clock")
                           << QByteArray("current /config/system/clock/source=ntp\n"
                                         "current /config/system/clock/drift=50\n");
    QTest::newRow("pretty") << QByteArray("-o pretty -n 2 /config/system")
                            << QByteArray("patch /config/system/hostname\n"
                                          "<hostname>a</hostname>\n"
                                          "delete /config/system/clock\n");
    QTest::newRow("match") << QByteArray("--match clock -n 1 /config/system")
                           << QByteArray("delete /config/system/clock\n");
    QTest::newRow("one level") << QByteArray("--one-level -n 1 /config/system/hostname")
                               << QByteArray("patch /config/system/hostname "
                                             "<hostname>a</hostname>\n");
    QTest::newRow("several") << QByteArray("-n 2 /config/system/clock /config/system/hostname")
                             << QByteArray("patch /config/system/hostname <hostname>a</hostname>\n"
                                           "delete /config/system/clock\n");
}

void tst_Kivctl::watches()
{
    QFETCH(QByteArray, arguments);
    QFETCH(QByteArray, expected);
    SimulatorProcess verbose; // tells when the subscriptions are made
    QVERIFY(verbose.start(words("--verbose")));
    const QStringList socket = words("--socket") << verbose.socketPath();
    tool->start(socket + words(("watch " + arguments).constData()));
    const int subscriptions = arguments.endsWith("clock /config/system/hostname") ? 2 : 1;
    QVERIFY(
        waitFor([&]() { return verbose.errors().count("<- ack:session_info") >= subscriptions; }));
    ToolProcess other(KIVCTL_PROGRAM);
    QCOMPARE(other.run(socket + words("set /config/system/hostname a")), QByteArray("exit 0"));
    QCOMPARE(other.run(socket + words("delete /config/system/clock")), QByteArray("exit 0"));
    QCOMPARE(tool->end(), QByteArray("exit 0"));
    QCOMPARE(tool->output(), expected);
    QCOMPARE(tool->errors(), QByteArray());
}

void tst_Kivctl::watchesOverARestart()
{
    tool->start(socketOption() << words("watch --now --time -n 3 /config/system/hostname"));
    QVERIFY(tool->waitForOutput("gateway"));
    simulator->send(SIGHUP);
    QVERIFY(tool->waitForErrors("connected again, and subscribed"));
    QVERIFY(waitFor([&]() { return tool->output().count("gateway") == 2; }));
    ToolProcess other(KIVCTL_PROGRAM);
    QCOMPARE(other.run(socketOption() << words("set /config/system/hostname b")),
             QByteArray("exit 0"));
    QCOMPARE(tool->end(), QByteArray("exit 0"));
    const QList<QByteArray> lines = tool->output().split('\n');
    QCOMPARE(int(lines.size()), 4);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(lines.at(i).left(24).count(':'), 2);
        QCOMPARE(lines.at(i).mid(24), QByteArray(i < 2 ? "current" : "patch") + ' ' + hostname +
                                          " <hostname>" + (i < 2 ? "gateway" : "b") +
                                          "</hostname>");
    }
    QCOMPARE(tool->errors(), "kivctl: connection to " + QFile::encodeName(simulator->socketPath()) +
                                 " lost: the daemon has closed it; trying again\n"
                                 "kivctl: connected again, and subscribed\n");
}

void tst_Kivctl::stopsWatchingInTime()
{
    QCOMPARE(kivctl("watch --for 0.2 /config"), QByteArray());
    QCOMPARE(kivctl("watch --for 0.2 -n 1 /config"),
             QByteArray("exit 4\nkivctl: timed out, only 0 of 1 changes have come\n"));
    QCOMPARE(kivctl("watch --for 10 //x]"),
             QByteArray("exit 1\nkivctl: protocol: bad path: bad name at character 2\n"));
}

void tst_Kivctl::waitsForAValue()
{
    QCOMPARE(kivctl("wait /config/system/hostname gateway"), QByteArray());
    QCOMPARE(kivctl("wait /config/system/hostname x -t 0.2"),
             QByteArray("exit 4\nkivctl: timed out, /config/system/hostname is not x\n"));
    tool->start(socketOption() << words("wait /config/system/new value"));
    ToolProcess other(KIVCTL_PROGRAM);
    for (const char *value : {"other", "value"})
        QCOMPARE(
            other.run(socketOption() << words("set /config/system/new") << QLatin1String(value)),
            QByteArray("exit 0"));
    QCOMPARE(tool->end(), QByteArray("exit 0"));
}

void tst_Kivctl::waitsForAValueOverARestart()
{
    SimulatorProcess verbose; // tells when the subscription is made
    QVERIFY(verbose.start(words("--verbose")));
    const QStringList socket = words("--socket") << verbose.socketPath();
    ToolProcess other(KIVCTL_PROGRAM);
    QCOMPARE(other.run(socket + words("set /config/system/hostname other")), QByteArray("exit 0"));
    tool->start(socket + words("wait /config/system/hostname gateway"));
    QVERIFY(waitFor([&]() { return verbose.errors().contains("<- ack:session_info"); }));
    verbose.send(SIGHUP); // and the data is read again
    QCOMPARE(tool->end(), QByteArray("exit 0"));
}

/** The time is for all of it, also where the daemon takes its own for an answer. */
void tst_Kivctl::waitsNoLongerForAnAnswer()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    const QByteArray sent = startAndAwaitRequest(words("wait /a b -t 2"), daemon);
    daemon.send("<reply><ref>" + refIn(sent) +
                "</ref><out><session_info><ok/></session_info></out></reply>\f\n");
    // On a machine that is busy the time may be over before it asks.
    const auto asks = [&]() { return daemon.lastReceived().contains("<get>"); };
    QVERIFY(waitFor([&]() { return asks() || tool->hasEnded(); }));
    QTest::qWait(3000);
    daemon.send("<reply><ref>" + refIn(daemon.lastReceived()) +
                "</ref><out><get><data><a>b</a></data></get></out></reply>\f\n");
    QCOMPARE(tool->end(), QByteArray("exit 4"));
    QVERIFY2(tool->errors().startsWith("kivctl: timed out, "), tool->errors().constData());
}

void tst_Kivctl::dumpsAndLoads()
{
    const QStringList file(simulator->filePath("dump.xml"));
    QCOMPARE(kivctl(words("dump /config") + file), QByteArray());
    const QByteArray dumped = readFile(file.first());
    QVERIFY(dumped.startsWith("<config>\n  <system>\n    <hostname>gateway</hostname>\n"));
    QCOMPARE(kivctl("dump /config"), dumped);
    QCOMPARE(kivctl("delete /config/system/clock"), QByteArray());
    QCOMPARE(kivctl("set /config/system/extra 1"), QByteArray());
    QCOMPARE(kivctl(words("load --merge /config") + file), QByteArray());
    QVERIFY(kivctl("dump /config").contains("<clock>"));
    QVERIFY(kivctl("dump /config").contains("<extra>"));
    QCOMPARE(kivctl(words("load /config") + file), QByteArray());
    QCOMPARE(kivctl("dump /config"), dumped);

    const QByteArray all = kivctl("dump /");
    QCOMPARE(kivctl("set /state/blank x"), QByteArray());
    QCOMPARE(kivctl("load / -", all), QByteArray());
    QCOMPARE(kivctl("get /"), QByteArray(documentContent) + '\n');

    QCOMPARE(kivctl("load /config -", "text"),
             QByteArray("exit 2\nkivctl: - holds something else than elements\n"));
    QCOMPARE(kivctl("load /config -", "<a>"),
             QByteArray("exit 2\nkivctl: -: the data is not well-formed at byte 3\n"));
    QCOMPARE(kivctl("load /config -"), QByteArray("exit 2\nkivctl: there is nothing in -\n"));
    QCOMPARE(kivctl("dump /config /nowhere/x"),
             QByteArray("exit 2\nkivctl: cannot write /nowhere/x: No such file or directory\n"));
}

void tst_Kivctl::dumpsIntoWhatIsNoPlainFile()
{
    const QString target = simulator->filePath("target");
    const QString link = simulator->filePath("link");
    writeFile(target, "old");
    QVERIFY(QFile::link(target, link));
    QCOMPARE(kivctl(words("dump /state/blank") << link), QByteArray());
    QCOMPARE(QFile::symLinkTarget(link), target);
    QCOMPARE(readFile(target), QByteArray("<blank> </blank>\n"));
    QVERIFY(QFile::remove(link));
    QCOMPARE(kivctl("dump /config /dev/full"),
             QByteArray("exit 2\nkivctl: cannot write /dev/full: No space left on device\n"));
}

void tst_Kivctl::loadsNamesakesIntoTheRoot()
{
    SimulatorProcess other;
    other.setDocument("<r><e>1</e><f/><e>2</e></r>");
    QVERIFY(other.start());
    const QStringList socket = words("--socket") << other.socketPath();
    QCOMPARE(tool->run(socket + words("load / -"), "<e>3</e><f>4</f><e>5</e>"),
             QByteArray("exit 0"));
    QCOMPARE(tool->run(socket + words("get /")), QByteArray("exit 0"));
    QCOMPARE(tool->output(), QByteArray("<e>3</e><e>5</e><f>4</f>\n"));
}

void tst_Kivctl::findsDifferences()
{
    const QByteArray dumped = kivctl("dump /config/system/clock");
    QCOMPARE(kivctl("diff /config/system/clock -", dumped), QByteArray());
    QCOMPARE(kivctl("set /config/system/clock/drift 51"), QByteArray());
    QCOMPARE(kivctl("diff /config/system/clock -", dumped),
             QByteArray("exit 6\n-/config/system/clock/drift=50\n"
                        "+/config/system/clock/drift=51\n"));
}

void tst_Kivctl::handlesSystemMessages()
{
    QVERIFY(kivctl("msg put app 7 error text --line 3 --data more").isEmpty());
    QCOMPARE(kivctl("get -o lines /state/sys_messages/sys_message[reporter='app'][rep_ref='7']")
                 .count('\n'),
             8);
    const QByteArray listed = kivctl("msg list");
    QVERIFY(listed.startsWith("-  -  fan 1  slow\n20"));
    QVERIFY(listed.endsWith("  error  app 7  text\n"));
    QVERIFY(kivctl("msg list -o lines").contains("/line_id=3\n"));
    QVERIFY(kivctl(words("msg put it's \" warning") << QLatin1String("a < b")).isEmpty());
    QVERIFY(kivctl("msg list").contains("  warning  it's \"  a < b\n"));
    QCOMPARE(kivctl("msg del it's \""), QByteArray());
    QCOMPARE(kivctl("msg del app 7"), QByteArray());
    QCOMPARE(kivctl("msg list"), QByteArray("-  -  fan 1  slow\n"));
    QVERIFY(kivctl("msg del app 7").startsWith("exit 1\n"));
    QVERIFY(kivctl("msg del a'\" 1").startsWith("exit 2\n"));
}

void tst_Kivctl::sendsRawFrames()
{
    const QByteArray request = "<request><ref>r</ref><rpc><get><path>/state/blank</path></get>"
                               "</rpc></request>";
    QByteArray answer = getAnswer("r", "/state/blank", "<blank> </blank>");
    answer.chop(2); // the separator, then a line's end is a line's end
    QCOMPARE(kivctl(words("raw") << QLatin1String(request)), answer);
    QCOMPARE(kivctl("raw -", request), answer);
    QCOMPARE(kivctl(words("raw --for 0.3") << QLatin1String(request)), answer);
    QVERIFY(kivctl("raw x").startsWith("exit 1\nerrbody:protocol\r\n<reply>"));
    QVERIFY(kivctl(words("-t 0.3 raw -n 2") << QLatin1String(request))
                .startsWith("exit 4\nack:get\r\n"));
}

void tst_Kivctl::takesCommandsFromInput()
{
    QCOMPARE(kivctl("", ""), QByteArray("exit 2\nkivctl: unknown command '' (try --help)\n"));
    QCOMPARE(kivctl(QStringList(), "# a comment\n\nset /config/system/hostname 'a b'\n"
                                   "get -o text /config/system/hostname\nget /none\n"
                                   "get /config/system \"\nfrob\n--version\nget /state/blank"),
             QByteArray("exit 1\na b\nkivctl " KIVCTL_VERSION "\n<blank> </blank>\n"
                        "kivctl: application: no such path: /none\n"
                        "kivctl: a quote without its end (try --help)\n"
                        "kivctl: unknown command 'frob' (try --help)\n"));
    // All of it goes over one connection.
    SimulatorProcess verbose;
    QVERIFY(verbose.start(words("--verbose")));
    QCOMPARE(tool->run(words("--socket") << verbose.socketPath(),
                       "get /config\nget /config\nwatch --for 0.1 /config\nping\nget -s /x /a\n"),
             QByteArray("exit 2"));
    QVERIFY(tool->errors().startsWith("kivctl: all commands go to "));
    // A watch ends with its connection; the others have theirs together.
    QCOMPARE(verbose.errors().count("connected ") - verbose.errors().count("disconnected "), 2);
}

void tst_Kivctl::stopsAtALostConnection()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    tool->start(hostOption(daemon.port()));
    tool->writeInput("get /a\nget /b\n");
    tool->closeInput();
    QVERIFY(waitFor([&]() { return daemon.lastReceived().contains("/a<"); }));
    daemon.hangUp();
    QCOMPARE(tool->end(), QByteArray("exit 5"));
    QCOMPARE(daemon.connections(), 1);
    QCOMPARE(tool->errors().count('\n'), 1);
}

void tst_Kivctl::failsWhereInputCannotBeRead()
{
    QCOMPARE(tool->runFrom(QLatin1String("/"), socketOption()), QByteArray("exit 2"));
    QCOMPARE(tool->errors(), QByteArray("kivctl: cannot read standard input: Is a directory\n"));
}

/** A connection must not come to be what the program believes to be its standard output. */
void tst_Kivctl::keepsStandardStreamsApart()
{
    if (qgetenv("QVCOMMON_EMULATOR").size() > 0)
        SKIP_TEST("the emulator opens files of its own; any real processor has this tested");
    const QStringList arguments = socketOption() << words("get /state/blank");
    QCOMPARE(tool->runWithout(STDOUT_FILENO, arguments), QByteArray("exit 2"));
    QCOMPARE(tool->errors(), QByteArray("kivctl: cannot write: Bad file descriptor\n"));
    QCOMPARE(tool->runWithout(STDIN_FILENO, arguments), QByteArray("exit 0"));
    QCOMPARE(tool->output(), QByteArray("<blank> </blank>\n"));
    QCOMPARE(tool->runWithout(STDERR_FILENO, socketOption() << words("get /none")),
             QByteArray("exit 1"));
}

void tst_Kivctl::proxies()
{
    const QString listen = simulator->filePath("proxy");
    for (const QString &target :
         {simulator->socketPath(), QString::fromLatin1("127.0.0.1:%1").arg(simulator->port())}) {
        tool->start(words("proxy --listen") << listen << QLatin1String("--to") << target);
        QVERIFY(tool->waitForOutput("kivctl: listening on "));
        ToolProcess application(KIVCTL_PROGRAM);
        QCOMPARE(application.run(words("--socket") << listen << words("get /state/blank")),
                 QByteArray("exit 0"));
        QCOMPARE(application.output(), QByteArray("<blank> </blank>\n"));
        QVERIFY(tool->waitForOutput("#1 disconnected"));
        const QList<QByteArray> lines = tool->output().split('\n');
        QCOMPARE(int(lines.size()), 7);
        QCOMPARE(lines.at(1).mid(24), QByteArray("#1 connected"));
        QCOMPARE(lines.at(2).mid(24), QByteArray("#1 -> encode:xml\\r\\n\\r\\n"));
        QVERIFY(lines.at(3).mid(24).startsWith("#1 -> <request><ref>kivctl-"));
        QVERIFY(lines.at(4).mid(24).startsWith("#1 <- ack:get\\r\\n<reply><ref>kivctl-"));
        QVERIFY(QFile::exists(listen));
        tool->send(SIGTERM);
        QCOMPARE(tool->end(), QByteArray("exit 0"));
        QVERIFY(!QFile::exists(listen));
    }
}

void tst_Kivctl::proxiesWithoutADaemon()
{
    const QString listen = simulator->filePath("proxy");
    tool->start(words("proxy --listen") << listen << words("--to /nowhere/kivd"));
    QVERIFY(tool->waitForOutput("kivctl: listening on "));
    ToolProcess application(KIVCTL_PROGRAM);
    QCOMPARE(application.run(words("--socket") << listen << words("ping")), QByteArray("exit 5"));
    QVERIFY(tool->waitForOutput("#1 no connection to /nowhere/kivd: No such file or directory\n"));
    // A second one on the same socket is refused, and leaves it alone.
    ToolProcess second(KIVCTL_PROGRAM);
    QCOMPARE(second.run(words("proxy --listen") << listen << words("--to /x/y")),
             QByteArray("exit 3"));
    QVERIFY(second.errors().startsWith("kivctl: somebody listens on "));
    tool->kill();
    QVERIFY(QFile::exists(listen));
    tool->start(words("proxy --listen") << listen << words("--to /x/y"));
    QVERIFY(tool->waitForOutput("kivctl: listening on "));
}

/** Megabytes in odd pieces come through as they were sent, with half-closed connections. */
void tst_Kivctl::keepsBytesInTheProxy()
{
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    const QString listen = simulator->filePath("proxy");
    tool->start(words("proxy --listen") << listen << QLatin1String("--to")
                                        << QString::fromLatin1("127.0.0.1:%1").arg(daemon.port()));
    QVERIFY(tool->waitForOutput("kivctl: listening on "));
    const QString file = simulator->filePath("frame");
    QByteArray frame = "<x>" + QByteArray(3000000, 'y') + "\033</x>";
    writeFile(file, frame);
    ToolProcess application(KIVCTL_PROGRAM);
    application.start(words("--socket")
                      << listen << QLatin1String("raw") << QLatin1Char('@') + file);
    QVERIFY(waitFor([&]() { return daemon.lastReceived().endsWith("</x>\r\n\f\n"); }));
    QCOMPARE(daemon.lastReceived(), handshake + frame + "\r\n\f\n");
    daemon.send("an\033swer" + QByteArray(2000000, 'z') + "\f\n");
    QCOMPARE(application.end(), QByteArray("exit 0"));
    QCOMPARE(application.output(), "an\033swer" + QByteArray(2000000, 'z') + '\n');
    QVERIFY(tool->waitForOutput("disconnected"));
    QVERIFY(tool->output().contains("#1 <- an\\x1bswerzzz"));
    QVERIFY(!tool->output().contains('\033'));
}

/** What a daemon says before it hangs up arrives, even if it has not read all that it got. */
void tst_Kivctl::proxiesTheLastWordsOfADaemon()
{
    ProxyEnds ends(*tool, *simulator);
    const QByteArray request(600000, 'x'); // more than the system keeps for one that does not read
    const QByteArray answer(120000, 'y');  // more than the proxy reads at once
    QCOMPARE(sendAll(ends.application(), request), int(request.size()));
    tool->send(SIGSTOP);
    QCOMPARE(sendAll(ends.daemon(), answer), int(answer.size()));
    ends.closeDaemon();
    tool->send(SIGCONT);
    QCOMPARE(receiveAll(ends.application()), int(answer.size()));
    QVERIFY(tool->waitForOutput("#1 disconnected"));
}

/** What an application has said before it leaves arrives, even if the daemon answers meanwhile. */
void tst_Kivctl::proxiesForAnApplicationThatLeaves()
{
    ProxyEnds ends(*tool, *simulator);
    const QByteArray request(600000, 'x');
    QCOMPARE(sendAll(ends.application(), request), int(request.size()));
    ends.closeApplication();
    sendAll(ends.daemon(), "answer\f\n");
    QVERIFY(tool->waitForOutput("#1 <- answer"));
    QCOMPARE(receiveAll(ends.daemon()), int(request.size()));
    QVERIFY(tool->waitForOutput("#1 disconnected"));
}

/** Who has to wait for a descriptor is let in when there is one, and is not counted before. */
void tst_Kivctl::proxiesAsManyAsThereAreDescriptorsFor()
{
    if (qgetenv("QVCOMMON_EMULATOR").size() > 0)
        SKIP_TEST("the emulator needs descriptors of its own; any real processor has this tested");
    const QString listen = simulator->filePath("proxy");
    ToolProcess proxy("/bin/sh");
    // What this process has been started with must not count.
    proxy.start(words("-c") << QLatin1String("exec 3<&- 4<&- 5<&- 6<&- 7<&- 8<&- 9<&-;"
                                             "ulimit -n 10; exec \"$0\" \"$@\"")
                            << QLatin1String(KIVCTL_PROGRAM) << words("proxy --to")
                            << simulator->socketPath() << QLatin1String("--listen") << listen);
    QVERIFY(proxy.waitForOutput("kivctl: listening on "));
    const int clients = 4; // two descriptors for each, and four that are taken already
    std::unique_ptr<QLocalSocket> sockets[clients];
    for (std::unique_ptr<QLocalSocket> &socket : sockets) {
        socket.reset(new QLocalSocket);
        socket->connectToServer(listen);
        QVERIFY(socket->waitForConnected(patience));
    }
    QVERIFY(proxy.waitForOutput("#3 connected"));
    QTest::qWait(300); // in which the fourth knocks
    QVERIFY(!proxy.output().contains("#4"));
    sockets[0].reset();
    QVERIFY(proxy.waitForOutput("#1 disconnected"));
    QVERIFY(waitFor([&]() { return proxy.output().count(" connected") == clients; }));
    QVERIFY2(proxy.output().contains("#4 connected"), proxy.output().constData());
}

void tst_Kivctl::keepsFilesThatAreNoSockets()
{
    const QString file = simulator->filePath("precious");
    writeFile(file, "content");
    QCOMPARE(kivctl(words("proxy --listen") << file << words("--to /x/y")),
             "exit 3\nkivctl: cannot listen on " + QFile::encodeName(file) +
                 ": Address already in use\n");
    QCOMPARE(readFile(file), QByteArray("content"));
}

/** After a proxy has been ended, the next commands can be, too. */
void tst_Kivctl::leavesSignalsAsTheyWere()
{
    const QByteArray proxy =
        "proxy --to /x/y --listen " + QFile::encodeName(simulator->filePath("proxy")) + '\n';
    tool->start(socketOption());
    tool->writeInput(proxy + proxy + "watch --now /state/blank\n");
    QVERIFY(tool->waitForOutput("kivctl: listening on "));
    tool->send(SIGTERM);
    QVERIFY(waitFor([&]() { return tool->output().count("kivctl: listening on ") == 2; }));
    tool->send(SIGTERM);
    QVERIFY(tool->waitForOutput("current /state/blank"));
    tool->send(SIGTERM);
    QCOMPARE(tool->end(), QByteArray("signal 15"));
}

void tst_Kivctl::failsWithTheDaemonsError()
{
    QCOMPARE(kivctl("get /none"), QByteArray("exit 1\nkivctl: application: no such path: /none\n"));
    QCOMPARE(kivctl("set /none/x 1"),
             QByteArray("exit 1\nkivctl: application: no such parent: /none\n"));
    const QByteArray bad = kivctl("patch /config <");
    QVERIFY2(bad.startsWith("exit 1\nkivctl: protocol: not well-formed: "), bad.constData());
    QCOMPARE(bad.count('\n'), 2);
}

void tst_Kivctl::failsWithoutAConnection_data()
{
    QTest::addColumn<QByteArray>("arguments");
    for (const char *command :
         {"ping", "get /a", "ls /", "tree /", "set /a b", "patch /a <a/>", "delete /a", "watch /a",
          "wait /a b", "dump /", "msg list", "raw x"})
        QTest::newRow(command) << QByteArray(command);
}

void tst_Kivctl::failsWithoutAConnection()
{
    QFETCH(QByteArray, arguments);
    QCOMPARE(tool->run(words("--socket /nowhere/kivd") << words(arguments.constData())),
             QByteArray("exit 3"));
    QCOMPARE(tool->output(), QByteArray());
    QCOMPARE(tool->errors(),
             QByteArray("kivctl: no connection to /nowhere/kivd: No such file or directory\n"));
}

void tst_Kivctl::failsInTime_data()
{
    QTest::addColumn<QByteArray>("arguments");
    QTest::addColumn<bool>("talks");
    for (const char *command : {"ping", "get /a", "set /a b", "watch /a", "wait /a b", "raw x"})
        QTest::newRow(command) << QByteArray(command) << false;
    QTest::newRow("other messages all the time") << QByteArray("get /a") << true;
}

/** A daemon that listens and does not answer, or answers something else for ever. */
void tst_Kivctl::failsInTime()
{
    QFETCH(QByteArray, arguments);
    QFETCH(bool, talks);
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    tool->start(hostOption(daemon.port()) << words("-t 0.5") << words(arguments.constData()));
    if (talks) {
        QVERIFY(waitFor([&]() { return daemon.connections() > 0; }));
        QVERIFY(waitFor([&]() {
            daemon.send("<notify><ref>x</ref></notify>\f\n");
            return tool->errors().contains('\n');
        }));
    }
    QCOMPARE(tool->end(), QByteArray("exit 4"));
    QVERIFY(tool->errors().startsWith("kivctl: timed out, "));
    QCOMPARE(tool->errors().count('\n'), 1);
}

void tst_Kivctl::failsWhenTheConnectionIsLost_data()
{
    QTest::addColumn<QByteArray>("arguments");
    for (const char *command : {"ping", "get /a", "set /a b", "watch /a", "wait /a b", "raw x"})
        QTest::newRow(command) << QByteArray(command);
}

void tst_Kivctl::failsWhenTheConnectionIsLost()
{
    QFETCH(QByteArray, arguments);
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    tool->start(hostOption(daemon.port()) << words(arguments.constData()));
    QVERIFY(waitFor([&]() { return daemon.lastReceived().size() > int(qstrlen(handshake)); }));
    daemon.send("<reply><ref>half of an answer");
    daemon.hangUp();
    QCOMPARE(tool->end(), QByteArray("exit 5"));
    QVERIFY(tool->errors().startsWith("kivctl: connection to 127.0.0.1:"));
    QVERIFY(tool->errors().endsWith(" lost: the daemon has closed it\n"));
}

void tst_Kivctl::survivesHostileAnswers_data()
{
    QTest::addColumn<QByteArray>("answer"); // with R for the reference
    QTest::addColumn<QByteArray>("ending");
    const QByteArray begin = "<reply><ref>R</ref><out><get><data>";
    const QByteArray end = "</data></get></out></reply>\f\n";
    QTest::newRow("deep") << begin + QByteArray("<a>").repeated(50000) +
                                 QByteArray("</a>").repeated(50000) + end
                          << QByteArray("exit 1");
    QTest::newRow("wide") << begin + QByteArray("<a>1</a>").repeated(100000) + end
                          << QByteArray("exit 0");
    QTest::newRow("not XML") << begin + "]]><<&" + end << QByteArray("exit 4");
    QTest::newRow("control characters") << begin + "<a>\033[2J\a</a>" + end << QByteArray("exit 0");
    QTest::newRow("NUL") << begin + QByteArray("<a>\0\0</a>", 9) + end << QByteArray("exit 0");
    QTest::newRow("unknown answer")
        << QByteArray("<reply><ref>R</ref></reply>\f\n") << QByteArray("exit 1");
    QTest::newRow("ok without data")
        << QByteArray("<reply><ref>R</ref><out><edit><ok/></edit></out></reply>\f\n")
        << QByteArray("exit 1");
    QTest::newRow("odd error") << QByteArray("<reply><ref>R</ref><out><error><type>\033\n</type>"
                                             "</error></out></reply>\f\n")
                               << QByteArray("exit 1");
    QTest::newRow("separators") << QByteArray("\f\n").repeated(100000) << QByteArray("exit 4");
    QTest::newRow("no separator") << QByteArray(5000000, 'x') << QByteArray("exit 4");
    QTest::newRow("too much without a separator")
        << QByteArray(70 << 20, 'x') << QByteArray("exit 5");
}

void tst_Kivctl::survivesHostileAnswers()
{
    QFETCH(QByteArray, answer);
    QFETCH(QByteArray, ending);
    ScriptedDaemon daemon(ScriptedDaemon::Tcp);
    const char *const patience = ending == "exit 4" ? "-t 1 get -o lines /a" : "get -o lines /a";
    const QByteArray sent = startAndAwaitRequest(words(patience), daemon);
    daemon.send(answer.replace("<ref>R<", "<ref>" + refIn(sent) + "<"));
    QCOMPARE(tool->end(), ending);
    QVERIFY(!tool->output().contains('\033'));
    QVERIFY(!tool->errors().contains('\033'));
    QCOMPARE(tool->errors().count('\n'), ending == "exit 0" ? 0 : 1);
}

void tst_Kivctl::explainsItself()
{
    for (const char *option : {"--help", "-h"}) {
        QCOMPARE(tool->run(words(option)), QByteArray("exit 0"));
        QVERIFY(tool->output().startsWith("Usage: kivctl [options] COMMAND"));
        QVERIFY(tool->output().count('\n') <= 40);
        for (const QByteArray &line : tool->output().split('\n'))
            QVERIFY2(line.size() <= 80, line.constData());
    }
    for (const char *option : {"--version", "-V"}) {
        QCOMPARE(tool->run(words(option)), QByteArray("exit 0"));
        QCOMPARE(tool->output(), QByteArray("kivctl " KIVCTL_VERSION "\n"));
    }
}

void tst_Kivctl::refusesWrongUsage_data()
{
    QTest::addColumn<QByteArray>("arguments");
    QTest::addColumn<QByteArray>("error");
    const struct {
        const char *arguments;
        const char *error;
    } rows[] = {
        {"--nothing", "unknown option '--nothing'"},
        {"get", "it is get PATH..."},
        {"set /a", "it is set PATH TEXT"},
        {"ping x", "it is ping"},
        {"frob", "unknown command 'frob'"},
        {"-n 1", "--count needs a command in front of it"},
        {"get --now /a", "get has no option --now"},
        {"get -o json /a", "--output needs xml, pretty, text or lines, not 'json'"},
        {"--color red get /a", "--color needs always, never or auto, not 'red'"},
        {"-t x get /a", "a number of seconds from 0 to 10000000 is needed, not 'x'"},
        {"-t -1 get /a", "a number of seconds from 0 to 10000000 is needed, not '-1'"},
        {"-t 10000001 get /a", "a number of seconds from 0 to 10000000 is needed, not '10000001'"},
        {"watch -n 0 /a", "a number from 1 to 999999999 is needed, not '0'"},
        {"ping -n 1000000000", "a number from 1 to 999999999 is needed, not '1000000000'"},
        {"watch --one-level --match b /a", "--one-level and --match exclude each other"},
        {"tree -L", "no value for option '-L'"},
        {"-H localhost get /a", "--host needs HOST:PORT, not 'localhost'"},
        {"-H localhost:99999 get /a", "--host needs HOST:PORT, not 'localhost:99999'"},
        {"-H localhost:0 get /a", "--host needs HOST:PORT, not 'localhost:0'"},
        {"-s  get /a", "--socket needs a path"},
        {"set / x", "'/' names no element"},
        {"proxy", "it is proxy --listen PATH --to PATH|HOST:PORT"},
        {"proxy --listen /a --to b", "--to needs a PATH with a slash or HOST:PORT, not 'b'"},
        {"msg put a", "it is msg list [-o STYLE] | put REPORTER REF LEVEL TEXT [--line ID] "
                      "[--data TEXT] | del REPORTER REF"},
    };
    for (const auto &row : rows)
        QTest::newRow(row.arguments) << QByteArray(row.arguments) << QByteArray(row.error);
}

void tst_Kivctl::refusesWrongUsage()
{
    QFETCH(QByteArray, arguments);
    QFETCH(QByteArray, error);
    QCOMPARE(tool->run(words(arguments.constData())), QByteArray("exit 2"));
    QCOMPARE(tool->output(), QByteArray());
    QCOMPARE(tool->errors(), "kivctl: " + error + " (try --help)\n");
}

void tst_Kivctl::complainsOnOneLine()
{
    for (const char *option : {"--help", "--version"}) {
        QCOMPARE(tool->runOnFullDisk(words(option)), QByteArray("exit 2"));
        QCOMPARE(tool->errors(), QByteArray("kivctl: cannot write: No space left on device\n"));
    }
    QCOMPARE(tool->run(words("frob\nx\033")), QByteArray("exit 2"));
    QCOMPARE(tool->errors(), QByteArray("kivctl: unknown command 'frob\\nx\\x1b' (try --help)\n"));
}

QTEST_MAIN(tst_Kivctl)
#include "tst_kivctl.moc"
