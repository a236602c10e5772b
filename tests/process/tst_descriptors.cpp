// SPDX-License-Identifier: LGPL-2.1-or-later

// A process that has no descriptor left. What is promised: each service says so in its own way, what is
// open already goes on, and everything works again when there are descriptors.

#include "connectionsupport.h"
#include "kivfixture.h"
#include "logfolder.h"
#include "loghandler.h"
#include "mortaldaemon.h"
#include "pidfilehandler.h"
#include "skip.h"
#include "threadtimes.h"

#include <QtCore/QFile>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

/** Takes all descriptors that there are while the object lives. */
class AllDescriptors
{
public:
    AllDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &before);
        const rlimit few = {256, before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
        for (int next; (next = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;)
            taken << next;
    }
    ~AllDescriptors() { giveBack(); }

    int count() const { return int(taken.size()); }

    void giveBack()
    {
        for (const int descriptor : taken)
            close(descriptor);
        if (!taken.isEmpty())
            setrlimit(RLIMIT_NOFILE, &before);
        taken.clear();
    }

private:
    Q_DISABLE_COPY(AllDescriptors)

    rlimit before;
    QList<int> taken;
};

} // namespace

class TestDescriptors : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void clientTriesAgain();
    void clientKeepsItsConnections();
    void filesChangeAllTheSame();
    void pidFileIsNotWritten();
};

void TestDescriptors::initTestCase()
{
#ifdef __SANITIZE_ADDRESS__
    SKIP_TEST("the sanitizers need descriptors themselves; ./test release has none");
#endif
}

void TestDescriptors::clientTriesAgain()
{
    MortalDaemon daemon;
    daemon.start();
    KivFixture fixture;
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    fixture.take();
    AllDescriptors all;
    const bool taken = all.count() > 0;
    QStringList said;
    for (int ticks = 0; ticks < 3; ++ticks) {
        tick(fixture);
        said << fixture.take();
    }
    const bool sent = fixture.kiv->sendMsgToLocalKiv(QLatin1String("x")) ||
                      fixture.kiv->sendMsgToDomainKiv(QLatin1String("x"));
    said << fixture.take();
    all.giveBack();
    QVERIFY(taken);
    QVERIFY(!sent);
    QCOMPARE(said.count(latin1("signal: local disconnected")), 3);
    QCOMPARE(said.count(latin1("signal: domain disconnected")), 3);
    tick(fixture);
    QVERIFY(spinUntil([&]() {
        said << fixture.take();
        return said.contains(latin1("signal: local connected")) &&
               said.contains(latin1("signal: domain connected"));
    }));
}

void TestDescriptors::clientKeepsItsConnections()
{
    MortalDaemon daemon;
    daemon.start();
    KivFixture fixture;
    KivInterface::updateDomainServerIpAddress(loopback, daemon.port());
    KivInterface::domainServerActivateTcpConnection(true);
    tick(fixture);
    QVERIFY(spinUntil([&]() {
        return localSocket(fixture)->state() == QLocalSocket::ConnectedState &&
               domainSocket(fixture)->state() == QAbstractSocket::ConnectedState;
    }));
    fixture.take();
    AllDescriptors all;
    bool sent = true;
    for (int i = 0; i < 10; ++i) {
        sent = sent && KivInterface::requestDataGet(latin1("g"), latin1("/large/100000")) &&
               KivInterface::requestDataGet(latin1("g"), latin1("/large/100000"),
                                            KivInterface::KIVTARGET_DOMAIN);
    }
    QStringList said;
    const bool answered = spinUntil([&]() {
        said << fixture.take();
        return said.size() >= 20;
    });
    all.giveBack();
    QVERIFY(sent);
    QVERIFY(answered);
    const QString answer =
        latin1("signal: get(g, ") + MortalDaemon::answerTo(1, latin1("g"), 100000) + latin1(")");
    QCOMPARE(said.count(answer), 20);
}

/** The file that is full leaves its descriptor to the next one. */
void TestDescriptors::filesChangeAllTheSame()
{
    const MessageLog quiet;
    const LogFolder folder;
    LogHandler handler(nullptr, false);
    QVERIFY(handler.open(folder.directory(), QLatin1String("app")));
    const QByteArray content = QByteArray(102390, 'x') + '\n';
    {
        AllDescriptors all;
        for (int i = 0; i < 12; ++i)
            handler.logMessage(QString::fromLatin1(content.constData(), int(content.size()) - 1));
    }
    for (int number = 1; number <= 9; ++number)
        QVERIFY(folder.read(number).endsWith(content + overflowTrailer()));
    QCOMPARE(folder.read(0), continuation + content);
    QCOMPARE(int(folder.entries().size()), 10);
}

void TestDescriptors::pidFileIsNotWritten()
{
    const TemporaryFolder folder;
    const QByteArray path = QFile::encodeName(folder.filePath(QLatin1String("pid")));
    Trace trace(nullptr);
    TraceLog log(&trace);
    PidFileHandler handler(path.constData());
    AllDescriptors all;
    const int written = handler.writePid();
    const int found = handler.checkPid();
    all.giveBack();
    QCOMPARE(written, 0);
    QCOMPARE(found, 0);
    QCOMPARE(log.take(),
             QStringList(QString::fromLatin1("PidFileHandler|writePid|Can not open or create [%1]")
                             .arg(QFile::decodeName(path))));
    QCOMPARE(handler.writePid(), int(getpid()));
}

QTEST_MAIN(TestDescriptors)
#include "tst_descriptors.moc"
