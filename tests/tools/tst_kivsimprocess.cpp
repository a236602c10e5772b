// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bareclient.h"
#include "loopback.h"
#include "simulatorprocess.h"
#include "toolprocess.h"
#include "waiting.h"
#include "wiremessages.h"

#include <QtCore/QFile>
#include <QtCore/QList>
#include <QtTest/QtTest>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace
{

const BareClient::Transport local = BareClient::Local;
const BareClient::Transport tcp = BareClient::Tcp;

const QByteArray question = getRequest("r", "/state/blank");
const QByteArray answer = getAnswer("r", "/state/blank", "<blank> </blank>");
const QByteArray hostnamePath = "/config/system/hostname";

QStringList list(const char *words)
{
    return QString::fromLatin1(words).split(QLatin1Char(' '));
}

QByteArray hostnameAnswer(const QByteArray &name)
{
    return getAnswer("r", hostnamePath, "<hostname>" + name + "</hostname>");
}

bool isSocket(const QString &path)
{
    struct stat status;
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISSOCK(status.st_mode);
}

/** Whether any file has that name, a dangling link included. */
bool exists(const QString &path)
{
    struct stat status;
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0;
}

/** A connection on which nothing is read unless the test says so. */
class LazyClient
{
public:
    explicit LazyClient(const SimulatorProcess &simulator)
        : descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_un address;
        std::memset(&address, 0, sizeof address);
        address.sun_family = AF_UNIX;
        const QByteArray path = QFile::encodeName(simulator.socketPath());
        std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
        connected = ::connect(descriptor, reinterpret_cast<const sockaddr *>(&address),
                              sizeof address) == 0;
    }
    ~LazyClient() { ::close(descriptor); }

    bool isConnected() const { return connected; }

    /** @return how much of it was taken at once */
    int send(const QByteArray &bytes)
    {
        return int(::send(descriptor, bytes.constData(), std::size_t(bytes.size()), MSG_NOSIGNAL));
    }

    /** Reads until so many bytes are there or the other side hangs up. */
    QByteArray read(int count)
    {
        QByteArray bytes;
        bool closed = false;
        waitFor([&]() {
            char buffer[65536];
            ssize_t length = 0;
            while (int(bytes.size()) < count &&
                   (length = ::recv(descriptor, buffer, sizeof buffer, 0)) > 0)
                bytes.append(buffer, int(length));
            closed = closed || length == 0;
            return closed || int(bytes.size()) >= count;
        });
        return bytes;
    }

private:
    Q_DISABLE_COPY(LazyClient)

    int descriptor;
    bool connected;
};

} // namespace

/** kivsim as a process: command line, sockets, signals, restart, limits. */
class tst_KivSimProcess : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void saysWhereItListens();
    void needsNoUnixSocket();
    void endsAtASignal_data();
    void endsAtASignal();
    void endsWhileClientsAreConnected();
    void explainsItself_data();
    void explainsItself();
    void failsWhereNothingCanBeWritten();
    void refusesWrongOptions_data();
    void refusesWrongOptions();
    void takesTheLongestSocketPath();
    void cannotRunWithoutAUsableDocument_data();
    void cannotRunWithoutAUsableDocument();
    void cannotRunWithoutADocumentFile();

    void leavesALiveDaemonAlone();
    void replacesADeadSocket();
    void startsOnceOverADeadSocket();
    void keepsItsPlaceWhileAway();
    void removesItsLock();
    void leavesAFileInThePlaceOfItsLockAlone();
    void leavesOtherFilesAlone_data();
    void leavesOtherFilesAlone();
    void cannotListenWithoutAFolder();
    void cannotListenOnAPortInUse();
    void removesOnlyItsOwnSocket();

    void restartsOnRequest();
    void reservesItsPortWhileAway();
    void restartsAtHangup();
    void restartsOftenUnderLoad();
    void readsTheDocumentAgain();
    void endsIfItCannotComeBack();

    void logsWhatItDoes();
    void refusesLongFrames();
    void forgetsTheRestOfLongFrames();
    void limitsTheTree();
    void cannotServeMoreThanTheLimit();
    void servesManyClients();
    void limitsClients();
    void survivesClientsThatVanish();
    void waitsForASlowReader();
    void dropsASubscriberWhoDoesNotRead();
};

void tst_KivSimProcess::saysWhereItListens()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    QCOMPARE(readable(kivsim.output()),
             readable("kivsim: listening on " + QFile::encodeName(kivsim.socketPath()) +
                      " and 127.0.0.1:" + QByteArray::number(kivsim.port()) + "\n"));
    for (BareClient::Transport transport : {local, tcp}) {
        BareClient client(transport, kivsim);
        QCOMPARE(readable(client.exchange(question)), readable(answer));
    }
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QCOMPARE(readable(kivsim.errors()), QString());
    // The port is free again, and taken if asked for.
    QVERIFY(kivsim.start());
    QVERIFY(kivsim.output().endsWith(":" + QByteArray::number(kivsim.port()) + "\n"));
    BareClient client(tcp, kivsim);
    QCOMPARE(readable(client.exchange(question)), readable(answer));
}

void tst_KivSimProcess::needsNoUnixSocket()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start(list("--no-socket")));
    QCOMPARE(readable(kivsim.output()), readable("kivsim: listening on 127.0.0.1:" +
                                                 QByteArray::number(kivsim.port()) + "\n"));
    QVERIFY(!exists(kivsim.socketPath()));
    BareClient client(tcp, kivsim);
    QCOMPARE(readable(client.exchange(question)), readable(answer));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
}

void tst_KivSimProcess::endsAtASignal_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << int(SIGTERM);
    QTest::newRow("SIGINT") << int(SIGINT);
}

void tst_KivSimProcess::endsAtASignal()
{
    QFETCH(int, signal);
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    QVERIFY(isSocket(kivsim.socketPath()));
    kivsim.send(signal);
    QCOMPARE(kivsim.end(), QByteArray("exit 0"));
    QVERIFY(!exists(kivsim.socketPath()));
    QCOMPARE(readable(kivsim.errors()), QString());
}

void tst_KivSimProcess::endsWhileClientsAreConnected()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    BareClient one(local, kivsim);
    BareClient other(tcp, kivsim);
    QCOMPARE(readable(one.exchange(misbehaveRequest("m", "off"))),
             readable(sessionInfoAnswer("m")));
    other.send(subscribeRequest("s", "<path>/</path>") + misbehaveRequest("m", "delay:600000") +
               question);
    QCOMPARE(readable(other.frame()), readable(sessionInfoAnswer("s")));
    QCOMPARE(readable(other.frame()), readable(sessionInfoAnswer("m")));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QCOMPARE(readable(one.untilClosed()), QString());
    QCOMPARE(readable(other.untilClosed()), QString());
}

void tst_KivSimProcess::explainsItself_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QByteArray>("begin");
    QTest::newRow("-h") << QString::fromLatin1("-h") << QByteArray("Usage: kivsim [options]\n");
    QTest::newRow("--help") << QString::fromLatin1("--help")
                            << QByteArray("Usage: kivsim [options]\n");
    QTest::newRow("-V") << QString::fromLatin1("-V") << QByteArray("kivsim " KIVSIM_VERSION "\n");
    QTest::newRow("--version") << QString::fromLatin1("--version")
                               << QByteArray("kivsim " KIVSIM_VERSION "\n");
}

void tst_KivSimProcess::explainsItself()
{
    QFETCH(QString, option);
    QFETCH(QByteArray, begin);
    SimulatorProcess kivsim;
    kivsim.run(QStringList(option));
    QCOMPARE(kivsim.end(), QByteArray("exit 0"));
    QCOMPARE(readable(kivsim.errors()), QString());
    const QByteArray output = kivsim.output();
    QCOMPARE(readable(output.left(begin.size())), readable(begin));
    const bool isHelp = begin.startsWith("Usage");
    for (const char *name :
         {"--socket", "--no-socket", "--port", "--data", "--misbehave", "--max-frame",
          "--max-output", "--max-tree", "--max-clients", "--verbose", "--help", "--version"})
        QCOMPARE(bool(output.contains(name)), isHelp);
}

void tst_KivSimProcess::failsWhereNothingCanBeWritten()
{
    ToolProcess tool(KIVSIM_PROGRAM);
    for (const char *option : {"--help", "--version"}) {
        QCOMPARE(tool.runOnFullDisk(words(option)), QByteArray("exit 1"));
        QCOMPARE(tool.errors(), QByteArray("kivsim: cannot write: No space left on device\n"));
    }
}

void tst_KivSimProcess::refusesWrongOptions_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("reason");
    const auto add = [](const char *arguments, const QByteArray &reason) {
        QTest::newRow(arguments) << list(arguments) << reason;
    };
    const QByteArray port = "--port needs a number from 0 to 65535, not ";
    add("--nonsense", "unknown option '--nonsense'");
    add("-x", "unknown option '-x'");
    add("word --nonsense", "unexpected argument 'word'");
    add("--verbose=1", "unknown option '--verbose=1'");
    add("now", "unexpected argument 'now'");
    add("--verbose now", "unexpected argument 'now'");
    add("--port", "no value for option '--port'");
    add("-s", "no value for option '-s'");
    add("--port 65536", port + "'65536'");
    add("--port -1", port + "'-1'");
    add("--port 1x", port + "'1x'");
    add("--port=", port + "''");
    add("-p 99999999999", port + "'99999999999'");
    add("--max-frame 0", "--max-frame needs a number from 1 to 999999999, not '0'");
    add("--max-output x", "--max-output needs a number from 1 to 999999999, not 'x'");
    add("--max-tree 0", "--max-tree needs a number from 1 to 999999999, not '0'");
    add("--max-clients 0", "--max-clients needs a number from 1 to 100000, not '0'");
    add("--misbehave nonsense", "bad misbehave: nonsense");
    add("--misbehave restart", "restart can only be asked for at run time");
    add("--socket /a --no-socket", "--socket and --no-socket exclude each other");
    add("--check a --data b", "--check and --data exclude each other");
    add("--check a --save b", "--check and --save exclude each other");
    add("--refuse x]", "--refuse needs PATH or PATH:TYPE: bad path: bad name at character 0");
    add("--socket=", "--socket needs a path of 1 to 107 bytes");
    const QByteArray longPath = "--socket /tmp/" + QByteArray(103, 'x');
    add(longPath.constData(), "--socket needs a path of 1 to 107 bytes");
}

void tst_KivSimProcess::refusesWrongOptions()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, reason);
    SimulatorProcess kivsim;
    kivsim.run(arguments);
    QCOMPARE(kivsim.end(), QByteArray("exit 2"));
    QCOMPARE(readable(kivsim.output()), QString());
    QCOMPARE(readable(kivsim.errors()), readable("kivsim: " + reason + " (try --help)\n"));
}

void tst_KivSimProcess::takesTheLongestSocketPath()
{
    SimulatorProcess kivsim;
    QString path = kivsim.filePath("");
    path += QString(107 - int(path.length()), QLatin1Char('x'));
    kivsim.run(QStringList() << QLatin1String("-s") << path << QLatin1String("-d")
                             << kivsim.filePath("document.xml") << QLatin1String("-p")
                             << QLatin1String("0"));
    QVERIFY(kivsim.waitForReady(1));
    QVERIFY(isSocket(path));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QVERIFY(!exists(path));
}

void tst_KivSimProcess::cannotRunWithoutAUsableDocument_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("empty") << QByteArray() << QByteArray();
    QTest::newRow("no element") << QByteArray("<?xml version='1.0'?>\n<!-- -->")
                                << QByteArray("no element in the message");
    QTest::newRow("two roots") << QByteArray("<a/><b/>")
                               << QByteArray("more than one element in the message");
    QTest::newRow("unclosed") << QByteArray("<a><b></a>")
                              << QByteArray("1:9: not well-formed: Start-end tags mismatch\n");
    QTest::newRow("bad reference")
        << QByteArray("<a>\n <b/>&b;</a>") << QByteArray("2:6: not well-formed: bad reference\n");
    QTest::newRow("document type")
        << QByteArray("<!DOCTYPE a><a/>")
        << QByteArray("1:1: not well-formed: declarations are not supported\n");
}

void tst_KivSimProcess::cannotRunWithoutAUsableDocument()
{
    QFETCH(QByteArray, document);
    QFETCH(QByteArray, reason);
    SimulatorProcess kivsim;
    kivsim.setDocument(document);
    QVERIFY(!kivsim.start());
    QCOMPARE(kivsim.end(), QByteArray("exit 1"));
    const QByteArray begin = "kivsim: cannot use " +
                             QFile::encodeName(kivsim.filePath("document.xml")) +
                             (reason.contains(':') ? ":" : ": ") + reason;
    const QByteArray errors = kivsim.errors();
    QCOMPARE(readable(errors.left(begin.size())), readable(begin));
    QCOMPARE(errors.count('\n'), 1);
    QVERIFY(!exists(kivsim.socketPath()));
}

void tst_KivSimProcess::cannotRunWithoutADocumentFile()
{
    SimulatorProcess kivsim;
    const QString absent = kivsim.filePath("absent");
    QVERIFY(!kivsim.start(QStringList() << QLatin1String("--data") << absent));
    QCOMPARE(kivsim.end(), QByteArray("exit 1"));
    QCOMPARE(readable(kivsim.errors()),
             readable("kivsim: cannot read " + QFile::encodeName(absent) +
                      ": No such file or directory\n"));
    QVERIFY(!kivsim.start(QStringList() << QLatin1String("--data") << kivsim.filePath("")));
    QCOMPARE(kivsim.end(), QByteArray("exit 1"));
    QCOMPARE(readable(kivsim.errors()),
             readable("kivsim: cannot read " + QFile::encodeName(kivsim.filePath("")) +
                      ": Is a directory\n"));
}

void tst_KivSimProcess::leavesALiveDaemonAlone()
{
    SimulatorProcess first;
    QVERIFY(first.start());
    SimulatorProcess second;
    second.run(QStringList() << QLatin1String("--socket") << first.socketPath());
    QCOMPARE(second.end(), QByteArray("exit 1"));
    QCOMPARE(readable(second.output()), QString());
    QCOMPARE(readable(second.errors()),
             readable("kivsim: a live daemon is listening on " +
                      QFile::encodeName(first.socketPath()) + "; it is left as it is\n"));
    QVERIFY(isSocket(first.socketPath()));
    BareClient client(local, first);
    QCOMPARE(readable(client.exchange(question)), readable(answer));
    QCOMPARE(first.stop(), QByteArray("exit 0"));
    QVERIFY(!exists(first.socketPath()));
}

void tst_KivSimProcess::replacesADeadSocket()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    kivsim.kill();
    QCOMPARE(kivsim.end(), QByteArray("signal 9"));
    QVERIFY(isSocket(kivsim.socketPath()));
    QVERIFY(kivsim.start());
    BareClient client(local, kivsim);
    QCOMPARE(readable(client.exchange(question)), readable(answer));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QVERIFY(!exists(kivsim.socketPath()));
}

// Without the lock, two of them or more thought in one round of ten that they had the place.
void tst_KivSimProcess::startsOnceOverADeadSocket()
{
    const int rounds = 20;
    const int atOnce = 12;
    SimulatorProcess dead;
    const QStringList arguments = QStringList()
                                  << QLatin1String("--socket") << dead.socketPath()
                                  << QLatin1String("--data") << dead.filePath("document.xml");
    QVERIFY(dead.start());
    dead.kill();
    for (int round = 0; round < rounds; ++round) {
        std::vector<std::unique_ptr<SimulatorProcess>> all;
        for (int i = 0; i < atOnce; ++i)
            all.emplace_back(new SimulatorProcess);
        for (const std::unique_ptr<SimulatorProcess> &one : all)
            one->run(arguments);
        int ready = 0;
        for (const std::unique_ptr<SimulatorProcess> &one : all) {
            if (one->waitForReady(1))
                ++ready;
            else
                QCOMPARE(one->end(), QByteArray("exit 1"));
        }
        QCOMPARE(ready, 1);
        BareClient client(local, dead);
        QCOMPARE(readable(client.exchange(question)), readable(answer));
        // They die with their sockets' files left behind.
    }
}

void tst_KivSimProcess::keepsItsPlaceWhileAway()
{
    SimulatorProcess first;
    QVERIFY(first.start());
    BareClient client(local, first);
    client.send(misbehaveRequest("m", "restart:600000"));
    QCOMPARE(readable(client.untilClosed()), readable(sessionInfoAnswer("m")));
    QVERIFY(waitFor([&]() { return !exists(first.socketPath()); }));
    SimulatorProcess second;
    second.run(QStringList() << QLatin1String("--socket") << first.socketPath());
    QCOMPARE(second.end(), QByteArray("exit 1"));
    const QByteArray path = QFile::encodeName(first.socketPath());
    QCOMPARE(readable(second.errors()), readable("kivsim: another kivsim holds " + path +
                                                 ".lock; " + path + " is left as it is\n"));
    QVERIFY(!exists(first.socketPath()));
    QCOMPARE(first.stop(), QByteArray("exit 0"));
}

void tst_KivSimProcess::removesItsLock()
{
    SimulatorProcess kivsim;
    const QString lock = kivsim.filePath("kivd.lock");
    QVERIFY(kivsim.start());
    QVERIFY(exists(lock));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QVERIFY(!exists(lock));
    // One that has died leaves it, and it is in nobody's way.
    QVERIFY(kivsim.start());
    kivsim.kill();
    QVERIFY(exists(lock));
    QVERIFY(kivsim.start());
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QVERIFY(!exists(lock));
}

void tst_KivSimProcess::leavesAFileInThePlaceOfItsLockAlone()
{
    SimulatorProcess kivsim;
    const QString lock = kivsim.filePath("kivd.lock");
    writeFile(lock, "precious");
    QVERIFY(!kivsim.start());
    QCOMPARE(kivsim.end(), QByteArray("exit 1"));
    QCOMPARE(readable(kivsim.errors()),
             readable("kivsim: cannot lock " + QFile::encodeName(lock) + ": File exists\n"));
    QCOMPARE(readable(readFile(lock)), readable("precious"));
}

void tst_KivSimProcess::leavesOtherFilesAlone_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("file") << int(S_IFREG);
    QTest::newRow("folder") << int(S_IFDIR);
    QTest::newRow("pipe") << int(S_IFIFO);
    QTest::newRow("dangling link") << int(S_IFLNK);
}

void tst_KivSimProcess::leavesOtherFilesAlone()
{
    QFETCH(int, kind);
    SimulatorProcess kivsim;
    const QByteArray path = QFile::encodeName(kivsim.socketPath());
    if (kind == S_IFREG)
        writeFile(kivsim.socketPath(), "precious");
    else if (kind == S_IFDIR)
        QCOMPARE(::mkdir(path.constData(), 0700), 0);
    else if (kind == S_IFIFO)
        QCOMPARE(::mkfifo(path.constData(), 0600), 0);
    else
        QCOMPARE(::symlink("nowhere", path.constData()), 0);
    QVERIFY(!kivsim.start());
    QCOMPARE(kivsim.end(), QByteArray("exit 1"));
    QCOMPARE(readable(kivsim.errors()),
             readable("kivsim: " + path + " is not a socket; it is left as it is\n"));
    struct stat status;
    QCOMPARE(::lstat(path.constData(), &status), 0);
    QCOMPARE(int(status.st_mode & S_IFMT), kind);
    QVERIFY(!exists(kivsim.filePath("kivd.lock")));
    if (kind == S_IFREG)
        QCOMPARE(readable(readFile(kivsim.socketPath())), readable("precious"));
}

void tst_KivSimProcess::cannotListenWithoutAFolder()
{
    SimulatorProcess kivsim;
    const QString path = kivsim.filePath("absent/kivd");
    QVERIFY(!kivsim.start(QStringList() << QLatin1String("--socket") << path));
    QCOMPARE(kivsim.end(), QByteArray("exit 1"));
    QCOMPARE(readable(kivsim.errors()), readable("kivsim: cannot lock " + QFile::encodeName(path) +
                                                 ".lock: No such file or directory\n"));
}

void tst_KivSimProcess::cannotListenOnAPortInUse()
{
    SimulatorProcess first;
    QVERIFY(first.start());
    const QByteArray port = QByteArray::number(first.port());
    SimulatorProcess second;
    QVERIFY(!second.start(QStringList() << QLatin1String("--port") << QLatin1String(port)));
    QCOMPARE(second.end(), QByteArray("exit 1"));
    QCOMPARE(readable(second.errors()),
             readable("kivsim: cannot listen on 127.0.0.1:" + port + ": Address already in use\n"));
    QVERIFY(!exists(second.socketPath()));
    BareClient client(tcp, first);
    QCOMPARE(readable(client.exchange(question)), readable(answer));
}

void tst_KivSimProcess::removesOnlyItsOwnSocket()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    QVERIFY(QFile::remove(kivsim.socketPath()));
    writeFile(kivsim.socketPath(), "precious");
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QCOMPARE(readable(readFile(kivsim.socketPath())), readable("precious"));
}

void tst_KivSimProcess::restartsOnRequest()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    const QByteArray line = kivsim.output();
    const QByteArray edit = editRequest("e", "patch", hostnamePath, "<hostname>new</hostname>");
    BareClient one(local, kivsim);
    BareClient other(tcp, kivsim);
    QCOMPARE(readable(one.exchange(edit)), readable(editAnswer("e")));
    QCOMPARE(readable(other.exchange(getRequest("r", hostnamePath))),
             readable(hostnameAnswer("new")));
    one.send(misbehaveRequest("m", "restart:300"));
    QCOMPARE(readable(one.untilClosed()), readable(sessionInfoAnswer("m")));
    QCOMPARE(readable(other.untilClosed()), QString());
    QVERIFY(kivsim.waitForReady(2));
    QCOMPARE(readable(kivsim.output()), readable(line + line));
    for (BareClient::Transport transport : {local, tcp}) {
        BareClient client(transport, kivsim);
        QCOMPARE(readable(client.exchange(getRequest("r", hostnamePath))),
                 readable(hostnameAnswer("gateway")));
    }
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QVERIFY(!exists(kivsim.socketPath()));
    QCOMPARE(readable(kivsim.errors()), QString());
}

void tst_KivSimProcess::reservesItsPortWhileAway()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    BareClient client(local, kivsim);
    client.send(misbehaveRequest("m", "restart:600000"));
    QCOMPARE(readable(client.untilClosed()), readable(sessionInfoAnswer("m")));
    QVERIFY(waitFor([&]() { return !BareClient(tcp, kivsim).isConnected(); }));
    const int socket = takePort(kivsim.port(), false);
    const int error = errno;
    QCOMPARE(socket, -1);
    QCOMPARE(error, EADDRINUSE);
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
}

void tst_KivSimProcess::restartsAtHangup()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    const QByteArray line = kivsim.output();
    BareClient client(local, kivsim);
    kivsim.send(SIGHUP);
    QCOMPARE(readable(client.untilClosed()), QString());
    QVERIFY(kivsim.waitForReady(2));
    QCOMPARE(readable(kivsim.output()), readable(line + line));
    BareClient next(tcp, kivsim);
    QCOMPARE(readable(next.exchange(question)), readable(answer));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
}

void tst_KivSimProcess::restartsOftenUnderLoad()
{
    const int times = 20;
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    const QByteArray line = kivsim.output();
    for (int i = 1; i <= times; ++i) {
        BareClient busy(tcp, kivsim);
        busy.send(question.repeated(500));
        BareClient client(local, kivsim);
        client.send(misbehaveRequest("m", "restart:0") + question);
        QVERIFY(client.untilClosed().startsWith(sessionInfoAnswer("m")));
        QVERIFY(answer.repeated(500).startsWith(busy.untilClosed()));
        QVERIFY(kivsim.waitForReady(i + 1));
    }
    QCOMPARE(readable(kivsim.output()), readable(line.repeated(times + 1)));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
}

void tst_KivSimProcess::readsTheDocumentAgain()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    kivsim.setDocument("<?kivsim-keys user=id?><device><user><id>1</id></user></device>");
    BareClient client(local, kivsim);
    client.send(misbehaveRequest("m", "restart:0"));
    client.untilClosed();
    QVERIFY(kivsim.waitForReady(2));
    BareClient next(local, kivsim);
    QCOMPARE(readable(next.exchange(editRequest("e", "patch", "/user", "<user><a/></user>") +
                                    getRequest("r", "/"))),
             readable(errorAnswer("e", "application", "list entry without its key: user/id") +
                      getAnswer("r", "/", "<user><id>1</id></user>")));
}

void tst_KivSimProcess::endsIfItCannotComeBack()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    kivsim.setDocument("<a/><b/>");
    kivsim.send(SIGHUP);
    QCOMPARE(kivsim.end(), QByteArray("exit 1"));
    QCOMPARE(readable(kivsim.errors()),
             readable("kivsim: cannot use " + QFile::encodeName(kivsim.filePath("document.xml")) +
                      ": more than one element in the message\n"));
    QVERIFY(!exists(kivsim.socketPath()));
}

void tst_KivSimProcess::logsWhatItDoes()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start(list("--verbose")));
    {
        BareClient client(local, kivsim);
        QCOMPARE(readable(client.exchange(question)), readable(answer));
        client.send("<a>\033[1m\177\302\2331m\303\233</a>\f\n");
        client.frame();
    }
    waitFor([&]() { return kivsim.errors().contains("disconnected"); });
    const QByteArray errors = kivsim.errors();
    QVERIFY(errors.startsWith("kivsim: client 1 connected"));
    QVERIFY(errors.contains("kivsim: client 1 -> <request><ref>r</ref><rpc><get>"));
    QVERIFY(errors.contains("kivsim: client 1 <- ack:get  <reply><ref>r</ref>"));
    QVERIFY(errors.contains("kivsim: client 1 disconnected"));
    // Nothing that a terminal would obey, also of two bytes; but other characters.
    QVERIFY2(errors.contains("client 1 -> <a> [1m \302 1m\303\233</a>\n"), errors.constData());
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
}

void tst_KivSimProcess::refusesLongFrames()
{
    const int limit = 200;
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start(list("--max-frame 200")));
    const QByteArray refusal = errorAnswer("r", "protocol", "frame longer than 200 bytes");
    const auto frameOf = [](int size) {
        const QByteArray frame = getRequest("r", "/state/blank");
        const int blanks = size + 2 - int(frame.size());
        return QByteArray(frame).insert(frame.indexOf("<rpc>"), QByteArray(blanks, ' '));
    };
    BareClient client(local, kivsim);
    QCOMPARE(readable(client.exchange(frameOf(limit) + frameOf(limit + 1) + question)),
             readable(answer + refusal + answer));
}

void tst_KivSimProcess::forgetsTheRestOfLongFrames()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start(list("--max-frame 200")));
    const QByteArray refusal = errorAnswer("r", "protocol", "frame longer than 200 bytes");
    for (BareClient::Transport transport : {local, tcp}) {
        BareClient client(transport, kivsim);
        // The frame is refused before it has ended.
        client.send("<request><ref>r</ref>" + QByteArray(300, 'x'));
        QCOMPARE(readable(client.frame()), readable(refusal));
        client.send(QByteArray(100000, 'x') + "\f");
        client.send("\n");
        QCOMPARE(readable(client.exchange(question)), readable(answer));
    }
}

void tst_KivSimProcess::limitsTheTree()
{
    SimulatorProcess kivsim;
    kivsim.setDocument("<device><list/></device>");
    QVERIFY(kivsim.start(list("--max-tree 2000")));
    const QByteArray refusal =
        errorAnswer("e", "application", "the tree would be larger than 2000 bytes");
    BareClient client(local, kivsim);
    QByteArray items;
    QByteArray done = editAnswer("e");
    for (int i = 0; i < 100 && done == editAnswer("e"); ++i) {
        const QByteArray item = "<i" + QByteArray::number(i) + ">" + QByteArray(80, 'x') + "</i" +
                                QByteArray::number(i) + ">";
        done = client.exchange(editRequest("e", "patch", "/list", "<list>" + item + "</list>"));
        if (done == editAnswer("e"))
            items += item;
    }
    QCOMPARE(readable(done), readable(refusal));
    QVERIFY(items.size() > 1500 && items.size() < 2000);
    // Nothing has come of what was refused, in whichever way it was asked for.
    const QByteArray large(2000, 'x');
    QCOMPARE(
        readable(client.exchange(editRequest("e", "replace", "/list/i0", "<i0>" + large + "</i0>") +
                                 validateOffRequest("v", "1") +
                                 editRequest("e", "patch", "/new[k='" + large + "']/b", "<b/>") +
                                 getRequest("r", "/"))),
        readable(refusal + sessionInfoAnswer("v") + refusal +
                 getAnswer("r", "/", "<list>" + items + "</list>")));
    // What is deleted gives its room back, each time.
    for (int i = 0; i < 10; ++i) {
        QCOMPARE(readable(client.exchange(
                     editRequest("e", "delete", "/list", "") +
                     editRequest("e", "patch", "/list", "<list>" + items + "</list>"))),
                 readable(editAnswer("e") + editAnswer("e")));
    }
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
}

void tst_KivSimProcess::cannotServeMoreThanTheLimit()
{
    SimulatorProcess kivsim;
    const QByteArray document = "<device><a>" + QByteArray(1000, 'x') + "</a></device>";
    kivsim.setDocument(document);
    const QByteArray size = QByteArray::number(int(document.size()));
    const QByteArray less = QByteArray::number(int(document.size()) - 1);
    QVERIFY(kivsim.start(list("--max-tree " + size)));
    QVERIFY(!kivsim.start(list("--max-tree " + less)));
    QCOMPARE(kivsim.end(), QByteArray("exit 1"));
    QCOMPARE(readable(kivsim.errors()),
             readable("kivsim: cannot use " + QFile::encodeName(kivsim.filePath("document.xml")) +
                      ": larger than " + less + " bytes\n"));
}

void tst_KivSimProcess::servesManyClients()
{
    const int count = 200;
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    std::vector<std::unique_ptr<BareClient>> clients;
    for (int i = 0; i < count; ++i) {
        clients.emplace_back(new BareClient(i % 2 ? tcp : local, kivsim));
        clients.back()->send(
            subscribeRequest("s" + QByteArray::number(i), "<path>" + hostnamePath + "</path>"));
    }
    for (int i = 0; i < count; ++i)
        QCOMPARE(readable(clients[std::size_t(i)]->frame()),
                 readable(sessionInfoAnswer("s" + QByteArray::number(i))));
    QCOMPARE(readable(clients[0]->exchange(
                 editRequest("e", "patch", hostnamePath, "<hostname>new</hostname>"))),
             readable(editAnswer("e") + notification("s0", "patch", hostnamePath, hostnamePath,
                                                     "<hostname>new</hostname>")));
    for (int i = 1; i < count; ++i)
        QCOMPARE(readable(clients[std::size_t(i)]->frame()),
                 readable(notification("s" + QByteArray::number(i), "patch", hostnamePath,
                                       hostnamePath, "<hostname>new</hostname>")));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
}

void tst_KivSimProcess::limitsClients()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start(list("--max-clients 2")));
    std::unique_ptr<BareClient> first(new BareClient(local, kivsim));
    BareClient second(tcp, kivsim);
    QCOMPARE(readable(first->exchange(question)), readable(answer));
    QCOMPARE(readable(second.exchange(question)), readable(answer));
    for (BareClient::Transport transport : {local, tcp}) {
        BareClient more(transport, kivsim);
        QCOMPARE(readable(more.untilClosed()), QString());
    }
    QCOMPARE(readable(second.exchange(question)), readable(answer));
    first.reset();
    // The place becomes free once kivsim has noticed.
    QVERIFY(waitFor([&]() {
        BareClient next(local, kivsim);
        return next.exchange(question) == answer;
    }));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
}

void tst_KivSimProcess::survivesClientsThatVanish()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start());
    const QByteArray subscription = subscribeRequest("s", "<path>/</path>");
    const QByteArray edit = editRequest("e", "patch", hostnamePath, "<hostname>new</hostname>");
    for (int i = 0; i < 60; ++i) {
        BareClient client(i % 2 ? tcp : local, kivsim);
        client.send((subscription + edit + question).repeated(1 + i % 5).left(20 * i));
    }
    BareClient client(local, kivsim);
    QCOMPARE(readable(client.exchange(question)), readable(answer));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
    QCOMPARE(readable(kivsim.errors()), QString());
}

void tst_KivSimProcess::waitsForASlowReader()
{
    const int size = 300000;
    const int questions = 40;
    SimulatorProcess kivsim;
    const QByteArray content = "<a>" + QByteArray(size, 'x') + "</a>";
    kivsim.setDocument("<device>" + content + "</device>");
    // What waits for it stays well below all the answers.
    QVERIFY(kivsim.start(list("--max-output 2000000")));
    const QByteArray large = getRequest("r", "/a");
    const QByteArray largeAnswer = getAnswer("r", "/a", content);
    LazyClient lazy(kivsim);
    QVERIFY(lazy.isConnected());
    QCOMPARE(lazy.send(large.repeated(questions)), questions * int(large.size()));
    // Nobody waits for the lazy one, and it has not lost anything when it reads at last.
    BareClient other(local, kivsim);
    QCOMPARE(readable(other.exchange(getRequest("r", "/x"))),
             readable(errorAnswer("r", "application", "no such path: /x")));
    QVERIFY(lazy.read(questions * int(largeAnswer.size())) == largeAnswer.repeated(questions));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
}

void tst_KivSimProcess::dropsASubscriberWhoDoesNotRead()
{
    SimulatorProcess kivsim;
    QVERIFY(kivsim.start(list("--max-output 100000 --verbose")));
    LazyClient lazy(kivsim);
    QVERIFY(lazy.isConnected());
    const QByteArray subscription = subscribeRequest("s", "<path>/config</path>");
    QCOMPARE(lazy.send(subscription), int(subscription.size()));
    QCOMPARE(readable(lazy.read(int(sessionInfoAnswer("s").size()))),
             readable(sessionInfoAnswer("s")));
    BareClient editor(local, kivsim);
    const QByteArray note = "client 1 dropped, it does not read its notifications";
    int edits = 0;
    QVERIFY(waitFor([&]() {
        const QByteArray text = QByteArray::number(++edits).rightJustified(50000, '0');
        const QByteArray done = editor.exchange(
            editRequest("e", "patch", hostnamePath, "<hostname>" + text + "</hostname>"));
        return done != editAnswer("e") || kivsim.errors().contains(note);
    }));
    QVERIFY(kivsim.errors().contains(note));
    const int everything = 100000000;
    const QByteArray first =
        notification("s", "patch", "/config", hostnamePath,
                     "<hostname>" + QByteArray("1").rightJustified(50000, '0') + "</hostname>");
    QVERIFY(lazy.read(everything).startsWith(first));
    QCOMPARE(readable(editor.exchange(question)), readable(answer));
    QCOMPARE(kivsim.stop(), QByteArray("exit 0"));
}

QTEST_MAIN(tst_KivSimProcess)

#include "tst_kivsimprocess.moc"
