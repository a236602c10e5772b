// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bareclient.h"
#include "kivsim/script.h"
#include "simulatorprocess.h"
#include "waiting.h"
#include "wiremessages.h"

#include <QtCore/QFile>
#include <QtTest/QtTest>

#include <csignal>

namespace
{

QStringList options(const char *name, const QString &value)
{
    return QStringList() << QLatin1String(name) << value;
}

QByteArray nameOf(const SimulatorProcess &kivsim, const char *file)
{
    return QFile::encodeName(kivsim.filePath(file));
}

/** The value that a notification says the walk has come to, or -1000000 if it does not. */
int driftIn(const QByteArray &frame)
{
    const int begin = int(frame.indexOf("<drift>"));
    return begin < 0 ? -1000000
                     : frame.mid(begin + 7, int(frame.indexOf("</drift>")) - begin - 7).toInt();
}

} // namespace

/** kivsim as a device that lives: scripts, saved data, refused paths, checked files. */
class tst_KivsimDevice : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void refusesBadScripts_data();
    void refusesBadScripts();
    void runsAScript();
    void walksWithinLimits();
    void walksInLongSteps();
    void saysWhichStepFails();
    void goesOnOverARestart();
    void savesTheDataInTheEnd();
    void savesListKeysOnSeveralLines();
    void savesIntoWhatIsNoPlainFile();
    void savesTheDataOnASignal();
    void failsIfItCannotSave();
    void checksFiles();
    void refusesPaths();
    void tellsOfBytesWithoutASeparator();
};

void tst_KivsimDevice::refusesBadScripts_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArray>("error");
    const struct {
        const char *script;
        const char *error;
    } rows[] = {
        {"", ""},
        {"# nothing\n\n  wait 1 \r\n", ""},
        {"repeat\nrepeat 2\nwait 1\nend\nend", ""},
        {"set /a[b='c d']/e some text", ""},
        {"frob", "1: unknown op: frob"},
        {"wait 1\nwait", "2: a number from 1 to 86400000 is needed, not ''"},
        {"wait 0", "1: a number from 1 to 86400000 is needed, not '0'"},
        {"wait 1 2", "1: a number from 1 to 86400000 is needed, not '1 2'"},
        {"repeat 0", "1: a number from 1 to 99999999 is needed, not '0'"},
        {"end", "1: end without repeat"},
        {"repeat\nset /a b\nend", "3: a loop needs a wait in it"},
        {"wait 1\nrepeat\n", "2: repeat without end"},
        {"set", "1: bad path: empty at character 0"},
        {"set / x", "1: the root cannot be edited"},
        {"delete /a b", "1: delete needs a path and nothing else"},
        {"patch /a <a>", "1: not well-formed: Start-end tags mismatch at byte 11"},
        {"walk /a 5 1 1", "1: a number from 5 to 99999999 is needed, not '1'"},
        {"walk /a 1 5", "1: a number from 1 to 99999999 is needed, not ''"},
    };
    for (const auto &row : rows)
        QTest::newRow(*row.script ? row.script : "nothing")
            << QByteArray(row.script) << QByteArray(row.error);
}

void tst_KivsimDevice::refusesBadScripts()
{
    QFETCH(QByteArray, script);
    QFETCH(QByteArray, error);
    kivsim::Script steps;
    std::string reason;
    const bool good = kivsim::parseScript(script.constData(), "f", steps, reason);
    QCOMPARE(good, error.isEmpty());
    QCOMPARE(QByteArray(reason.c_str()), error.isEmpty() ? QByteArray() : "cannot use f:" + error);
}

void tst_KivsimDevice::runsAScript()
{
    SimulatorProcess kivsim;
    const QString script = kivsim.filePath("script");
    writeFile(script, "repeat\n wait 50\n set /config/system/hostname a <b>\n"
                      " repeat 2\n  wait 1\n  patch /config/system/new <new>1</new>\n"
                      "  delete /config/system/new\n end\n"
                      " replace /config/system/hostname <hostname>c</hostname>\nend\n");
    QVERIFY(kivsim.start(options("--script", script)));
    BareClient client(BareClient::Local, kivsim);
    client.send(subscribeRequest("s", "<path>/config/system</path>"));
    const QByteArray path = "/config/system";
    const QByteArray set =
        notification("s", "patch", path, path + "/hostname", "<hostname>a &lt;b&gt;</hostname>");
    QCOMPARE(client.frame(), sessionInfoAnswer("s"));
    while (client.frame() != set) {
    }
    for (int round = 0; round < 2; ++round) {
        QCOMPARE(client.frame(), notification("s", "patch", path, path + "/new", "<new>1</new>"));
        QCOMPARE(client.frame(), notification("s", "delete", path, path + "/new", ""));
    }
    QCOMPARE(client.frame(),
             notification("s", "replace", path, path + "/hostname", "<hostname>c</hostname>"));
    QCOMPARE(client.frame(), set);
    QCOMPARE(kivsim.errors(), QByteArray());
}

void tst_KivsimDevice::walksWithinLimits()
{
    SimulatorProcess kivsim;
    const QString script = kivsim.filePath("script");
    writeFile(script, "repeat\nwait 1\nwalk /config/system/clock/drift -3 3 2\nend\n");
    QVERIFY(kivsim.start(options("--script", script)));
    BareClient client(BareClient::Local, kivsim);
    client.send(subscribeRequest("s", "<path>/config/system/clock/drift</path>"));
    QCOMPARE(client.frame(), sessionInfoAnswer("s"));
    QSet<int> seen;
    int last = 100;
    while (seen.size() < 7) {
        const QByteArray frame = client.frame();
        const int value = driftIn(frame);
        QVERIFY2(value >= -3 && value <= 3, frame.constData());
        QVERIFY2(last == 100 || qAbs(value - last) <= 2, frame.constData());
        last = value;
        seen << value;
    }
}

void tst_KivsimDevice::walksInLongSteps()
{
    SimulatorProcess kivsim;
    const QString script = kivsim.filePath("script");
    writeFile(script, "repeat\nwait 1\nwalk /config/system/clock/drift 0 99999999 50000000\nend\n");
    QVERIFY(kivsim.start(options("--script", script)));
    BareClient client(BareClient::Local, kivsim);
    client.send(subscribeRequest("s", "<path>/config/system/clock/drift</path>"));
    QCOMPARE(client.frame(), sessionInfoAnswer("s"));
    // Upwards as well as down, and farther than one draw of random bits reaches.
    int last = 0;
    int farthest = 0;
    while (farthest <= 1 << 24) {
        const QByteArray frame = client.frame();
        const int value = driftIn(frame);
        QVERIFY2(value >= 0 && value <= 99999999, frame.constData());
        farthest = qMax(farthest, value - last);
        last = value;
    }
}

void tst_KivsimDevice::saysWhichStepFails()
{
    SimulatorProcess kivsim;
    const QString script = kivsim.filePath("script");
    writeFile(script,
              "delete /none\nwalk /config/system/dns 0 1 1\nset /config/system/hostname a\n");
    QVERIFY(kivsim.start(options("--script", script)));
    QVERIFY(waitFor([&]() { return kivsim.errors().count('\n') == 2; }));
    const QByteArray begin = "kivsim: " + nameOf(kivsim, "script") + ':';
    QCOMPARE(kivsim.errors(), begin + "1: no such path: /none\n" + begin +
                                  "2: not one element: /config/system/dns\n");
    BareClient client(BareClient::Local, kivsim);
    QVERIFY(waitFor([&]() {
        return client.exchange(getRequest("r", "/config/system/hostname")).contains(">a<");
    }));

    writeFile(script, "wait\n");
    kivsim.stop();
    QVERIFY(!kivsim.start(options("--script", script)));
    QCOMPARE(kivsim.end(), QByteArray("exit 1"));
}

void tst_KivsimDevice::goesOnOverARestart()
{
    SimulatorProcess kivsim;
    const QString script = kivsim.filePath("script");
    writeFile(script, "repeat\nwait 5\nset /config/system/hostname a\nwait 5\n"
                      "set /config/system/hostname b\nend\n");
    QVERIFY(kivsim.start(options("--script", script)));
    kivsim.send(SIGHUP);
    QVERIFY(kivsim.waitForReady(2));
    BareClient client(BareClient::Local, kivsim);
    client.send(subscribeRequest("s", "<path>/config/system</path>"));
    QCOMPARE(client.frame(), sessionInfoAnswer("s"));
    QVERIFY(client.frame().startsWith("<notify>"));
    QVERIFY(client.frame().startsWith("<notify>"));
}

void tst_KivsimDevice::savesTheDataInTheEnd()
{
    SimulatorProcess kivsim;
    const QString saved = kivsim.filePath("saved.xml");
    QVERIFY(kivsim.start(options("--save", saved)));
    {
        BareClient client(BareClient::Local, kivsim);
        client.exchange(
            editRequest("r", "patch", "/config/system/hostname", "<hostname>kept&#13;</hostname>"));
    }
    QVERIFY(!QFile::exists(saved));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QVERIFY(readFile(saved).contains("<hostname>kept&#13;</hostname>"));
    // With all that a data file says: list keys, values of blanks, carriage returns.
    kivsim.setDocument(readFile(saved));
    QVERIFY(kivsim.start());
    BareClient client(BareClient::Local, kivsim);
    QCOMPARE(client.exchange(getRequest("r", "/")),
             getAnswer("r", "/", QByteArray(documentContent).replace(">gateway<", ">kept&#13;<")));
    QVERIFY(client
                .exchange(editRequest("r", "patch", "/config/interfaces/interface",
                                      "<interface><mtu>1</mtu></interface>"))
                .contains("list entry without its key: interface/name"));
}

void tst_KivsimDevice::savesListKeysOnSeveralLines()
{
    SimulatorProcess kivsim;
    const QString saved = kivsim.filePath("saved.xml");
    kivsim.setDocument("<?kivsim-keys a=x\r\n  e=k?>\r\n<r><e><k>1</k></e></r>\r\n");
    QVERIFY(kivsim.start(options("--save", saved)));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QVERIFY2(readFile(saved).contains("<?kivsim-keys a=x\n  e=k?>"), readFile(saved).constData());
}

void tst_KivsimDevice::savesIntoWhatIsNoPlainFile()
{
    SimulatorProcess kivsim;
    const QString target = kivsim.filePath("target");
    const QString link = kivsim.filePath("link");
    writeFile(target, "old");
    QVERIFY(QFile::link(target, link));
    QVERIFY(kivsim.start(options("--save", link)));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QCOMPARE(QFile::symLinkTarget(link), target);
    QVERIFY(readFile(target).contains("</device>"));
}

void tst_KivsimDevice::savesTheDataOnASignal()
{
    SimulatorProcess kivsim;
    const QString saved = kivsim.filePath("saved.xml");
    QVERIFY(kivsim.start(options("--save", saved)));
    kivsim.send(SIGUSR1);
    QVERIFY(waitFor([&]() { return readFile(saved).contains("</device>"); }));
    BareClient client(BareClient::Local, kivsim);
    QCOMPARE(client.exchange(getRequest("r", "/state/blank")),
             getAnswer("r", "/state/blank", "<blank> </blank>"));
}

void tst_KivsimDevice::failsIfItCannotSave()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start(options("--save", QLatin1String("/nowhere/x"))));
    QCOMPARE(kivsim.stop(), QByteArray("exit 1"));
    QCOMPARE(kivsim.errors(),
             QByteArray("kivsim: cannot write /nowhere/x: No such file or directory\n"));
}

void tst_KivsimDevice::checksFiles()
{
    SimulatorProcess kivsim;
    const QString file = kivsim.filePath("data.xml");
    const QByteArray name = nameOf(kivsim, "data.xml");
    writeFile(file, "<a><b/></a>");
    kivsim.run(options("--check", file));
    QCOMPARE(kivsim.end(), QByteArray("exit 0"));
    QCOMPARE(kivsim.output(), name + " is good\n");
    writeFile(file, "<a>\n<b>\n</a>");
    kivsim.run(options("--check", file));
    QCOMPARE(kivsim.end(), QByteArray("exit 1"));
    QCOMPARE(kivsim.errors(),
             "kivsim: cannot use " + name + ":3:3: not well-formed: Start-end tags mismatch\n");
    QCOMPARE(kivsim.output(), QByteArray());
    writeFile(file, "<a/>");
    const QString script = kivsim.filePath("script");
    writeFile(script, "x");
    kivsim.run(options("--check", file) << options("--script", script));
    QCOMPARE(kivsim.end(), QByteArray("exit 1"));
    QVERIFY(!QFile::exists(kivsim.socketPath()));
}

void tst_KivsimDevice::refusesPaths()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start(QStringList()
                         << QLatin1String("--refuse") << QLatin1String("/config/system")
                         << QLatin1String("--refuse")
                         << QLatin1String("/config/interfaces/interface[name='a:b']:busy")));
    BareClient client(BareClient::Local, kivsim);
    const QByteArray path = "/config/system/hostname";
    const QByteArray refused = errorAnswer("r", "application", "refused: " + path);
    QCOMPARE(client.exchange(getRequest("r", path)), refused);
    QCOMPARE(client.exchange(editRequest("r", "patch", path, "<hostname>a</hostname>")), refused);
    QCOMPARE(client.exchange(subscribeRequest("r", "<path>" + path + "</path>")), refused);
    QCOMPARE(client.exchange(getRequest("r", "/config/interfaces/interface[name='a:b']/mtu")),
             errorAnswer("r", "busy", "refused: /config/interfaces/interface[name='a:b']/mtu"));
    QVERIFY(client.exchange(getRequest("r", "/config")).contains("<hostname>gateway</hostname>"));
}

void tst_KivsimDevice::tellsOfBytesWithoutASeparator()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start(QStringList(QLatin1String("--verbose"))));
    BareClient client(BareClient::Tcp, kivsim);
    client.send("<request>\f");
    client.finish();
    QCOMPARE(client.untilClosed(), QByteArray());
    QVERIFY(waitFor([&]() { return kivsim.errors().contains("disconnected"); }));
    QVERIFY(kivsim.errors().contains("client 1 10 bytes dropped, no separator behind them"));
}

QTEST_MAIN(tst_KivsimDevice)
#include "tst_kivsimdevice.moc"
