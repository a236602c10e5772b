// SPDX-License-Identifier: LGPL-2.1-or-later

// Talks to the local daemon and to a domain daemon on a TCP port of this machine, and prints what
// is said. Ends with status 0 once both conversations have gone through all their steps, which
// includes a restart of the daemons by somebody else.
//
//     roundtrip PORT
//
// Exit status: 0 all was said, 1 something else was answered or nothing within 50 seconds, 2 wrong
// usage.

#include "conversation.h"
#include "trace.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <cstdio>
#include <cstring>

class TracePrinter : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    // Called with the trace's lock held: nothing in here may log.
    void print(const QString &line)
    {
        std::printf("trace   %s\n", qPrintable(line));
        std::fflush(stdout);
    }
};

class Application : public QObject
{
    Q_OBJECT
public:
    Application(Conversation *local, Conversation *domain)
        : local(local)
        , domain(domain)
    {
        for (Conversation *conversation : {local, domain}) {
            connect(conversation, SIGNAL(readyForRestart()), SLOT(checkRestart()));
            connect(conversation, SIGNAL(done()), SLOT(checkEnd()));
            connect(conversation, SIGNAL(failed()), SLOT(giveUp()));
        }
        QTimer::singleShot(50000, this, SLOT(runOutOfTime()));
    }

private Q_SLOTS:
    void checkRestart()
    {
        if (local->awaitsRestart() && domain->awaitsRestart()) {
            std::printf("RESTART THE DAEMON\n");
            std::fflush(stdout);
        }
    }
    void checkEnd()
    {
        if (local->isDone() && domain->isDone())
            QCoreApplication::exit(0);
    }
    void giveUp() { QCoreApplication::exit(1); }
    void runOutOfTime()
    {
        std::printf("The conversations did not come to their end.\n");
        QCoreApplication::exit(1);
    }

private:
    Conversation *local;
    Conversation *domain;
};

int main(int argc, char *argv[])
{
    QCoreApplication qtApplication(argc, argv);
    const int port = argc == 2 ? QString(argv[1]).toInt() : 0;
    const bool help = argc == 2 && !std::strcmp(argv[1], "--help");
    if (help || port < 1 || port > 65535) {
        std::fputs("usage: roundtrip PORT\n", help ? stdout : stderr);
        return help ? 0 : 2;
    }

    Trace trace(nullptr);
    TracePrinter printer;
    QObject::connect(&trace, SIGNAL(LogMessage(QString)), &printer, SLOT(print(QString)),
                     Qt::DirectConnection);

    KivInterface kiv(nullptr);
    Application application(new Conversation(&kiv, KivInterface::KIVTARGET_LOCAL, "local"),
                            new Conversation(&kiv, KivInterface::KIVTARGET_DOMAIN, "domain"));
    KivInterface::updateDomainServerIpAddress("127.0.0.1", port);
    KivInterface::domainServerActivateTcpConnection(true);
    return qtApplication.exec();
}

#include "roundtrip.moc"
