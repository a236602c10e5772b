// SPDX-License-Identifier: LGPL-2.1-or-later

// What a real syslog daemon writes down. It listens at a /dev/log that only this process sees.

#include "messagelog.h"
#include "privatemounts.h"
#include "skip.h"
#include "temporaryfolder.h"
#include "trace.h"
#include "waiting.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QStringList>
#include <QtTest/QTest>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

static const char daemonProgram[] = "/bin/busybox";
static const QString name = QLatin1String("Name");

/** Mounts an almost empty /dev and runs the daemon in it. */
class SyslogDaemon
{
public:
    SyslogDaemon();
    ~SyslogDaemon();

    /** Why there is no daemon, or an empty text. */
    QString problem;
    /** What the daemon has written behind time and host name, once it has written this much. */
    QStringList lines(int count) const;

    /** Lets it stand still until resume(). */
    void pause() { kill(process, SIGSTOP); }
    void resume() { kill(process, SIGCONT); }

private:
    QStringList written() const;
    bool mountDevices();

    TemporaryFolder folder;
    TemporaryFolder devices;
    QString logFile;
    pid_t process;
};

SyslogDaemon::SyslogDaemon()
    : problem(privateMountsProblem())
    , logFile(folder.filePath(QLatin1String("messages")))
    , process(-1)
{
    if (!problem.isEmpty())
        return;
    if (access(daemonProgram, X_OK) != 0) {
        problem = QLatin1String("no syslog daemon; \"apt-get install busybox\" provides one");
        return;
    }
    if (!mountDevices()) {
        problem = QLatin1String("cannot mount a private /dev; run as root");
        return;
    }
    const QByteArray output = QFile::encodeName(logFile);
    const char *const arguments[] = {"syslogd", "-n", "-O", output.constData(), nullptr};
    if (posix_spawn(&process, daemonProgram, nullptr, nullptr, const_cast<char *const *>(arguments),
                    environ) != 0)
        qFatal("cannot start the syslog daemon");
    if (!waitFor([] { return access("/dev/log", F_OK) == 0; }))
        qFatal("the syslog daemon does not listen");
}

SyslogDaemon::~SyslogDaemon()
{
    if (process > 0) {
        kill(process, SIGTERM);
        waitpid(process, nullptr, 0);
        umount2("/dev", MNT_DETACH);
    }
}

bool SyslogDaemon::mountDevices()
{
    const QByteArray path = QFile::encodeName(devices.path());
    if (mount("tmpfs", path.constData(), "tmpfs", 0, "mode=755") != 0)
        return false;
    bool mounted = true;
    for (const char *device : {"/null", "/urandom"}) {
        const QByteArray target = path + device;
        ::close(::open(target.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
        mounted = mounted && mount((QByteArray("/dev") + device).constData(), target.constData(),
                                   "none", MS_BIND, "") == 0;
    }
    mounted = mounted && mount(path.constData(), "/dev", "none", MS_MOVE, "") == 0;
    if (!mounted)
        umount2(path.constData(), MNT_DETACH);
    return mounted;
}

QStringList SyslogDaemon::written() const
{
    QFile file(logFile);
    if (!file.open(QIODevice::ReadOnly))
        return QStringList();
    QStringList result;
    const int timeLength = 16;
    for (const QByteArray &line : file.readAll().split('\n')) {
        const QString text = QString::fromUtf8(line.mid(timeLength));
        const QString rest = text.mid(text.indexOf(QLatin1Char(' ')) + 1);
        if (!line.isEmpty() && !rest.startsWith(QLatin1String("syslog.")))
            result << rest;
    }
    return result;
}

QStringList SyslogDaemon::lines(int count) const
{
    waitFor([&] { return int(written().size()) >= count; });
    return written();
}

class TestSyslogDaemon : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void getsWhatTraceSends();
    void getsPercentSigns();
    void getsAllWhenItHasStoodStill();
};

static SyslogDaemon *syslogDaemon;
static int linesBefore;

void TestSyslogDaemon::initTestCase()
{
    syslogDaemon = new SyslogDaemon;
    if (!syslogDaemon->problem.isEmpty())
        SKIP_TEST(qPrintable(syslogDaemon->problem));
}

void TestSyslogDaemon::cleanupTestCase()
{
    delete syslogDaemon;
}

static QStringList newLines(int count)
{
    const QStringList all = syslogDaemon->lines(linesBefore + count);
    const QStringList fresh = all.mid(linesBefore);
    linesBefore = int(all.size());
    return fresh;
}

static QString received(const char *priority, const QString &sender, const QString &text)
{
    return QString::fromLatin1("%1 %2: %3").arg(QLatin1String(priority), sender, text);
}

void TestSyslogDaemon::getsWhatTraceSends()
{
    const MessageLog quiet;
    Trace trace(nullptr);
    trace.openSysLog(QLatin1String("pump"));
    for (int level = 1; level <= 6; ++level)
        Trace::log(8, level, name, name, QString::fromLatin1("level %1,  raw").arg(level));
    trace.openSysLog(QLatin1String("valve"));
    Trace::log(8, 2, name, name, QString(500, QLatin1Char('x')));
    trace.closeLoggers();
    Trace::log(8, 2, name, name, QLatin1String("closed"));

    const QString process = QString::fromLatin1("[%1]").arg(getpid());
    const QString pump = QLatin1String("pump") + process;
    const QString valve = QLatin1String("valve") + process;
    // The first announcement comes before the name and the facility are set.
    QCOMPARE(newLines(7), QStringList()
                              << received("user.info", QLatin1String(program_invocation_short_name),
                                          QLatin1String("Opening syslog with ident: pump"))
                              << received("local0.info", pump, QLatin1String("level 2,  raw"))
                              << received("local0.warn", pump, QLatin1String("level 3,  raw"))
                              << received("local0.err", pump, QLatin1String("level 4,  raw"))
                              << received("local0.crit", pump, QLatin1String("level 5,  raw"))
                              << received("local0.info", pump,
                                          QLatin1String("Opening syslog with ident: valve"))
                              << received("local0.info", valve, QString(500, QLatin1Char('x'))));
}

/** Sent by the C library's own syslog(), which the other tests replace. */
void TestSyslogDaemon::getsPercentSigns()
{
    const MessageLog quiet;
    Trace trace(nullptr);
    trace.openSysLog(QLatin1String("pump"));
    const char *const arriving[] = {"Battery at 100%", "%1$s",   "%*d", "%.*s",   "%ls",
                                    "%999999999d",     "%5%%*d", "%",   "%99$n%s"};
    const char *const converted[] = {"%n", "%hhn%n",           "%s",    "%s%n%s", "100%%",
                                     "%m", "%n%n%n%n%n%n%n%n", "%.999f"};
    QStringList expected;
    newLines(1);
    for (const char *text : arriving) {
        Trace::log(8, 4, name, name, QLatin1String(text));
        expected << received("local0.err", QString::fromLatin1("pump[%1]").arg(getpid()),
                             QLatin1String(text));
    }
    QCOMPARE(newLines(int(expected.size())), expected);
    const int count = int(sizeof converted / sizeof *converted);
    for (const char *text : converted)
        Trace::log(8, 4, name, name, QLatin1String(text));
    const QStringList lines = newLines(count);
    QCOMPARE(int(lines.size()), count);
    QVERIFY(lines.at(4).endsWith(QLatin1String(": 100%")));
}

/** Meanwhile a log call does not return, and as it holds the lock, no other thread's does. */
void TestSyslogDaemon::getsAllWhenItHasStoodStill()
{
    const MessageLog quiet;
    Trace trace(nullptr);
    trace.openSysLog(QLatin1String("pump"));
    newLines(1);
    const int count = 1000; // more than the system keeps for a daemon
    std::atomic<int> sent(0);
    std::atomic<bool> otherIsDone(false);
    syslogDaemon->pause();
    std::thread logger([&] {
        for (int i = 0; i < count; ++i) {
            Trace::log(8, 2, name, name, QString::number(i));
            ++sent;
        }
    });
    int before = -1;
    waitFor([&] {
        const bool standsStill = sent == before;
        before = sent;
        settle(200);
        return standsStill;
    });
    std::thread other([&] {
        Trace::log(8, 1, name, name, QLatin1String("not for syslog"));
        otherIsDone = true;
    });
    const bool stoodStill = sent < count;
    syslogDaemon->resume();
    logger.join();
    other.join();
    QVERIFY(stoodStill);
    QVERIFY(otherIsDone);
    QStringList expected;
    for (int i = 0; i < count; ++i)
        expected << received("local0.info", QString::fromLatin1("pump[%1]").arg(getpid()),
                             QString::number(i));
    QCOMPARE(newLines(count), expected);
}

int main(int argc, char *argv[])
{
    enterPrivateMounts();
    QCoreApplication application(argc, argv);
    TestSyslogDaemon test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_syslogdaemon.moc"
