// SPDX-License-Identifier: LGPL-2.1-or-later

// Runs the example programs, as they are, against kivsim and folders of files. All of them talk to
// /tmp/kivd, so this process and its children have a /tmp of their own.

#include "privatemounts.h"
#include "skip.h"
#include "toolprocess.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QScopedPointer>
#include <QtTest/QTest>

#include <csignal>

static QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

static QByteArray contentOf(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

static void write(const QString &name, const QByteArray &content)
{
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != qint64(content.size()))
        qFatal("cannot write %s", qPrintable(name));
}

/** The lines of a log, without what is before and behind their messages. */
static QList<QByteArray> messagesIn(const QByteArray &log)
{
    const int messageColumn = 67;
    QList<QByteArray> messages;
    for (const QByteArray &line : log.split('\n')) {
        if (!line.isEmpty())
            messages << line.mid(messageColumn, line.indexOf(", tid=") - messageColumn).trimmed();
    }
    return messages;
}

class TestExamples : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void explainThemselves_data();
    void explainThemselves();

    void getonce_data();
    void getonce();
    void getonceGivesUp();
    void setvalue_data();
    void setvalue();
    void setvalueTellsOfErrors();
    void watch();
    void watchIsRefused();
    void pending();
    void pendingLosesItsConnection();
    void pickvalues();
    void domain();
    void sysmessage();

    void logging();
    void logfilter();
    void logsinks();
    void longtext_data();
    void longtext();
    void threads();

    void blink();
    void waitedge();
    void adcpoll_data();
    void adcpoll();
    void noLine_data();
    void noLine();

    void pumpd();
    void cross();

private:
    QByteArray run(const char *command);
    QByteArray runWords(const QStringList &words);
    void startDaemon(const char *options = "");
    void changeDaemon(const char *command);
    QByteArray daemonsValue(const char *path);
    void addLine(const char *name);

    QScopedPointer<ToolProcess> daemon;
    QScopedPointer<ToolProcess> example;
    QScopedPointer<ToolProcess> kivctl;
};

void TestExamples::initTestCase()
{
    const QString problem = privateMountsProblem();
    if (!problem.isEmpty())
        SKIP_TEST(qPrintable(problem));
    if (QByteArray(EXAMPLES_FOLDER).startsWith("/tmp/"))
        SKIP_TEST("they get a /tmp of their own, which hides this build; build it elsewhere");
}

void TestExamples::init()
{
    QDir::root().mkpath(latin1("/tmp/board/gpio.1/gpio"));
    kivctl.reset(new ToolProcess(KIVCTL_PROGRAM));
}

void TestExamples::cleanup()
{
    example.reset();
    daemon.reset();
    kivctl.reset();
    QFile::remove(latin1("/tmp/kivd")); // a killed daemon leaves it behind
}

/** Starts a daemon on /tmp/kivd, and waits until it listens. */
void TestExamples::startDaemon(const char *options)
{
    write(latin1("/tmp/device.xml"),
          "<?kivsim-keys interface=name?><device><config><system><hostname>gateway</hostname>"
          "<level>warning</level><watchdog><enabled>true</enabled></watchdog></system><interfaces>"
          "<interface><name>eth0</name><enabled>true</enabled><mtu>1500</mtu><address><ip>192.0.2.1"
          "</ip></address></interface><interface><name>eth1</name></interface></interfaces>"
          "</config><state><sys_messages/></state></device>");
    QStringList arguments = words("--data /tmp/device.xml");
    if (*options)
        arguments << words(options);
    daemon.reset(new ToolProcess(KIVSIM_PROGRAM));
    daemon->start(arguments);
    QVERIFY(daemon->waitForOutput("listening"));
}

void TestExamples::changeDaemon(const char *command)
{
    QCOMPARE(kivctl->run(words(command)), QByteArray("exit 0"));
}

QByteArray TestExamples::daemonsValue(const char *path)
{
    const QByteArray end = kivctl->run(words("get -o text") << latin1(path));
    return end + ": " + kivctl->output().trimmed();
}

/** Runs an example to its end. @return how it has ended */
QByteArray TestExamples::runWords(const QStringList &words)
{
    const QByteArray name = QFile::encodeName(words.first());
    example.reset(new ToolProcess(QByteArray(EXAMPLES_FOLDER "/" + name).constData()));
    return example->run(words.mid(1));
}

QByteArray TestExamples::run(const char *command)
{
    return runWords(words(command));
}

/** Creates the files of a line of the board. */
void TestExamples::addLine(const char *name)
{
    const QString folder = latin1("/tmp/board/gpio.1/gpio/") + latin1(name);
    QVERIFY(QDir().mkpath(folder));
    for (const char *file : {"/direction", "/edge", "/value"})
        write(folder + latin1(file), "");
}

void TestExamples::explainThemselves_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char *name :
         {"adcpoll",   "blink",    "cross",     "domain",   "edgenotifier", "getonce",
          "logfilter", "logging",  "logsinks",  "longtext", "pending",      "pickvalues",
          "pidguard",  "pumpd",    "roundtrip", "setline",  "setvalue",     "sysmessage",
          "threads",   "waitedge", "watch"})
        QTest::newRow(name) << QByteArray(name);
}

void TestExamples::explainThemselves()
{
    QFETCH(QByteArray, name);
    QCOMPARE(run((name + " --help").constData()), QByteArray("exit 0"));
    QVERIFY(example->output().startsWith("usage: " + name));
    QCOMPARE(example->errors(), QByteArray());

    // More words than any of them takes, but for two that take any number.
    const bool takesAny = name == "pending" || name == "watch";
    QCOMPARE(run((name + (takesAny ? "" : " a b c d e f g h")).constData()), QByteArray("exit 2"));
    QCOMPARE(example->output(), QByteArray());
    QVERIFY(example->errors().startsWith("usage: " + name));
}

void TestExamples::getonce_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("end");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("error");
    QTest::newRow("a value") << QByteArray("/config/system/hostname") << QByteArray("exit 0")
                             << QByteArray("<hostname>gateway</hostname>\n") << QByteArray();
    QTest::newRow("an error") << QByteArray("/nothing") << QByteArray("exit 1") << QByteArray()
                              << QByteArray("getonce: application: no such path: /nothing\n");
}

void TestExamples::getonce()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, end);
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, error);
    startDaemon();
    QCOMPARE(run(("getonce " + path).constData()), end);
    QCOMPARE(example->output(), output);
    QVERIFY(example->errors().endsWith(error));
    QVERIFY(example->errors().contains("getonce: ") != error.isEmpty());
}

void TestExamples::getonceGivesUp()
{
    QCOMPARE(run("getonce /config"), QByteArray("exit 4"));
    // The client may try to connect at the same time, and say so behind it.
    QVERIFY(example->errors().contains("getonce: no answer within 10 seconds; does the daemon "
                                       "run?\n"));
}

void TestExamples::setvalue_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("text");
    const QString hostname = latin1("/config/system/hostname");
    QTest::newRow("plain") << hostname << latin1("pump-3");
    QTest::newRow("markup") << hostname << latin1("a <b> & \"c\" 'd' </hostname> &amp;");
    QTest::newRow("placeholders") << hostname << latin1("100 %1 %2");
    QTest::newRow("beyond ASCII") << hostname
                                  << QString::fromUtf8("\xc3\xa9 \xe2\x82\xac \xf0\x9f\x94\xa7");
    QTest::newRow("nothing") << hostname << QString();
    QTest::newRow("an entry of a list")
        << latin1("/config/interfaces/interface[name='eth0']/mtu") << latin1("1400");
}

void TestExamples::setvalue()
{
    QFETCH(QString, path);
    QFETCH(QString, text);
    startDaemon();
    QCOMPARE(runWords(QStringList(latin1("setvalue")) << path << text), QByteArray("exit 0"));
    QCOMPARE(daemonsValue(path.toLatin1().constData()), "exit 0: " + text.toUtf8());
}

void TestExamples::setvalueTellsOfErrors()
{
    startDaemon();
    QCOMPARE(run("setvalue /nothing/at/all x"), QByteArray("exit 1"));
    QVERIFY(example->errors().endsWith("setvalue: application: no such parent: /nothing/at\n"));
}

void TestExamples::watch()
{
    startDaemon();
    example.reset(new ToolProcess(EXAMPLES_FOLDER "/watch"));
    example->start(words("/config/system/hostname /config/interfaces"));
    const QByteArray present = "/config/system/hostname: current /config/system/hostname "
                               "<hostname>gateway</hostname>\n";
    QVERIFY(example->waitForOutput(present));
    QVERIFY(example->waitForOutput("/config/interfaces: current "));
    changeDaemon("set /config/system/hostname pump");
    QVERIFY(example->waitForOutput("/config/system/hostname: patch /config/system/hostname "
                                   "<hostname>pump</hostname>\n"));
    // The daemon forgets what was edited, and all subscriptions.
    daemon->send(SIGHUP);
    QVERIFY(example->waitForOutput("-- the connection is lost\n" + present));
    changeDaemon("set /config/system/hostname valve");
    QVERIFY(example->waitForOutput("<hostname>valve</hostname>\n"));
    QCOMPARE(example->output().count("the connection is lost"), 1);
    example->send(SIGTERM);
    QCOMPARE(example->end(), QByteArray("signal 15"));
}

void TestExamples::watchIsRefused()
{
    startDaemon("--refuse /config/system");
    QCOMPARE(run("watch /config/system"), QByteArray("exit 1"));
    QVERIFY(example->errors().endsWith("watch: /config/system: application: refused: "
                                       "/config/system\n"));
}

void TestExamples::pending()
{
    startDaemon();
    QCOMPARE(run("pending /config/system/hostname /nothing /config/system/level"),
             QByteArray("exit 1"));
    QCOMPARE(example->output(), QByteArray("/config/system/hostname: <hostname>gateway</hostname>\n"
                                           "/nothing: no such path: /nothing\n"
                                           "/config/system/level: <level>warning</level>\n"));
    QCOMPARE(run("pending /config/system/hostname /config/system/hostname"), QByteArray("exit 0"));
}

void TestExamples::pendingLosesItsConnection()
{
    startDaemon("--misbehave cut");
    QCOMPARE(run("pending /config/system/hostname /config/system/level"), QByteArray("exit 1"));
    QCOMPARE(example->output(), QByteArray("/config/system/hostname: lost with the connection\n"
                                           "/config/system/level: lost with the connection\n"));
}

void TestExamples::pickvalues()
{
    startDaemon();
    QCOMPARE(run("pickvalues eth0"), QByteArray("exit 0"));
    QCOMPARE(example->output(), QByteArray("interfaces: eth0 eth1\nname: eth0\nenabled: true\n"
                                           "mtu: 1500\naddress/ip: 192.0.2.1\nasked for: eth0\n"));
    QCOMPARE(run("pickvalues eth1"), QByteArray("exit 0"));
    QVERIFY(example->output().contains("name: eth1\nenabled: -\n"));
}

void TestExamples::domain()
{
    startDaemon();
    const QByteArray line = daemon->output();
    const QByteArray port = line.mid(line.lastIndexOf(':') + 1).trimmed();
    QCOMPARE(run(("domain 127.0.0.1 " + port + " /config/system/hostname").constData()),
             QByteArray("exit 0"));
    QCOMPARE(example->output(), QByteArray("<hostname>gateway</hostname>\n"));
    QCOMPARE(run(("domain 127.0.0.1 " + port + " /nothing").constData()), QByteArray("exit 1"));
    QVERIFY(example->errors().endsWith("domain: application: no such path: /nothing\n"));
}

void TestExamples::sysmessage()
{
    startDaemon();
    const QString text = latin1("Pump 1 is > 80 & <hot>, 100 %1 load %9");
    QCOMPARE(runWords(words("sysmessage put pump%3 over<heat error") << text),
             QByteArray("exit 0"));
    const char path[] = "/state/sys_messages/sys_message/text";
    QCOMPARE(daemonsValue(path), "exit 0: " + text.toUtf8());
    QCOMPARE(daemonsValue("/state/sys_messages/sys_message/reporter"),
             QByteArray("exit 0: pump%3"));
    QCOMPARE(run("sysmessage del pump%3 over<heat"), QByteArray("exit 0"));
    QCOMPARE(daemonsValue(path), QByteArray("exit 1: "));
    QCOMPARE(run("sysmessage del pump%3 over<heat"), QByteArray("exit 1"));
    QCOMPARE(run("sysmessage put p'mp overheat error text"), QByteArray("exit 2"));
}

void TestExamples::logging()
{
    QCOMPARE(run("logging /tmp/logging"), QByteArray("exit 0"));
    const QByteArray newest = contentOf(latin1("/tmp/logging/pump0.log"));
    const QByteArray oldest = contentOf(latin1("/tmp/logging/pump1.log"));
    QCOMPARE(int(newest.count("stroke ") + oldest.count("stroke ")), 800);
    QVERIFY(newest.contains("stroke 800 of 800"));
    QVERIFY(newest.contains("\nThe end.....\n"));
    QCOMPARE(run("logging /proc/nowhere"), QByteArray("exit 1"));
}

void TestExamples::logfilter()
{
    startDaemon();
    example.reset(new ToolProcess(EXAMPLES_FOLDER "/logfilter"));
    example->start(words("/config/system/level"));
    QVERIFY(example->waitForOutput("this is critical"));
    QVERIFY(!example->output().contains("this is info"));
    QVERIFY(example->output().contains("this is warning"));

    changeDaemon("set /config/system/level critical");
    QVERIFY(example->waitForOutput("   9 Filter"));
    QCOMPARE(messagesIn(example->output()).last(), QByteArray("this is critical"));
    changeDaemon("set /config/system/level nonsense");
    changeDaemon("set /config/system/level info");
    QVERIFY(example->waitForOutput("this is info"));

    example->send(SIGUSR1);
    QVERIFY(example->waitForOutput("this is debug"));
    example->send(SIGTERM);
    QCOMPARE(example->end(), QByteArray("exit 0"));
    const QList<QByteArray> messages = messagesIn(example->output());
    QCOMPARE(int(messages.count("this is debug")), 1);
    QCOMPARE(int(messages.count("this is info")), 2);
    QCOMPARE(int(messages.count("this is warning")), 3);
    QCOMPARE(int(messages.count("this is error")), 3);
    QCOMPARE(int(messages.count("this is critical")), 4);
}

void TestExamples::logsinks()
{
    QCOMPARE(run("logsinks /tmp/sinks"), QByteArray("exit 0"));
    const QList<QByteArray> all = QList<QByteArray>() << "pump 1 is on"
                                                      << "pump 1 is too hot"
                                                      << "pump 1 is off";
    const QByteArray printed = example->output();
    QCOMPARE(messagesIn(printed), all);
    QVERIFY(!printed.contains('"'));
    QCOMPARE(contentOf(latin1("/tmp/sinks/pump0.log")), printed);
    QCOMPARE(messagesIn(contentOf(latin1("/tmp/sinks/errors0.log"))), QList<QByteArray>()
                                                                          << "pump 1 is too hot");
    QCOMPARE(run("logsinks /proc/nowhere"), QByteArray("exit 1"));
}

void TestExamples::longtext_data()
{
    QTest::addColumn<QByteArray>("text");
    QByteArray numbers;
    for (int i = 0; i < 1000; ++i)
        numbers += QByteArray::number(i) + ' ';
    QTest::newRow("short") << QByteArray("short");
    QTest::newRow("some more") << numbers.left(170).trimmed();
    QTest::newRow("words") << numbers.trimmed();
    QTest::newRow("without a blank") << QByteArray(1000, 'x');
    QTest::newRow("mixed") << numbers.left(300) + QByteArray(400, 'y') + " z";
}

/** Nothing is lost, and no line is empty or cut by the library. */
void TestExamples::longtext()
{
    QFETCH(QByteArray, text);
    QCOMPARE(runWords(QStringList(latin1("longtext")) << QString::fromLatin1(text)),
             QByteArray("exit 0"));
    QByteArray all;
    for (const QByteArray &line : example->output().split('\n')) {
        if (line.isEmpty())
            continue;
        if (line.contains("[Long message("))
            continue;
        QByteArray message = line.contains(", tid=") ? messagesIn(line).first() : line.trimmed();
        QVERIFY(!message.isEmpty() && message.size() < 180);
        if (message.contains('/'))
            message = message.mid(message.indexOf(' ') + 1);
        all += message;
    }
    QCOMPARE(all.replace(" ", ""), QByteArray(text).replace(" ", ""));
}

void TestExamples::threads()
{
    QCOMPARE(run("threads /tmp/threads 3 100"), QByteArray("exit 0"));
    // The handler logs two lines in the main thread.
    QCOMPARE(example->output(), QByteArray("302 lines logged\n"));
    const QByteArray log = contentOf(latin1("/tmp/threads/threads0.log"));
    for (int worker = 1; worker <= 3; ++worker)
        QCOMPARE(int(log.count("worker " + QByteArray::number(worker) + ", piece ")), 100);
}

void TestExamples::blink()
{
    addLine("gpio41");
    QCOMPARE(run("blink 41 3 1 /tmp/board"), QByteArray("exit 0"));
    // A plain file keeps each level that was written: low at first, then three times on and off.
    QCOMPARE(contentOf(latin1("/tmp/board/gpio.1/gpio/gpio41/direction")).left(3),
             QByteArray("out"));
    QCOMPARE(contentOf(latin1("/tmp/board/gpio.1/gpio/gpio41/value")), QByteArray("101010"));
}

void TestExamples::waitedge()
{
    addLine("gpio40");
    const QString value = latin1("/tmp/board/gpio.1/gpio/gpio40/value");
    write(value, "1\n");
    example.reset(new ToolProcess(EXAMPLES_FOLDER "/waitedge"));
    example->start(words("40 /tmp/board"));
    QVERIFY(example->waitForOutput("1\n"));
    write(value, "0\n");
    QVERIFY(example->waitForOutput("1\n0\n"));
    write(value, "1\n");
    QVERIFY(example->waitForOutput("1\n0\n1\n"));
    QCOMPARE(example->output(), QByteArray("1\n0\n1\n"));
}

void TestExamples::adcpoll_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("end");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("a number") << QByteArray("1234\n") << QByteArray("exit 0")
                              << QByteArray("raw 1234, scaled 3702\n");
    QTest::newRow("0") << QByteArray("0\n") << QByteArray("exit 0")
                       << QByteArray("raw 0, scaled 0\n");
    QTest::newRow("negative") << QByteArray("-5\n") << QByteArray("exit 0")
                              << QByteArray("below zero\n");
    QTest::newRow("no file") << QByteArray() << QByteArray("exit 1")
                             << QByteArray("no reading: Bad file descriptor\n");
}

void TestExamples::adcpoll()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, end);
    QFETCH(QByteArray, output);
    const QString file = latin1("/tmp/board/in_voltage3_raw");
    QFile::remove(file);
    if (!content.isEmpty())
        write(file, content);
    QCOMPARE(run("adcpoll 128 3 3 2 1 /tmp/board"), end);
    QCOMPARE(example->output(), output + output);
}

void TestExamples::noLine_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("blink") << QByteArray("blink 63 1 1 /tmp/board");
    QTest::newRow("waitedge") << QByteArray("waitedge 63 /tmp/board");
    QTest::newRow("setline") << QByteArray("setline 63 1");
    QTest::newRow("edgenotifier") << QByteArray("edgenotifier 63");
}

void TestExamples::noLine()
{
    QFETCH(QByteArray, command);
    QCOMPARE(run(command.constData()), QByteArray("exit 1"));
}

void TestExamples::pumpd()
{
    startDaemon();
    addLine("gpio40");
    const QString value = latin1("/tmp/board/gpio.1/gpio/gpio40/value");
    const QString log = latin1("/tmp/pumplog/pumpd0.log");
    const QStringList arguments = words("/tmp/pid /tmp/pumplog/ /tmp/board");
    example.reset(new ToolProcess(EXAMPLES_FOLDER "/pumpd"));
    example->start(arguments);
    QVERIFY(daemon->waitForOutput("listening"));
    const auto lampIs = [&](const QByteArray &levels) {
        for (int i = 0; i < 3000 && contentOf(value) != levels; ++i)
            QTest::qWait(10);
        return contentOf(value);
    };
    QCOMPARE(lampIs("1"), QByteArray("1"));
    changeDaemon("set /config/system/watchdog/enabled false");
    QCOMPARE(lampIs("10"), QByteArray("10"));

    // A second one leaves the files of the first alone.
    ToolProcess second(EXAMPLES_FOLDER "/pumpd");
    QCOMPARE(second.run(arguments), QByteArray("exit 1"));
    QVERIFY(second.errors().contains("pumpd: another one is running\n"));
    QVERIFY(QFile::exists(latin1("/tmp/pid")));
    QVERIFY(!QFile::exists(latin1("/tmp/pumplog/pumpd1.log")));

    example->send(SIGTERM);
    QCOMPARE(example->end(), QByteArray("exit 0"));
    QVERIFY(!QFile::exists(latin1("/tmp/pid")));
    QCOMPARE(contentOf(value), QByteArray("100"));
    const QByteArray lines = contentOf(log);
    QVERIFY(lines.contains(" started "));
    QVERIFY(lines.contains(" the lamp is told: false "));
    QVERIFY(lines.indexOf(" stopped ") < lines.indexOf(" Deleting KivInterface "));
    QVERIFY(lines.endsWith("\nended.....\n=============================================\n"));
}

void TestExamples::cross()
{
    QCOMPARE(run("cross"), QByteArray("exit 0"));
    const QByteArray bits = QByteArray::number(int(8 * sizeof(void *)));
    QVERIFY(example->output().contains("built for " + bits + " bits with Qt " QT_VERSION_STR ", "));
    QVERIFY(example->output().endsWith("libqvcommon: 1 line logged\n"));
}

int main(int argc, char *argv[])
{
    enterPrivateMounts();
    const MemoryFolder folder(latin1("/tmp"), 32 * 1024 * 1024);
    QCoreApplication application(argc, argv);
    TestExamples test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_examples.moc"
