// SPDX-License-Identifier: LGPL-2.1-or-later

// A daemon that sends a frame without an end. The client keeps all of it, as no length is too long for
// a frame; what ends that is the limit that the process has been given for its memory, and the process
// with it. It ends at once and by itself, instead of taking the memory of all others.

#include "kivdredirect.h"
#include "kivinterface.h"
#include "messagelog.h"
#include "mortaldaemon.h"
#include "program.h"
#include "skip.h"
#include "texts.h"
#include "wire.h"

#include <QtCore/QCoreApplication>
#include <QtTest/QtTest>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

const int noLimit = 77; // the exit status of a process whose memory cannot be limited

/** Gives the process so much memory more than it has. @return whether that holds */
bool limitMemory(size_t bytes)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    Q_UNUSED(bytes)
    return false;
#else
    size_t pages = 0;
    std::FILE *const file = std::fopen("/proc/self/statm", "re");
    const bool known = file && std::fscanf(file, "%zu", &pages) == 1;
    if (file)
        std::fclose(file);
    const rlim_t most = pages * size_t(sysconf(_SC_PAGESIZE)) + bytes;
    const rlimit limit = {most, most};
    if (!known || setrlimit(RLIMIT_AS, &limit) != 0)
        return false;
    void *const probe =
        mmap(nullptr, bytes + 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return probe == MAP_FAILED;
#endif
}

/** An application that asks for what has no end. */
class Asker : public QObject
{
    Q_OBJECT
public:
    explicit Asker(KivInterface *kiv)
    {
        connect(kiv, SIGNAL(kivLocalUnixSocketConnectedSignal()), SLOT(askLocal()));
        connect(kiv, SIGNAL(kivDomainTcpSocketConnectedSignal()), SLOT(askDomain()));
    }

private Q_SLOTS:
    void askLocal() { KivInterface::requestDataGet(latin1("r"), latin1("/endless")); }
    void askDomain()
    {
        KivInterface::requestDataGet(latin1("r"), latin1("/endless"),
                                     KivInterface::KIVTARGET_DOMAIN);
    }
};

int askForever(const QString &socketPath, int port)
{
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    const MessageLog quiet;
    if (port == 0)
        redirectKivd(socketPath);
    KivInterface kiv(nullptr);
    const Asker asker(&kiv);
    KivInterface::updateDomainServerIpAddress(latin1("127.0.0.1"), port);
    KivInterface::domainServerActivateTcpConnection(true);
    if (!limitMemory(200000000))
        return noLimit;
    kiv.connectToLocalKivSocketSlot();
    kiv.connectToDomainKivSocketSlot();
    return QCoreApplication::exec();
}

} // namespace

class TestEndlessFrame : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void endsTheProcessAtItsOwnLimit_data() { transports(); }
    void endsTheProcessAtItsOwnLimit();
};

void TestEndlessFrame::endsTheProcessAtItsOwnLimit()
{
    QFETCH(bool, local);
    MortalDaemon daemon;
    daemon.start();
    Program application("/proc/self/exe", QStringList()
                                              << latin1("--ask") << daemon.socketPath()
                                              << QString::number(local ? 0 : daemon.port()));
    const int status = application.wait();
    if (status == noLimit)
        SKIP_TEST("no limit of memory holds under a sanitizer or the emulator; ./test release has "
                  "one");
    QCOMPARE(status, -SIGABRT);
}

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc == 4 && std::strcmp(argv[1], "--ask") == 0)
        return askForever(application.arguments().at(2), application.arguments().at(3).toInt());
    TestEndlessFrame test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_endlessframe.moc"
